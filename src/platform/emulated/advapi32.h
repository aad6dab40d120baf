// The registry and token functions of advapi32 (winreg.h, securitybaseapi.h,
// processthreadsapi.h, winbase.h). The registry is served by the emulated
// machine's registry (registry/): same names, values and signatures as the
// Windows SDK declares them. Results are Win32 error codes (LSTATUS).
//
// What callers may rely on, as Windows documents it:
// - key and value names match without regard to case and keep the case
//   they were created with; "\" separates key names, a value name may hold
//   any character; a null or empty value name is the key's default value;
// - RegQueryValueExW and RegEnumValueW size in two calls: a null data
//   pointer gives the size, a short buffer ERROR_MORE_DATA and the size
//   needed; a missing key or value is ERROR_FILE_NOT_FOUND;
// - enumeration past the last item is ERROR_NO_MORE_ITEMS; subkeys come in
//   alphabetical order, values in the order they were first set;
// - RegDeleteKeyW refuses a key that has subkeys (ERROR_ACCESS_DENIED);
// - a handle whose key was deleted gives ERROR_KEY_DELETED;
// - a handle opened without an access right (KEY_SET_VALUE, ...) that an
//   operation needs gives ERROR_ACCESS_DENIED.
// The registry is shared by every process of the machine; each call is
// atomic against the calls of other processes.
#pragma once

#include "platform/emulated/kernel32.h"
#include "platform/emulated/win_types.h"

struct HKEY__;
typedef struct HKEY__* HKEY;
typedef HKEY* PHKEY;
typedef LONG LSTATUS;
typedef DWORD REGSAM;
typedef BYTE* LPBYTE;

#define HKEY_CLASSES_ROOT (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000000))))
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000001))))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000002))))
#define HKEY_USERS (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(static_cast<LONG>(0x80000003))))

// Value types.
#define REG_NONE 0UL
#define REG_SZ 1UL
#define REG_EXPAND_SZ 2UL
#define REG_BINARY 3UL
#define REG_DWORD 4UL
#define REG_DWORD_LITTLE_ENDIAN 4UL
#define REG_DWORD_BIG_ENDIAN 5UL
#define REG_LINK 6UL
#define REG_MULTI_SZ 7UL
#define REG_QWORD 11UL
#define REG_QWORD_LITTLE_ENDIAN 11UL

// Access rights.
#define KEY_QUERY_VALUE 0x0001UL
#define KEY_SET_VALUE 0x0002UL
#define KEY_CREATE_SUB_KEY 0x0004UL
#define KEY_ENUMERATE_SUB_KEYS 0x0008UL
#define KEY_NOTIFY 0x0010UL
#define KEY_CREATE_LINK 0x0020UL
#define KEY_WOW64_64KEY 0x0100UL
#define KEY_WOW64_32KEY 0x0200UL
#define KEY_READ 0x20019UL
#define KEY_WRITE 0x20006UL
#define KEY_EXECUTE 0x20019UL
#define KEY_ALL_ACCESS 0xF003FUL

// Options and dispositions of RegCreateKeyExW.
#define REG_OPTION_NON_VOLATILE 0x00000000UL
#define REG_OPTION_VOLATILE 0x00000001UL
#define REG_CREATED_NEW_KEY 0x00000001UL
#define REG_OPENED_EXISTING_KEY 0x00000002UL

// Registry error codes that win_types.h lacks.
#ifndef ERROR_BADDB
#define ERROR_BAD_PATHNAME 161L
#define ERROR_BADDB 1009L
#define ERROR_BADKEY 1010L
#define ERROR_CANTOPEN 1011L
#define ERROR_CANTREAD 1012L
#define ERROR_CANTWRITE 1013L
#define ERROR_REGISTRY_IO_FAILED 1016L
#define ERROR_KEY_DELETED 1018L
#endif

// Tokens and privileges (winnt.h).
#define TOKEN_ASSIGN_PRIMARY 0x0001UL
#define TOKEN_DUPLICATE 0x0002UL
#define TOKEN_IMPERSONATE 0x0004UL
#define TOKEN_QUERY 0x0008UL
#define TOKEN_QUERY_SOURCE 0x0010UL
#define TOKEN_ADJUST_PRIVILEGES 0x0020UL
#define TOKEN_ADJUST_GROUPS 0x0040UL
#define TOKEN_ADJUST_DEFAULT 0x0080UL
#define TOKEN_ALL_ACCESS 0xF01FFUL
#define SE_PRIVILEGE_ENABLED_BY_DEFAULT 0x00000001UL
#define SE_PRIVILEGE_ENABLED 0x00000002UL
#define SE_PRIVILEGE_REMOVED 0x00000004UL
#define ANYSIZE_ARRAY 1

