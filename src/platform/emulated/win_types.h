// Windows SDK types and constants, as the emulated machine declares them.
// Widths follow the Windows ABI (LLP64): DWORD, UINT and LONG are 32-bit.
#pragma once

#include <cstdint>

typedef char16_t WCHAR;
typedef WCHAR* LPWSTR;
typedef const WCHAR* LPCWSTR;
typedef char CHAR;
typedef CHAR* LPSTR;
typedef const CHAR* LPCSTR;
typedef int BOOL;
typedef std::uint8_t BYTE;
typedef std::uint16_t WORD;
typedef std::uint32_t DWORD;
typedef DWORD* LPDWORD;
typedef unsigned int UINT;
typedef int INT;
typedef std::int32_t LONG;
typedef std::uint32_t ULONG;
typedef std::int32_t HRESULT;
typedef void* HANDLE;
typedef void* HWND;
typedef void* HMODULE;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef void* PVOID;
typedef std::uintptr_t ULONG_PTR;
typedef ULONG_PTR SIZE_T;
typedef std::intptr_t INT_PTR;
typedef std::intptr_t LONG_PTR;
typedef DWORD* PDWORD;
typedef HANDLE* PHANDLE;
typedef void* HINSTANCE;
typedef std::uint32_t MSIHANDLE;

#ifndef _FILETIME_
#define _FILETIME_
// 100-nanosecond intervals since 1601-01-01 UTC, split as Windows splits it.
typedef struct _FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
} FILETIME, *PFILETIME, *LPFILETIME;
#endif

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)))
#define MAX_PATH 260

// Win32 error codes that the add-on and the emulated machine use.
#define ERROR_SUCCESS 0L
#define ERROR_INVALID_FUNCTION 1L
#define ERROR_FILE_NOT_FOUND 2L
#define ERROR_PATH_NOT_FOUND 3L
#define ERROR_TOO_MANY_OPEN_FILES 4L
#define ERROR_ACCESS_DENIED 5L
#define ERROR_INVALID_HANDLE 6L
#define ERROR_NOT_ENOUGH_MEMORY 8L
#define ERROR_WRITE_FAULT 29L
#define ERROR_READ_FAULT 30L
#define ERROR_SHARING_VIOLATION 32L
#define ERROR_HANDLE_DISK_FULL 39L
#define ERROR_FILE_EXISTS 80L
#define ERROR_INVALID_PARAMETER 87L
#define ERROR_OPEN_FAILED 110L
#define ERROR_DISK_FULL 112L
#define ERROR_CALL_NOT_IMPLEMENTED 120L
#define ERROR_INSUFFICIENT_BUFFER 122L
#define ERROR_INVALID_NAME 123L
#define ERROR_ALREADY_EXISTS 183L
#define ERROR_MORE_DATA 234L
#define WAIT_TIMEOUT 258L
#define ERROR_NO_MORE_ITEMS 259L
#define ERROR_DIRECTORY 267L
#define ERROR_DIR_NOT_EMPTY 145L
#define ERROR_INSTALL_USEREXIT 1602L
#define ERROR_INSTALL_FAILURE 1603L
#define ERROR_UNKNOWN_PRODUCT 1605L
#define ERROR_UNKNOWN_FEATURE 1606L
#define ERROR_UNKNOWN_PROPERTY 1608L
#define ERROR_BAD_QUERY_SYNTAX 1615L
#define ERROR_INSTALL_PACKAGE_INVALID 1620L
#define ERROR_FUNCTION_NOT_CALLED 1626L
#define ERROR_FUNCTION_FAILED 1627L
#define ERROR_INVALID_HANDLE_STATE 1609L
#define ERROR_DATATYPE_MISMATCH 1629L
#define ERROR_INVALID_DATA 13L
#define ERROR_WRITE_PROTECT 19L
#define ERROR_GEN_FAILURE 31L
#define ERROR_FILENAME_EXCED_RANGE 206L
#define ERROR_SUCCESS_REBOOT_REQUIRED 3010L
#define ERROR_INSTALL_ALREADY_RUNNING 1618L
#define ERROR_BAD_CONFIGURATION 1610L
#define ERROR_INVALID_COMMAND_LINE 1639L
#define ERROR_PRODUCT_VERSION 1638L
#define ERROR_INSTALL_SOURCE_ABSENT 1612L
#define ERROR_NOT_ALL_ASSIGNED 1300L
#define ERROR_NO_SUCH_PRIVILEGE 1313L
#define ERROR_PRIVILEGE_NOT_HELD 1314L
