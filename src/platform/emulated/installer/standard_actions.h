// The standard actions the engine emulates, by name: one table that
// MsiDoActionW and the installation's sequence walk both look names up in.
// Each entry runs on a session and returns the action's Windows code.
#pragma once

#include <string_view>

#include "platform/emulated/installer/session.h"

namespace emulated::installer {

struct StandardAction {
  const char16_t* name;
  UINT (*run)(Session& session);
};

// nullptr for a name that is not an emulated standard action.
const StandardAction* findStandardAction(std::u16string_view name);

// ERROR_FUNCTION_NOT_CALLED (1626) for a name the table lacks.
UINT runStandardAction(Session& session, std::u16string_view name);

}  // namespace emulated::installer
