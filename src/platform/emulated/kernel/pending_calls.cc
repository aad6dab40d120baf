// Calls declared for the application services whose emulation is being
// written: until then each fails with ERROR_CALL_NOT_IMPLEMENTED, so that
// callers link and take their failure path.
#include "platform/windows.h"

namespace {
template <typename T>
T notImplemented(T result) {
  SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
  return result;
}
}  // namespace

extern "C" {
HANDLE CreateFileMappingW(HANDLE, LPSECURITY_ATTRIBUTES, DWORD, DWORD, DWORD, LPCWSTR) {
  return notImplemented<HANDLE>(nullptr);
}
HANDLE CreateFileMappingA(HANDLE, LPSECURITY_ATTRIBUTES, DWORD, DWORD, DWORD, LPCSTR) {
  return notImplemented<HANDLE>(nullptr);
}
HANDLE OpenFileMappingW(DWORD, BOOL, LPCWSTR) { return notImplemented<HANDLE>(nullptr); }
HANDLE OpenFileMappingA(DWORD, BOOL, LPCSTR) { return notImplemented<HANDLE>(nullptr); }
LPVOID MapViewOfFile(HANDLE, DWORD, DWORD, DWORD, SIZE_T) { return notImplemented<LPVOID>(nullptr); }
BOOL UnmapViewOfFile(LPCVOID) { return notImplemented<BOOL>(FALSE); }
HANDLE GetCurrentProcess(void) { return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)); }
BOOL GetVersionExA(LPOSVERSIONINFOA) { return notImplemented<BOOL>(FALSE); }
BOOL OpenProcessToken(HANDLE, DWORD, PHANDLE) { return notImplemented<BOOL>(FALSE); }
BOOL LookupPrivilegeValueA(LPCSTR, LPCSTR, PLUID) { return notImplemented<BOOL>(FALSE); }
BOOL LookupPrivilegeValueW(LPCWSTR, LPCWSTR, PLUID) { return notImplemented<BOOL>(FALSE); }
BOOL AdjustTokenPrivileges(HANDLE, BOOL, PTOKEN_PRIVILEGES, DWORD, PTOKEN_PRIVILEGES, PDWORD) {
  return notImplemented<BOOL>(FALSE);
}
BOOL ExitWindowsEx(UINT, DWORD) { return notImplemented<BOOL>(FALSE); }
HINSTANCE ShellExecuteW(HWND, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR, INT) {
  return notImplemented<HINSTANCE>(reinterpret_cast<HINSTANCE>(static_cast<std::intptr_t>(SE_ERR_NOASSOC)));
}
}
