// UTF-16 <-> UTF-8 for the emulated machine's boundary with the host file
// system: Windows names are UTF-16, Linux names are bytes in UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace emulated {

// A lone surrogate becomes its own three-byte sequence (WTF-8), so every
// UTF-16 name survives the trip to the host and back.
std::string utf16ToUtf8(std::u16string_view text);

// Invalid bytes become U+FFFD.
std::u16string utf8ToUtf16(std::string_view text);

}  // namespace emulated

namespace emulated {

// The upper case of a UTF-16 unit, as Windows compares names and texts
// without regard to case: ASCII, Latin-1, Latin Extended-A, Greek and
// Cyrillic letters; every other unit is its own upper case.
char16_t upperCase(char16_t unit);
std::u16string upperCase(std::u16string_view text);

}  // namespace emulated
