// The one door to Windows. Every call the add-on makes into the kernel,
// Windows Installer (msi.dll), security or the shell is declared through
// this header, and so are the C runtime functions whose Windows behaviour
// the host's C library does not share (locale conversions, localtime_s).
// On Windows it is the SDK; elsewhere the same names and signatures are
// served by the emulated Windows machine in this folder, so that an
// installer UI can be developed and tested on any machine.
#pragma once

#include <string>

#ifdef _WIN32
// The add-on is a Unicode program: the generic names of the SDK (LPCTSTR,
// MSIDBOPEN_READONLY, ...) are wide, as the emulated machine declares them.
// The build defines these too; a source that includes the SDK's headers
// before this one gets them from there.
#ifndef UNICODE
#define UNICODE
#endif
#ifndef _UNICODE
#define _UNICODE
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
// Without it <windows.h> brings in winsock.h, which clashes with the
// winsock2.h that libuv (and so node.h) includes after it. What it leaves
// out and the add-on uses is included by name below.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#include <shellapi.h>
#include <msi.h>
#include <msiquery.h>
#include <shlobj.h>
#include <stdlib.h>
#include <time.h>
#include <wchar.h>
#else
#include "platform/emulated/win_types.h"
#include "platform/emulated/kernel32.h"
#include "platform/emulated/msi.h"
#include "platform/emulated/msi_products.h"
#include "platform/emulated/msi_ui.h"
#include "platform/emulated/advapi32.h"
#include "platform/emulated/shell32.h"
#include "platform/emulated/user32.h"
#include "platform/emulated/crt.h"
#endif

// Wide string literals that are WCHAR text on both machines:
// WIDE_TEXT("x") is L"x" on Windows and u"x" elsewhere.
#ifdef _WIN32
#define WIDE_TEXT(text) L##text
#else
#define WIDE_TEXT(text) u##text
#endif

static_assert(sizeof(WCHAR) == 2, "wide text is UTF-16 on both machines");

namespace platform {

// The wide string of the whole add-on: UTF-16 units, as the script engine
// hands them over and as Windows takes them.
using wstring = std::basic_string<WCHAR>;

}  // namespace platform
