// GetVersionExA: the Windows version the machine reports (machine.conf),
// in the structure whose size the caller names.
#include <cstdio>
#include <cstring>

#include "platform/emulated/kernel32.h"
#include "platform/emulated/machine/machine_config.h"

extern "C" BOOL GetVersionExA(LPOSVERSIONINFOA lpVersionInformation) {
  if (lpVersionInformation == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const DWORD size = lpVersionInformation->dwOSVersionInfoSize;
  if (size != sizeof(OSVERSIONINFOA) && size != sizeof(OSVERSIONINFOEXA)) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return FALSE;
  }
  const emulated::MachineFacts facts = emulated::readMachineFacts();
  OSVERSIONINFOEXA info{};
  info.dwOSVersionInfoSize = size;
  info.dwMajorVersion = static_cast<DWORD>(facts.windowsMajor);
  info.dwMinorVersion = static_cast<DWORD>(facts.windowsMinor);
  info.dwBuildNumber = static_cast<DWORD>(facts.windowsBuild);
  info.dwPlatformId = VER_PLATFORM_WIN32_NT;
  if (facts.servicePack > 0) std::snprintf(info.szCSDVersion, sizeof info.szCSDVersion, "Service Pack %d", facts.servicePack);
  info.wServicePackMajor = static_cast<WORD>(facts.servicePack);
  info.wSuiteMask = static_cast<WORD>(facts.suiteMask);
  info.wProductType = static_cast<BYTE>(facts.productType);
  std::memcpy(lpVersionInformation, &info, size);
  return TRUE;
}
