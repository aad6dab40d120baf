// msi functions of the emulated Windows machine: same names and signatures
// as the Windows SDK declares them.
#pragma once

#include "platform/emulated/win_types.h"

extern "C" {
}  // extern "C"
