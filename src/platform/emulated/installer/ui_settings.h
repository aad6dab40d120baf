// The process-wide user interface settings of Windows Installer: the
// external UI handler with its filter and context (MsiSetExternalUIW) and
// the internal UI level with its owner window (MsiSetInternalUI).
//
// Locking: one mutex guards both settings. The engine takes a snapshot
// under it and calls the handler after releasing it, so a handler may
// itself call MsiSetExternalUIW without deadlock, and a handler changed
// while a message is being delivered gets the next message, not this one.
#pragma once

#include "platform/emulated/msi_ui.h"

namespace emulated::installer {

struct ExternalUi {
  INSTALLUI_HANDLERW handler = nullptr;
  DWORD filter = 0;
  LPVOID context = nullptr;

  // Whether a message of this type (flags in the low bytes allowed) goes
  // to the handler: its bit, 1 << (type >> 24), is set in the filter.
  bool wants(UINT messageType) const;
};

ExternalUi currentExternalUi();
INSTALLUILEVEL currentInternalUiLevel();

// The UI level a session opened now reports (UILevel): the internal UI
// level without its flags; the default level (and NOCHANGE, which only the
// setter knows) is the full UI, as Windows chooses it.
int sessionUiLevel();

}  // namespace emulated::installer
