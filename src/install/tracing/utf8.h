// UTF-16 to UTF-8 for trace lines, written straight into a record's buffer.
// A high surrogate followed by a low one is one code point; every other
// unit, a lone surrogate included, is encoded on its own (three bytes for a
// surrogate), so no text the script hands over is lost from the log.
#pragma once

#include <cstddef>

#include "platform/windows.h"

namespace installer::tracing::utf8 {

// Bytes that `count` units take.
std::size_t encodedSize(const WCHAR* units, std::size_t count) noexcept;

// Encodes into `out`, which has room for encodedSize() bytes; returns the
// end of what was written.
char* encode(const WCHAR* units, std::size_t count, char* out) noexcept;

}  // namespace installer::tracing::utf8
