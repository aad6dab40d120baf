// GetCurrentProcess: the pseudo handle (-1) that stands for the calling
// process wherever a process handle is taken; it needs no closing.
#include "platform/emulated/kernel32.h"

extern "C" HANDLE GetCurrentProcess(void) { return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)); }
