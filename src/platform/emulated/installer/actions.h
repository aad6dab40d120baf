// Running one action on a session, by name, as MsiDoActionW documents it:
// a standard action (standard_actions.h), else a custom action of the
// package's CustomAction table, else ERROR_FUNCTION_NOT_CALLED (1626) with
// no message at all. The installation's sequence walk runs its actions
// through here too.
//
// Every action that runs is framed on the session's message path:
//   ACTIONSTART "Action H:MM:SS: Name. Description" (the ActionText
//   table's description, else the documented default), "Action start",
//   the action's body, "Action ended ... Return value N.".
// The handler's IDCANCEL to any of these messages, or to a message of the
// body, ends the action with ERROR_INSTALL_USEREXIT (1602).
//
// Custom actions, by their base type (the low 6 bits; the higher bits are
// options): 51 sets the property named in Source to the formatted Target;
// 35 sets the directory named in Source to the formatted Target; 19 posts
// its formatted Target (or the Error table's message of that number) as
// INSTALLMESSAGE_ERROR and fails with ERROR_INSTALL_FAILURE. Any other
// type runs code of the package (a DLL, an executable, a script, a nested
// installation), which the emulated machine does not do: it is skipped
// with a log line and succeeds, as is an action deferred to the
// installation script (msidbCustomActionTypeInScript), which only an
// installation runs.
#pragma once

#include <string_view>

#include "platform/emulated/installer/session.h"

namespace emulated::installer {

UINT doAction(Session& session, std::u16string_view action);

}  // namespace emulated::installer
