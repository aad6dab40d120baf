// Text in the C runtime's multibyte encoding: the narrow form of the log
// paths. The conversions go one character at a time through the runtime's
// locale-dependent functions (wcrtomb_s, mbrtowc); in the default locale
// that the add-on keeps, a byte is the unit of the same value, and a unit of
// 256 or more has no narrow form.
#pragma once

#include <string>
#include <string_view>

#include "framework/standard_errors.h"
#include "platform/windows.h"

namespace installer::tracing {

using BadCast = qor::bad_cast;
using BadAllocation = qor::bad_alloc;

// Throws BadCast when a character has no narrow form, BadAllocation when
// memory runs out.
std::string toRuntimeMultibyte(std::basic_string_view<WCHAR> text);

// Throws BadCast on an invalid multibyte sequence, BadAllocation when memory
// runs out.
platform::wstring fromRuntimeMultibyte(std::string_view text);

}  // namespace installer::tracing