// The privilege names are generic text in the SDK; the add-on is a Unicode
// program, so they are wide here as there.
#define SE_SHUTDOWN_NAME u"SeShutdownPrivilege"
#define SE_REMOTE_SHUTDOWN_NAME u"SeRemoteShutdownPrivilege"
#define SE_BACKUP_NAME u"SeBackupPrivilege"
#define SE_RESTORE_NAME u"SeRestorePrivilege"
#define SE_DEBUG_NAME u"SeDebugPrivilege"
#define SE_SECURITY_NAME u"SeSecurityPrivilege"
#define SE_TAKE_OWNERSHIP_NAME u"SeTakeOwnershipPrivilege"
#define SE_SYSTEMTIME_NAME u"SeSystemtimePrivilege"
#define SE_CHANGE_NOTIFY_NAME u"SeChangeNotifyPrivilege"
#define SE_UNDOCK_NAME u"SeUndockPrivilege"
#define SE_TIME_ZONE_NAME u"SeTimeZonePrivilege"
#define SE_INC_WORKING_SET_NAME u"SeIncreaseWorkingSetPrivilege"

typedef struct _LUID {
  DWORD LowPart;
  LONG HighPart;
} LUID, *PLUID;

typedef struct _LUID_AND_ATTRIBUTES {
  LUID Luid;
  DWORD Attributes;
} LUID_AND_ATTRIBUTES, *PLUID_AND_ATTRIBUTES;

typedef struct _TOKEN_PRIVILEGES {
  DWORD PrivilegeCount;
  LUID_AND_ATTRIBUTES Privileges[ANYSIZE_ARRAY];
} TOKEN_PRIVILEGES, *PTOKEN_PRIVILEGES;

extern "C" {

// The calling process's token (ProcessHandle GetCurrentProcess()); its
// privileges are those the machine's user holds, all disabled at start.
BOOL OpenProcessToken(HANDLE ProcessHandle, DWORD DesiredAccess, PHANDLE TokenHandle);

// The LUID of a privilege by name (case-insensitive) on the local machine
// (lpSystemName null or empty); an unknown name gives ERROR_NO_SUCH_PRIVILEGE.
BOOL LookupPrivilegeValueA(LPCSTR lpSystemName, LPCSTR lpName, PLUID lpLuid);
BOOL LookupPrivilegeValueW(LPCWSTR lpSystemName, LPCWSTR lpName, PLUID lpLuid);

// Enables or disables privileges of the token (TOKEN_ADJUST_PRIVILEGES
// needed). TRUE with ERROR_NOT_ALL_ASSIGNED when the token lacks one of
// them; ERROR_SUCCESS when all were changed.
BOOL AdjustTokenPrivileges(HANDLE TokenHandle, BOOL DisableAllPrivileges, PTOKEN_PRIVILEGES NewState,
                           DWORD BufferLength, PTOKEN_PRIVILEGES PreviousState, PDWORD ReturnLength);

LSTATUS RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass, DWORD dwOptions,
                        REGSAM samDesired, const LPSECURITY_ATTRIBUTES lpSecurityAttributes, PHKEY phkResult,
                        LPDWORD lpdwDisposition);
LSTATUS RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired, PHKEY phkResult);
LSTATUS RegCloseKey(HKEY hKey);

LSTATUS RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType, const BYTE* lpData,
                       DWORD cbData);
LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData,
                         LPDWORD lpcbData);
LSTATUS RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName);
LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey);

LSTATUS RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName, LPDWORD lpReserved,
                      LPWSTR lpClass, LPDWORD lpcchClass, PFILETIME lpftLastWriteTime);
LSTATUS RegEnumValueW(HKEY hKey, DWORD dwIndex, LPWSTR lpValueName, LPDWORD lpcchValueName, LPDWORD lpReserved,
                      LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData);

}  // extern "C"
