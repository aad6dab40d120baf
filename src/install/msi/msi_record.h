// An owned Windows Installer record. Fields count from 1.
#pragma once

#include <cstdint>

#include "install/msi/msi_handle_holder.h"
#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

class MsiRecord {
 public:
  MsiRecord() = default;
  virtual ~MsiRecord() = default;
  MsiRecord(const MsiRecord&) = delete;
  MsiRecord& operator=(const MsiRecord&) = delete;

  virtual std::uint32_t getFieldCount() = 0;
  virtual bool isNull(std::uint32_t field) = 0;
  // "" for a null field and for any failure.
  virtual platform::wstring getString(std::uint32_t field) = 0;
  // 0x80000000 for a null or non-integer field.
  virtual std::int32_t getInteger(std::uint32_t field) = 0;
  virtual std::uint32_t setString(std::uint32_t field, const platform::wstring& value) = 0;
  virtual std::uint32_t setInteger(std::uint32_t field, std::int32_t value) = 0;
};

class MsiRecordImpl : public MsiRecord {
 public:
  // Takes ownership of `record` (0 is allowed: every call then fails).
  explicit MsiRecordImpl(MSIHANDLE record) : record_(record) {}

  std::uint32_t getFieldCount() override;
  bool isNull(std::uint32_t field) override;
  platform::wstring getString(std::uint32_t field) override;
  std::int32_t getInteger(std::uint32_t field) override;
  std::uint32_t setString(std::uint32_t field, const platform::wstring& value) override;
  std::uint32_t setInteger(std::uint32_t field, std::int32_t value) override;

  MSIHANDLE handle() const { return record_.get(); }

 private:
  MsiHandleHolder record_;
};

}  // namespace msi_wrapper
}  // namespace installer
