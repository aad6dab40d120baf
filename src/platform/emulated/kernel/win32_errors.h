// The one translation from the host's errno values to Win32 error codes.
// Every emulated function that fails on a host call reports through it, so
// the same host failure always reads as the same Windows code.
#pragma once

#include "platform/emulated/win_types.h"

namespace emulated {

DWORD win32ErrorFromErrno(int error);

// SetLastError(win32ErrorFromErrno(error)).
void setLastErrorFromErrno(int error);

}  // namespace emulated
