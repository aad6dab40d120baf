// shell32 functions of the emulated Windows machine: same names and signatures
// as the Windows SDK declares them.
#pragma once

#include "platform/emulated/win_types.h"

// Folder ids of SHGetSpecialFolderPathW that the emulated machine knows.
#define CSIDL_PROGRAM_FILES 0x0026
// Bits above the folder id that callers may add; the id is the low byte.
#define CSIDL_FLAG_MASK 0xFF00

// Show commands (winuser.h).
#define SW_HIDE 0
#define SW_SHOWNORMAL 1
#define SW_NORMAL 1
#define SW_SHOWMINIMIZED 2
#define SW_SHOWMAXIMIZED 3
#define SW_MAXIMIZE 3
#define SW_SHOWNOACTIVATE 4
#define SW_SHOW 5
#define SW_MINIMIZE 6
#define SW_SHOWMINNOACTIVE 7
#define SW_SHOWNA 8
#define SW_RESTORE 9
#define SW_SHOWDEFAULT 10
#define SW_FORCEMINIMIZE 11

// ShellExecute's errors: values of 32 and below.
#define SE_ERR_FNF 2
#define SE_ERR_PNF 3
#define SE_ERR_ACCESSDENIED 5
#define SE_ERR_OOM 8
#define SE_ERR_DLLNOTFOUND 32
#define SE_ERR_SHARE 26
#define SE_ERR_ASSOCINCOMPLETE 27
#define SE_ERR_DDETIMEOUT 28
#define SE_ERR_DDEFAIL 29
#define SE_ERR_DDEBUSY 30
#define SE_ERR_NOASSOC 31

extern "C" {

// Writes the folder's Windows path (at most MAX_PATH units with the
// terminator) into pszPath. With fCreate the folder is created on the
// machine when it is missing. FALSE for an unknown folder id.
BOOL SHGetSpecialFolderPathW(HWND hwndOwner, LPWSTR pszPath, int csidl, BOOL fCreate);

// Opens lpFile (resolved against lpDirectory when relative) with its default
// verb. A value above 32 is success; SE_ERR_FNF for a missing file. A script
// starting with "#!" or an ELF binary is started detached on the host in the
// mapped working directory; any other file is recorded in the machine as
// opened.
HINSTANCE ShellExecuteW(HWND hwnd, LPCWSTR lpOperation, LPCWSTR lpFile, LPCWSTR lpParameters,
                        LPCWSTR lpDirectory, INT nShowCmd);

}  // extern "C"
