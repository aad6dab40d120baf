// TEMPORARY until the installation engine lands: weak stand-ins so that
// binaries link before the engine defines these.
#ifndef _WIN32
#include "platform/windows.h"
constexpr UINT kNotImplemented = 120;  // ERROR_CALL_NOT_IMPLEMENTED
extern "C" __attribute__((weak)) UINT MsiInstallProductW(LPCWSTR, LPCWSTR) { return kNotImplemented; }
extern "C" __attribute__((weak)) UINT MsiConfigureProductExW(LPCWSTR, int, INSTALLSTATE, LPCWSTR) {
  return kNotImplemented;
}
#endif
