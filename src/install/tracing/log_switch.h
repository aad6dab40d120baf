// The bootstrapper's "/log" switch: the directory of the trace file, as the
// installer's command line names it. Only the first switch counts, only in
// lower case, and its value is a double-quoted text (which may hold blanks)
// or a run of characters that are neither blanks nor double quotes.
#pragma once

#include <optional>

#include "platform/windows.h"

namespace installer::tracing {

// The switch, as an ECMAScript regular expression (33 characters; every
// backslash is the expression's own). Group 2 is a quoted value without its
// quotes, group 3 an unquoted one.
inline constexpr char kLogSwitchPattern[] = R"re(\/log\s+(\"([^\"]+)\"|([^\"\s]+)))re";
static_assert(sizeof(kLogSwitchPattern) - 1 == 33, "the switch pattern is fixed");

// The directory of the first "/log" switch in `commandLine`, or nothing.
std::optional<platform::wstring> logDirectoryFromCommandLine(const platform::wstring& commandLine);

}  // namespace installer::tracing
