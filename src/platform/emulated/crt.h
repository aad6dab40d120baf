// The parts of the Windows C runtime that the add-on calls and that the host's
// C library lacks or has with other types. The add-on never changes the C
// runtime's locale, so the conversions behave as Windows' runtime does in its
// default ("C") locale: one byte is one wide unit of the same value.
//
// The host C library already has mbrtowc with wchar_t (32-bit here); ours
// takes WCHAR (16-bit), so the two are overloads and a call with a WCHAR
// buffer picks this one.
#pragma once

#include <cstddef>
#include <ctime>
#include <cwchar>

#include "platform/emulated/win_types.h"

typedef int errno_t;

// One multibyte character at `bytes` (at most `count` bytes) to one unit.
// Returns 0 for the null character, 1 for any other byte, (size_t)-2 when
// `count` is 0. A null `bytes` resets the state and returns 0.
std::size_t mbrtowc(WCHAR* unit, const char* bytes, std::size_t count, std::mbstate_t* state);

// One unit to multibyte. Below 256 it is the byte of the same value;
// any other unit fails with EILSEQ and *written = (size_t)-1. EINVAL for a
// buffer of size 0. A null `bytes` (with size 0) resets the state.
errno_t wcrtomb_s(std::size_t* written, char* bytes, std::size_t size, WCHAR unit,
                  std::mbstate_t* state);

// Local time of `time`; EINVAL for missing arguments.
errno_t localtime_s(std::tm* result, const std::time_t* time);
