// kernel32 functions of the emulated Windows machine: same names and signatures
// as the Windows SDK declares them.
#pragma once

#include "platform/emulated/win_types.h"

// Access rights (winnt.h). The generic rights expand to the specific ones as
// the file system maps them.
#define DELETE 0x00010000UL
#define SYNCHRONIZE 0x00100000UL
#define GENERIC_ALL 0x10000000UL
#define GENERIC_EXECUTE 0x20000000UL
#define GENERIC_WRITE 0x40000000UL
#define GENERIC_READ 0x80000000UL
#define FILE_READ_DATA 0x0001UL
#define FILE_WRITE_DATA 0x0002UL
#define FILE_APPEND_DATA 0x0004UL
#define FILE_EXECUTE 0x0020UL

// Share modes: what later opens of the same file may do while this one lasts.
#define FILE_SHARE_READ 0x00000001UL
#define FILE_SHARE_WRITE 0x00000002UL
#define FILE_SHARE_DELETE 0x00000004UL

// Creation dispositions.
#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4
#define TRUNCATE_EXISTING 5

// Attributes and flags.
#define FILE_ATTRIBUTE_READONLY 0x00000001UL
#define FILE_ATTRIBUTE_NORMAL 0x00000080UL
#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000UL

// Event rights and waits.
#define EVENT_MODIFY_STATE 0x0002UL
#define EVENT_ALL_ACCESS 0x1F0003UL
#define INFINITE 0xFFFFFFFFUL
#define WAIT_OBJECT_0 0x00000000UL
#define WAIT_ABANDONED 0x00000080UL
#define WAIT_FAILED 0xFFFFFFFFUL

typedef struct _SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
} SECURITY_ATTRIBUTES, *PSECURITY_ATTRIBUTES, *LPSECURITY_ATTRIBUTES;

// Positioned and asynchronous I/O are not emulated: handles of the emulated
// machine are synchronous and I/O functions refuse an OVERLAPPED.
typedef struct _OVERLAPPED {
  ULONG_PTR Internal;
  ULONG_PTR InternalHigh;
  DWORD Offset;
  DWORD OffsetHigh;
  HANDLE hEvent;
} OVERLAPPED, *LPOVERLAPPED;

extern "C" {

// The calling thread's last error code.
DWORD GetLastError(void);
void SetLastError(DWORD dwErrCode);

// Files. The name is a Windows path, mapped onto the host by the machine's
// drive mapping. Share modes are enforced between the opens of this process.
HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                   LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
                   DWORD dwFlagsAndAttributes, HANDLE hTemplateFile);
BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
               LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped);

// Closes a handle of any kernel object.
BOOL CloseHandle(HANDLE hObject);

// The path of the executable (hModule null) as a Windows path; truncated to
// nSize units with ERROR_INSUFFICIENT_BUFFER when the buffer is too short.
DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize);

// Named events, shared between the processes of one emulated machine (the
// "Global\" and "Local\" namespaces are one). A missing event gives null
// with ERROR_FILE_NOT_FOUND. Unnamed events are private to the process.
HANDLE CreateEventW(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                    LPCWSTR lpName);
HANDLE OpenEventW(DWORD dwDesiredAccess, BOOL bInheritHandle, LPCWSTR lpName);
BOOL SetEvent(HANDLE hEvent);
BOOL ResetEvent(HANDLE hEvent);
DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds);

}  // extern "C"
