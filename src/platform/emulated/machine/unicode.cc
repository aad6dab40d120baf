#include "platform/emulated/machine/unicode.h"

namespace emulated {

namespace {

void appendCodePoint(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

bool isHigh(char16_t u) { return u >= 0xD800 && u <= 0xDBFF; }
bool isLow(char16_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

}  // namespace

std::string utf16ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t cp = text[i];
    if (isHigh(text[i]) && i + 1 < text.size() && isLow(text[i + 1])) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    }
    appendCodePoint(out, cp);
  }
  return out;
}

std::u16string utf8ToUtf16(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  size_t i = 0;
  while (i < text.size()) {
    unsigned char lead = static_cast<unsigned char>(text[i]);
    size_t extra = lead < 0x80 ? 0 : (lead >> 5) == 0x6 ? 1 : (lead >> 4) == 0xE ? 2 : (lead >> 3) == 0x1E ? 3 : 9;
    char32_t cp = extra == 0 ? lead : extra == 1 ? (lead & 0x1F) : extra == 2 ? (lead & 0x0F) : (lead & 0x07);
    bool ok = extra <= 3 && i + extra < text.size();
    for (size_t k = 1; ok && k <= extra; ++k) {
      unsigned char c = static_cast<unsigned char>(text[i + k]);
      if ((c & 0xC0) != 0x80) ok = false;
      cp = (cp << 6) | (c & 0x3F);
    }
    if (!ok || cp > 0x10FFFF) {
      out += u'\uFFFD';
      ++i;
      continue;
    }
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out += static_cast<char16_t>(0xD800 + (cp >> 10));
      out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      out += static_cast<char16_t>(cp);
    }
    i += extra + 1;
  }
  return out;
}

}  // namespace emulated

namespace emulated {

char16_t upperCase(char16_t u) {
  if (u < 0x80) return (u >= u'a' && u <= u'z') ? static_cast<char16_t>(u - 0x20) : u;
  if (u >= 0xE0 && u <= 0xFE && u != 0xF7) return static_cast<char16_t>(u - 0x20);
  if (u == 0xFF) return 0x178;
  // Latin Extended-A pairs capital and small letters as even and odd
  // units, except around the dotless i and the long s, where the pairs
  // shift to odd and even.
  if (u >= 0x100 && u <= 0x137 && u != 0x131) return static_cast<char16_t>(u & ~1u);
  if ((u >= 0x139 && u <= 0x148) || (u >= 0x179 && u <= 0x17E)) return (u & 1u) ? u : static_cast<char16_t>(u - 1);
  if (u >= 0x14A && u <= 0x177) return static_cast<char16_t>(u & ~1u);
  if (u == 0x3C2) return 0x3A3;  // the final sigma
  if (u == 0x3AC) return 0x386;  // Greek letters with tonos
  if (u >= 0x3AD && u <= 0x3AF) return static_cast<char16_t>(u - 0x25);
  if (u == 0x3CC) return 0x38C;
  if (u == 0x3CD || u == 0x3CE) return static_cast<char16_t>(u - 0x3F);
  if (u >= 0x3B1 && u <= 0x3CB) return static_cast<char16_t>(u - 0x20);
  if (u >= 0x430 && u <= 0x44F) return static_cast<char16_t>(u - 0x20);
  if (u >= 0x450 && u <= 0x45F) return static_cast<char16_t>(u - 0x50);
  return u;
}

std::u16string upperCase(std::u16string_view text) {
  std::u16string out(text);
  for (char16_t& unit : out) unit = upperCase(unit);
  return out;
}

}  // namespace emulated
