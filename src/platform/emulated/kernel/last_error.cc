#include "platform/emulated/kernel32.h"

namespace {

// Each thread has its own last error, as on Windows: a failure on a worker
// thread never overwrites the code the host thread is about to read.
thread_local DWORD lastError = ERROR_SUCCESS;

}  // namespace

extern "C" DWORD GetLastError(void) { return lastError; }

extern "C" void SetLastError(DWORD dwErrCode) { lastError = dwErrCode; }
