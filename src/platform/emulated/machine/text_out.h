// The sizing contract of Windows' string getters (MsiGetPropertyW,
// MsiGetProductInfoW, MsiGetTargetPathW, ...), in one place.
#pragma once

#include <cstring>
#include <string_view>

#include "platform/emulated/win_types.h"

namespace emulated {

// *size is in characters, without the terminator. A null buffer only asks
// for the size. A buffer that cannot hold the text and its terminator gets
// what fits, terminated, and ERROR_MORE_DATA; *size is then the length
// needed. `copyUnits(out, count)` writes the first `count` units of the text.
template <class CopyUnits>
UINT copyTextOut(DWORD length, CopyUnits&& copyUnits, LPWSTR buffer, LPDWORD size) {
  UINT code = ERROR_SUCCESS;
  if (buffer != nullptr) {
    if (*size > 0) {
      const DWORD copied = length < *size ? length : *size - 1;
      copyUnits(buffer, copied);
      buffer[copied] = 0;
    }
    if (*size <= length) code = ERROR_MORE_DATA;
  }
  *size = length;
  return code;
}

inline UINT copyTextOut(std::u16string_view text, LPWSTR buffer, LPDWORD size) {
  const auto copy = [&text](LPWSTR out, DWORD count) { std::memcpy(out, text.data(), count * sizeof(WCHAR)); };
  return copyTextOut(static_cast<DWORD>(text.size()), copy, buffer, size);
}

}  // namespace emulated
