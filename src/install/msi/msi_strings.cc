#include "install/msi/msi_strings.h"

namespace installer {
namespace msi_wrapper {

std::uint32_t readRecordString(MSIHANDLE record, std::uint32_t field, platform::wstring& value) {
  value.clear();
  return readSizedString(
      [&](WCHAR* buffer, DWORD* size) { return MsiRecordGetStringW(record, field, buffer, size); }, value);
}

}  // namespace msi_wrapper
}  // namespace installer
