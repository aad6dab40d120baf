// The one place where libmsi's GError codes become Windows codes.
#pragma once

#include <glib.h>

#include "platform/emulated/win_types.h"

namespace emulated {

// The Windows code of a libmsi error. `fallback` stands for a missing error
// and for errors of other domains (GIO's file errors, for instance), which
// callers name by what they were doing.
UINT windowsCodeFromGError(const GError* error, UINT fallback);

}  // namespace emulated
