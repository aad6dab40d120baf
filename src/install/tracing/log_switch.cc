// The "/log" switch (log_switch.h). The standard library has regular
// expressions over char and wchar_t only, so the UTF-16 text is matched unit
// for unit as wchar_t: positions, and so the groups, are the same in both.
#include "install/tracing/log_switch.h"

#include <regex>
#include <string>

namespace installer::tracing {

namespace {

const std::wregex& logSwitch() {
  static const std::wregex* const expression = [] {
    const std::string narrow(kLogSwitchPattern);
    return new std::wregex(std::wstring(narrow.begin(), narrow.end()), std::regex_constants::ECMAScript);
  }();
  return *expression;
}

}  // namespace

std::optional<platform::wstring> logDirectoryFromCommandLine(const platform::wstring& commandLine) {
  const std::wstring text(commandLine.begin(), commandLine.end());
  std::wsmatch match;
  if (!std::regex_search(text, match, logSwitch())) return std::nullopt;
  const std::wstring& value = match[2].matched ? match[2].str() : match[3].str();
  return platform::wstring(value.begin(), value.end());
}

}  // namespace installer::tracing
