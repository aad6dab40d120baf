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

// File mapping protections and view access (winnt.h, memoryapi.h).
#define PAGE_READONLY 0x02UL
#define PAGE_READWRITE 0x04UL
#define PAGE_WRITECOPY 0x08UL
#define SECTION_QUERY 0x0001UL
#define SECTION_MAP_WRITE 0x0002UL
#define SECTION_MAP_READ 0x0004UL
#define SECTION_MAP_EXECUTE 0x0008UL
#define SECTION_EXTEND_SIZE 0x0010UL
#define SECTION_ALL_ACCESS 0xF001FUL
#define FILE_MAP_COPY 0x0001UL
#define FILE_MAP_WRITE SECTION_MAP_WRITE
#define FILE_MAP_READ SECTION_MAP_READ
#define FILE_MAP_ALL_ACCESS SECTION_ALL_ACCESS
#define FILE_MAP_EXECUTE 0x0020UL

// The version structures of GetVersionExA (winnt.h).
#define VER_PLATFORM_WIN32_NT 2UL
#define VER_NT_WORKSTATION 0x0000001
#define VER_NT_DOMAIN_CONTROLLER 0x0000002
#define VER_NT_SERVER 0x0000003
#define VER_SUITE_SMALLBUSINESS 0x00000001
#define VER_SUITE_ENTERPRISE 0x00000002
#define VER_SUITE_BACKOFFICE 0x00000004
#define VER_SUITE_TERMINAL 0x00000010
#define VER_SUITE_DATACENTER 0x00000080
#define VER_SUITE_SINGLEUSERTS 0x00000100
#define VER_SUITE_PERSONAL 0x00000200

typedef struct _OSVERSIONINFOA {
  DWORD dwOSVersionInfoSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  CHAR szCSDVersion[128];
} OSVERSIONINFOA, *POSVERSIONINFOA, *LPOSVERSIONINFOA;

typedef struct _OSVERSIONINFOEXA {
  DWORD dwOSVersionInfoSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  CHAR szCSDVersion[128];
  WORD wServicePackMajor;
  WORD wServicePackMinor;
  WORD wSuiteMask;
  BYTE wProductType;
  BYTE wReserved;
} OSVERSIONINFOEXA, *POSVERSIONINFOEXA, *LPOSVERSIONINFOEXA;

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


// Named file mappings backed by the paging file (hFile INVALID_HANDLE_VALUE),
// shared between the processes of one emulated machine like the named
// events. A view shows what any process writes into its view of the same
// mapping. An existing name gives its mapping with ERROR_ALREADY_EXISTS; a
// missing one for OpenFileMapping gives null with ERROR_FILE_NOT_FOUND; a
// view's access must be allowed by the protection (ERROR_ACCESS_DENIED).
HANDLE CreateFileMappingW(HANDLE hFile, LPSECURITY_ATTRIBUTES lpFileMappingAttributes, DWORD flProtect,
                          DWORD dwMaximumSizeHigh, DWORD dwMaximumSizeLow, LPCWSTR lpName);
HANDLE CreateFileMappingA(HANDLE hFile, LPSECURITY_ATTRIBUTES lpFileMappingAttributes, DWORD flProtect,
                          DWORD dwMaximumSizeHigh, DWORD dwMaximumSizeLow, LPCSTR lpName);
HANDLE OpenFileMappingW(DWORD dwDesiredAccess, BOOL bInheritHandle, LPCWSTR lpName);
HANDLE OpenFileMappingA(DWORD dwDesiredAccess, BOOL bInheritHandle, LPCSTR lpName);
LPVOID MapViewOfFile(HANDLE hFileMappingObject, DWORD dwDesiredAccess, DWORD dwFileOffsetHigh,
                     DWORD dwFileOffsetLow, SIZE_T dwNumberOfBytesToMap);
BOOL UnmapViewOfFile(LPCVOID lpBaseAddress);

// The pseudo handle of the calling process.
HANDLE GetCurrentProcess(void);

// The machine's Windows version (machine.conf); dwOSVersionInfoSize must be
// the size of OSVERSIONINFOA or OSVERSIONINFOEXA, else ERROR_INSUFFICIENT_BUFFER.
BOOL GetVersionExA(LPOSVERSIONINFOA lpVersionInformation);

}  // extern "C"
