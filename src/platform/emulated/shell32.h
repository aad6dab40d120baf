// shell32 functions of the emulated Windows machine: same names and signatures
// as the Windows SDK declares them.
#pragma once

#include "platform/emulated/win_types.h"

// Folder ids of SHGetSpecialFolderPathW that the emulated machine knows.
#define CSIDL_PROGRAM_FILES 0x0026
// Bits above the folder id that callers may add; the id is the low byte.
#define CSIDL_FLAG_MASK 0xFF00

extern "C" {

// Writes the folder's Windows path (at most MAX_PATH units with the
// terminator) into pszPath. With fCreate the folder is created on the
// machine when it is missing. FALSE for an unknown folder id.
BOOL SHGetSpecialFolderPathW(HWND hwndOwner, LPWSTR pszPath, int csidl, BOOL fCreate);

}  // extern "C"
