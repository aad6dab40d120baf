#include "install/msi/msi_strings.h"

namespace installer {
namespace msi_wrapper {

std::uint32_t readRecordString(MSIHANDLE record, std::uint32_t field, platform::wstring& value) {
  value.clear();
  return readSizedString(
      [&](WCHAR* buffer, DWORD* size) { return MsiRecordGetStringW(record, field, buffer, size); }, value);
}

std::int32_t runtimeDecimal(std::basic_string_view<WCHAR> text) {
  auto isBlank = [](WCHAR c) { return c == WIDE_TEXT(' ') || (c >= WIDE_TEXT('\t') && c <= WIDE_TEXT('\r')); };
  size_t i = 0;
  while (i < text.size() && isBlank(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == WIDE_TEXT('+') || text[i] == WIDE_TEXT('-'))) negative = text[i++] == WIDE_TEXT('-');
  constexpr std::int64_t kMax = 0x7FFFFFFF;
  std::int64_t value = 0;
  for (; i < text.size() && text[i] >= WIDE_TEXT('0') && text[i] <= WIDE_TEXT('9'); ++i) {
    value = value * 10 + (text[i] - WIDE_TEXT('0'));
    if (value > kMax + 1) value = kMax + 1;  // past either limit: stop growing
  }
  if (negative) value = -value;
  if (value > kMax) value = kMax;
  return static_cast<std::int32_t>(value);
}

}  // namespace msi_wrapper
}  // namespace installer
