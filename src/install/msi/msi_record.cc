#include "install/msi/msi_record.h"

#include "install/msi/msi_strings.h"

namespace installer {
namespace msi_wrapper {

std::uint32_t MsiRecordImpl::getFieldCount() { return MsiRecordGetFieldCount(record_.get()); }

bool MsiRecordImpl::isNull(std::uint32_t field) { return MsiRecordIsNull(record_.get(), field) != 0; }

platform::wstring MsiRecordImpl::getString(std::uint32_t field) {
  platform::wstring value;
  // The code is dropped: a failed read is an empty string to callers.
  if (readRecordString(record_.get(), field, value) != ERROR_SUCCESS) value.clear();
  return value;
}

std::int32_t MsiRecordImpl::getInteger(std::uint32_t field) { return MsiRecordGetInteger(record_.get(), field); }

std::uint32_t MsiRecordImpl::setString(std::uint32_t field, const platform::wstring& value) {
  return MsiRecordSetStringW(record_.get(), field, value.c_str());
}

std::uint32_t MsiRecordImpl::setInteger(std::uint32_t field, std::int32_t value) {
  return MsiRecordSetInteger(record_.get(), field, value);
}

}  // namespace msi_wrapper
}  // namespace installer
