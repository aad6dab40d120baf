#include "install/tracing/utf8.h"

namespace installer::tracing::utf8 {

namespace {

bool isHigh(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLow(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// The code point starting at units[*i]; advances *i past it.
char32_t next(const WCHAR* units, std::size_t count, std::size_t* i) {
  char32_t unit = static_cast<char16_t>(units[*i]);
  ++*i;
  if (isHigh(unit) && *i < count && isLow(static_cast<char16_t>(units[*i]))) {
    char32_t low = static_cast<char16_t>(units[*i]);
    ++*i;
    return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
  }
  return unit;
}

std::size_t sizeOf(char32_t cp) { return cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4; }

}  // namespace

std::size_t encodedSize(const WCHAR* units, std::size_t count) noexcept {
  std::size_t size = 0;
  for (std::size_t i = 0; i < count;) size += sizeOf(next(units, count, &i));
  return size;
}

char* encode(const WCHAR* units, std::size_t count, char* out) noexcept {
  for (std::size_t i = 0; i < count;) {
    char32_t cp = next(units, count, &i);
    switch (sizeOf(cp)) {
      case 1:
        *out++ = static_cast<char>(cp);
        break;
      case 2:
        *out++ = static_cast<char>(0xC0 | (cp >> 6));
        *out++ = static_cast<char>(0x80 | (cp & 0x3F));
        break;
      case 3:
        *out++ = static_cast<char>(0xE0 | (cp >> 12));
        *out++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (cp & 0x3F));
        break;
      default:
        *out++ = static_cast<char>(0xF0 | (cp >> 18));
        *out++ = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        *out++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (cp & 0x3F));
    }
  }
  return out;
}

}  // namespace installer::tracing::utf8
