// The process token and restart requests of the emulated machine.
//
// The process has one token. Its privileges are those the machine's user
// holds (machine.conf userIsAdmin: an administrator holds them all, another
// user the few Windows gives every user, less the shutdown right on a
// server), each disabled until
// AdjustTokenPrivileges enables it; a privilege removed from the token
// (SE_PRIVILEGE_REMOVED) is gone for good. Both sets are process-wide and
// guarded by one mutex; token handles only carry their access rights.
// ExitWindowsEx restarts nothing: it records the request in the machine
// (machine_records.h, kind "restarts").
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>
#include <string>

#include "platform/emulated/advapi32.h"
#include "platform/emulated/kernel/handle_table.h"
#include "platform/emulated/machine/machine_config.h"
#include "platform/emulated/machine/machine_records.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/user32.h"

namespace emulated {

namespace {

// The documented privilege names and their LUIDs (the low part; the high
// part is 0), and whether a standard user holds them.
struct Privilege {
  const char* name;
  DWORD luid;
  bool everyUser;
};
constexpr Privilege kPrivileges[] = {
    {"SeCreateTokenPrivilege", 2, false},        {"SeAssignPrimaryTokenPrivilege", 3, false},
    {"SeLockMemoryPrivilege", 4, false},         {"SeIncreaseQuotaPrivilege", 5, false},
    {"SeMachineAccountPrivilege", 6, false},     {"SeTcbPrivilege", 7, false},
    {"SeSecurityPrivilege", 8, false},           {"SeTakeOwnershipPrivilege", 9, false},
    {"SeLoadDriverPrivilege", 10, false},        {"SeSystemProfilePrivilege", 11, false},
    {"SeSystemtimePrivilege", 12, false},        {"SeProfileSingleProcessPrivilege", 13, false},
    {"SeIncreaseBasePriorityPrivilege", 14, false}, {"SeCreatePagefilePrivilege", 15, false},
    {"SeCreatePermanentPrivilege", 16, false},   {"SeBackupPrivilege", 17, false},
    {"SeRestorePrivilege", 18, false},           {"SeShutdownPrivilege", 19, true},
    {"SeDebugPrivilege", 20, false},             {"SeAuditPrivilege", 21, false},
    {"SeSystemEnvironmentPrivilege", 22, false}, {"SeChangeNotifyPrivilege", 23, true},
    {"SeRemoteShutdownPrivilege", 24, false},    {"SeUndockPrivilege", 25, true},
    {"SeManageVolumePrivilege", 28, false},      {"SeImpersonatePrivilege", 29, false},
    {"SeCreateGlobalPrivilege", 30, false},      {"SeIncreaseWorkingSetPrivilege", 33, true},
    {"SeTimeZonePrivilege", 34, true},           {"SeCreateSymbolicLinkPrivilege", 35, false},
};
constexpr DWORD kShutdownLuid = 19;

class TokenObject : public KernelObject {
 public:
  explicit TokenObject(DWORD access) : access_(access) {}
  bool mayAdjust() const { return (access_ & (TOKEN_ADJUST_PRIVILEGES | GENERIC_WRITE | GENERIC_ALL)) != 0; }
  bool mayQuery() const { return (access_ & (TOKEN_QUERY | GENERIC_READ | GENERIC_ALL)) != 0; }

 private:
  DWORD access_;
};

std::mutex tokenMutex;
std::set<DWORD>& enabledPrivileges() {
  static auto* enabled = new std::set<DWORD>;  // outlives exit-time callers
  return *enabled;
}

std::set<DWORD>& removedPrivileges() {
  static auto* removed = new std::set<DWORD>;
  return *removed;
}

// Whether the token holds the privilege: the user has it and it was not removed.
// On a server, "Shut down the system" is not a right of every user: by
// default only administrators and backup operators hold it there.
bool tokenHolds(DWORD luid, bool admin, bool server) {
  if (removedPrivileges().count(luid) != 0) return false;
  for (const Privilege& p : kPrivileges) {
    if (p.luid == luid) return admin || (p.everyUser && !(server && luid == kShutdownLuid));
  }
  return false;
}

BOOL lookupPrivilege(const std::string& name, PLUID luid) {
  for (const Privilege& p : kPrivileges) {
    if (strcasecmp(p.name, name.c_str()) == 0) {
      luid->LowPart = p.luid;
      luid->HighPart = 0;
      return TRUE;
    }
  }
  SetLastError(ERROR_NO_SUCH_PRIVILEGE);
  return FALSE;
}

BOOL fail(DWORD error) {
  SetLastError(error);
  return FALSE;
}

// Writes the previous state of the privileges in `luids` (one entry each);
// false when the buffer is too short, with the size needed.
bool writePreviousState(const std::set<DWORD>& luids, PTOKEN_PRIVILEGES previous, DWORD bufferLength,
                        PDWORD returnLength) {
  const size_t count = luids.size();
  const DWORD needed = static_cast<DWORD>(offsetof(TOKEN_PRIVILEGES, Privileges) +
                                          (count == 0 ? 1 : count) * sizeof(LUID_AND_ATTRIBUTES));
  if (returnLength != nullptr) *returnLength = needed;
  if (previous == nullptr) return true;
  if (bufferLength < needed) return false;
  previous->PrivilegeCount = static_cast<DWORD>(count);
  size_t i = 0;
  for (DWORD luid : luids) {
    LUID_AND_ATTRIBUTES& entry = previous->Privileges[i++];  // the caller's buffer holds `count`
    entry.Luid = LUID{luid, 0};
    entry.Attributes = enabledPrivileges().count(luid) != 0 ? SE_PRIVILEGE_ENABLED : 0;
  }
  return true;
}

}  // namespace

}  // namespace emulated

