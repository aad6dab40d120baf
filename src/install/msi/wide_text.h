// Wide string literals that are WCHAR on both machines: wchar_t text on
// Windows, char16_t text on the emulated machine.
#pragma once

#ifdef _WIN32
#define WIDE_TEXT(text) L##text
#else
#define WIDE_TEXT(text) u##text
#endif
