// An owned, executed Windows Installer view.
#pragma once

#include <cstdint>
#include <memory>

#include "install/msi/msi_handle_holder.h"
#include "install/msi/msi_record.h"
#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

class MsiView {
 public:
  MsiView() = default;
  virtual ~MsiView() = default;
  MsiView(const MsiView&) = delete;
  MsiView& operator=(const MsiView&) = delete;

  // The next row, or nothing after the last row and on any failure alike.
  virtual std::unique_ptr<MsiRecord> fetch() = 0;
  // A new record of `fieldCount` fields, for insertRecord and deleteRecord.
  virtual std::unique_ptr<MsiRecord> createRecord(std::uint32_t fieldCount) = 0;
  virtual std::uint32_t insertRecord(std::unique_ptr<MsiRecord>& record) = 0;
  virtual std::uint32_t deleteRecord(std::unique_ptr<MsiRecord>& record) = 0;
};

class MsiViewImpl : public MsiView {
 public:
  // Takes ownership of an executed view handle.
  explicit MsiViewImpl(MSIHANDLE view) : view_(view) {}

  std::unique_ptr<MsiRecord> fetch() override;
  std::unique_ptr<MsiRecord> createRecord(std::uint32_t fieldCount) override;
  std::uint32_t insertRecord(std::unique_ptr<MsiRecord>& record) override;
  std::uint32_t deleteRecord(std::unique_ptr<MsiRecord>& record) override;

 private:
  std::uint32_t modify(MSIMODIFY mode, const std::unique_ptr<MsiRecord>& record);

  MsiHandleHolder view_;
};

}  // namespace msi_wrapper
}  // namespace installer
