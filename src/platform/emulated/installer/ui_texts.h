// The texts Windows Installer builds for its messages and its log, from the
// reserved templates of the Error table:
//   8  "Action [Time]: [1]. [2]"               (INSTALLMESSAGE_ACTIONSTART)
//   12 "=== Logging started: [Date]  [Time] ==="
//   13 "=== Logging stopped: [Date]  [Time] ==="
//   14 "Action start [Time]: [1]."
//   15 "Action ended [Time]: [1]. Return value [2]."
// and the default descriptions of the standard actions. Pure functions of
// their arguments (the time is passed in), so each text can be checked.
#pragma once

#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "platform/emulated/win_types.h"

namespace emulated::installer {

// The machine's local time now, as messages and log lines show it.
std::tm localNow();

// [Time]: "H:MM:SS" on a 24-hour clock, the hour without a leading zero
// (GetTimeFormat with TIME_FORCE24HOURFORMAT | TIME_NOTIMEMARKER in the
// machine's en-US locale). [Date]: "M/D/YYYY", the en-US short date
// (GetDateFormat with DATE_SHORTDATE), as the Date property is formatted.
std::u16string installerTime(const std::tm& at);
std::u16string installerDate(const std::tm& at);

// The description of a standard action when the package's ActionText table
// has none; "" for an action whose default text is not documented.
std::u16string_view defaultActionDescription(std::u16string_view action);

// "Action H:MM:SS: Name. Description"; with an empty description the text
// ends with the blank after the full stop.
std::u16string actionStartText(std::u16string_view action, std::u16string_view description, const std::tm& at);

// "Action start H:MM:SS: Name." and "Action ended H:MM:SS: Name. Return
// value N.", N being the documented log value of the action's result code.
std::u16string actionStartedLogText(std::u16string_view action, const std::tm& at);
std::u16string actionEndedLogText(std::u16string_view action, UINT result, const std::tm& at);

// The value the log shows for an action's result code: 1 success, 2 user
// exit, 3 failure, 0 not called, and the other documented values; a code
// the documentation does not list reads as 3, a failure.
int logReturnValue(UINT result);

// A record without a template, as Windows Installer prints it: each field
// as "N: value " (one blank after each), e.g. "1: 0 2: 1520 3: 0 4: 0 ".
std::u16string recordText(const std::vector<std::u16string>& fields);

}  // namespace emulated::installer
