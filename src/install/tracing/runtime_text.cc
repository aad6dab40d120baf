#include "install/tracing/runtime_text.h"

#include <climits>
#include <cwchar>

namespace installer::tracing {

std::string toRuntimeMultibyte(std::basic_string_view<WCHAR> text) {
  try {
    std::string narrow;
    narrow.reserve(text.size());
    // One state across the whole text, so the two units of a surrogate pair
    // reach the runtime as one character where the locale has a form for it.
    std::mbstate_t state{};
    for (WCHAR unit : text) {
      char bytes[MB_LEN_MAX];
      std::size_t written = 0;
      if (wcrtomb_s(&written, bytes, sizeof bytes, unit, &state) != 0) throw BadCast();
      narrow.append(bytes, written);
    }
    return narrow;
  } catch (const std::bad_alloc&) {
    throw BadAllocation();
  }
}

platform::wstring fromRuntimeMultibyte(std::string_view text) {
  try {
    platform::wstring wide;
    wide.reserve(text.size());
    std::mbstate_t state{};
    std::size_t at = 0;
    while (at < text.size()) {
      WCHAR unit = 0;
      std::size_t used = mbrtowc(&unit, text.data() + at, text.size() - at, &state);
      if (used == static_cast<std::size_t>(-1) || used == static_cast<std::size_t>(-2)) throw BadCast();
      wide.push_back(unit);
      at += used == 0 ? 1 : used;  // an embedded null character is one byte
    }
    return wide;
  } catch (const std::bad_alloc&) {
    throw BadAllocation();
  }
}

}  // namespace installer::tracing
