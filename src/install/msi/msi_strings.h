// Reading text out of Windows Installer with the two-call sizing rule.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

// Two-call sizing over a Windows Installer text getter. `call(buffer, size)`
// runs the getter with `buffer` (may be null) and the in/out size in
// characters. The first call asks for the size; a size of 0 returns 0 and
// leaves `value` as it was; otherwise the second call reads size + 1
// characters, and `value` receives the text only when it returns 0.
template <class Call>
std::uint32_t readSizedString(Call&& call, platform::wstring& value) {
  DWORD size = 0;
  std::uint32_t code = call(nullptr, &size);
  if (code != ERROR_SUCCESS) return code;
  if (size == 0) return ERROR_SUCCESS;
  // size characters plus the terminator that the string keeps behind them.
  platform::wstring buffer(size, WCHAR(0));
  DWORD capacity = size + 1;
  code = call(&buffer[0], &capacity);
  if (code != ERROR_SUCCESS) return code;
  buffer.resize(std::char_traits<WCHAR>::length(buffer.c_str()));
  value = std::move(buffer);
  return ERROR_SUCCESS;
}

// Field `field` of a record (fields count from 1). `value` is cleared
// first; a null or empty field gives "" with code 0.
std::uint32_t readRecordString(MSIHANDLE record, std::uint32_t field, platform::wstring& value);

// A property of an installed product through MsiGetProductInfoW, with the
// same sizing; `value` is left untouched unless the read succeeds. Defined
// with the installed-product queries.
// A number read as the C runtime's wide decimal conversion reads it:
// leading blanks and a sign accepted, digits up to the first other
// character, clamped to the signed 32-bit range; no digits give 0.
std::int32_t runtimeDecimal(std::basic_string_view<WCHAR> text);

std::uint32_t readProductInfoString(const platform::wstring& productCode, const platform::wstring& property,
                                    platform::wstring& value);

}  // namespace msi_wrapper
}  // namespace installer