using emulated::TokenObject;

extern "C" BOOL OpenProcessToken(HANDLE ProcessHandle, DWORD DesiredAccess, PHANDLE TokenHandle) {
  if (TokenHandle == nullptr) return emulated::fail(ERROR_INVALID_PARAMETER);
  if (ProcessHandle != GetCurrentProcess()) return emulated::fail(ERROR_INVALID_HANDLE);
  *TokenHandle = emulated::insertHandle(std::make_shared<TokenObject>(DesiredAccess));
  SetLastError(ERROR_SUCCESS);
  return TRUE;
}

extern "C" BOOL LookupPrivilegeValueA(LPCSTR lpSystemName, LPCSTR lpName, PLUID lpLuid) {
  if (lpName == nullptr || lpLuid == nullptr) return emulated::fail(ERROR_INVALID_PARAMETER);
  if (lpSystemName != nullptr && lpSystemName[0] != 0) return emulated::fail(ERROR_CALL_NOT_IMPLEMENTED);
  return emulated::lookupPrivilege(lpName, lpLuid);
}

extern "C" BOOL LookupPrivilegeValueW(LPCWSTR lpSystemName, LPCWSTR lpName, PLUID lpLuid) {
  if (lpName == nullptr || lpLuid == nullptr) return emulated::fail(ERROR_INVALID_PARAMETER);
  if (lpSystemName != nullptr && lpSystemName[0] != 0) return emulated::fail(ERROR_CALL_NOT_IMPLEMENTED);
  return emulated::lookupPrivilege(emulated::utf16ToUtf8(lpName), lpLuid);
}

extern "C" BOOL AdjustTokenPrivileges(HANDLE TokenHandle, BOOL DisableAllPrivileges, PTOKEN_PRIVILEGES NewState,
                                      DWORD BufferLength, PTOKEN_PRIVILEGES PreviousState, PDWORD ReturnLength) {
  auto token = emulated::lookupHandleAs<TokenObject>(TokenHandle);
  if (!token) return emulated::fail(ERROR_INVALID_HANDLE);
  if (!token->mayAdjust() || (PreviousState != nullptr && !token->mayQuery())) {
    return emulated::fail(ERROR_ACCESS_DENIED);
  }
  if (!DisableAllPrivileges && NewState == nullptr) return emulated::fail(ERROR_INVALID_PARAMETER);
  const emulated::MachineFacts facts = emulated::readMachineFacts();
  const bool admin = facts.userIsAdmin, server = facts.productType != 1;
  std::lock_guard<std::mutex> lock(emulated::tokenMutex);
  std::set<DWORD>& enabled = emulated::enabledPrivileges();
  // The privileges this call changes, and whether the token lacks any.
  std::set<DWORD> touched;
  std::set<DWORD> removed;
  bool allAssigned = true;
  if (DisableAllPrivileges) {
    touched = enabled;
  } else {
    for (DWORD i = 0; i < NewState->PrivilegeCount; ++i) {
      const LUID_AND_ATTRIBUTES& entry = NewState->Privileges[i];
      if (entry.Luid.HighPart != 0 || !emulated::tokenHolds(entry.Luid.LowPart, admin, server)) {
        allAssigned = false;
        continue;
      }
      if ((entry.Attributes & SE_PRIVILEGE_REMOVED) != 0) {
        removed.insert(entry.Luid.LowPart);  // not in the previous state: it cannot come back
        continue;
      }
      const bool enable = (entry.Attributes & SE_PRIVILEGE_ENABLED) != 0;
      if (enable != (enabled.count(entry.Luid.LowPart) != 0)) touched.insert(entry.Luid.LowPart);
    }
  }
  if (!emulated::writePreviousState(touched, PreviousState, BufferLength, ReturnLength)) {
    return emulated::fail(ERROR_INSUFFICIENT_BUFFER);
  }
  for (DWORD luid : removed) {
    enabled.erase(luid);
    emulated::removedPrivileges().insert(luid);
  }
  for (DWORD luid : touched) {
    if (removed.count(luid) != 0) continue;
    if (enabled.count(luid) != 0) {
      enabled.erase(luid);
    } else {
      enabled.insert(luid);
    }
  }
  SetLastError(allAssigned ? ERROR_SUCCESS : ERROR_NOT_ALL_ASSIGNED);
  return TRUE;
}

extern "C" BOOL ExitWindowsEx(UINT uFlags, DWORD dwReason) {
  const UINT kind = uFlags & (EWX_SHUTDOWN | EWX_REBOOT | EWX_POWEROFF | EWX_RESTARTAPPS);
  if (kind != EWX_LOGOFF) {
    std::lock_guard<std::mutex> lock(emulated::tokenMutex);
    if (emulated::enabledPrivileges().count(emulated::kShutdownLuid) == 0) {
      return emulated::fail(ERROR_PRIVILEGE_NOT_HELD);
    }
  }
  char flags[16];
  char reason[16];
  std::snprintf(flags, sizeof flags, "0x%08X", uFlags);
  std::snprintf(reason, sizeof reason, "0x%08X", static_cast<unsigned>(dwReason));
  if (!emulated::appendMachineRecord("restarts", {flags, reason})) return emulated::fail(ERROR_WRITE_FAULT);
  SetLastError(ERROR_SUCCESS);
  return TRUE;
}
