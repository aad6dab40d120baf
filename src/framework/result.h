// Result codes of the framework: 32-bit values, 0 for success and negative
// for failure, in the layout Windows uses for its own result codes.
#pragma once

#include <cstdint>

#include "platform/windows.h"

namespace qor {

using result_t = std::int32_t;

constexpr result_t kResultOk = 0;
// An object does not implement the interface it was asked for.
constexpr result_t kResultNoInterface = static_cast<result_t>(0x80004002u);
// A required out-pointer was null.
constexpr result_t kResultPointer = static_cast<result_t>(0x80004003u);

inline bool succeeded(result_t result) noexcept { return result >= 0; }
inline bool failed(result_t result) noexcept { return result < 0; }

// Maps a Win32 error code (as GetLastError returns it) to a framework
// result code. Well-known errors get the framework's own codes; other small
// codes are wrapped in the Win32 facility; values that are already wrapped
// Win32 results are unwrapped and mapped again.
result_t resultFromWin32Error(DWORD error) noexcept;

}  // namespace qor
