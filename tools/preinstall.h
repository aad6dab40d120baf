// The external UI of the scenario tool's runs (`machine.js preinstall`,
// `install`, `uninstall`), and the pre-installation run of the tool and of
// its benchmark. The pre-installation run is what the add-on's pre-installation task does with
// a package, through the same msi.dll functions, in the same order:
//   the external UI handler (the add-on's filter) and the internal UI level
//   NONE installed; MsiOpenPackageW; each property set; INSTALLLEVEL=32767;
//   the InstallExecuteSequence walked in ascending order up to and
//   including LaunchConditions, each row's condition evaluated first
//   (0, 3010 and 1626 count as success); then CostInitialize, FileCost,
//   CostFinalize and InstallValidate (only 0 counts); the session closed
//   and the UI settings restored, on every way out.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/windows.h"

namespace preinstall {

// The add-on's handler filter: errors, warnings, out of disk space, action
// starts, action data and progress.
constexpr DWORD kMessageFilter = 0x786;

struct Message {
  UINT type;  // INSTALLMESSAGE_* with its MB_* flags
  std::u16string text;
};

using Properties = std::vector<std::pair<std::u16string, std::u16string>>;

// Sees every message the handler is sent, in order, on the thread that
// called Windows Installer; its result is the handler's answer (IDOK goes
// on, IDCANCEL cancels). An empty one answers IDOK to everything.
using MessageHandler = std::function<INT(const Message&)>;

// For its lifetime, the add-on's external UI: `handler` behind the add-on's
// filter and the internal UI level NONE. The previous level and handler
// are put back when it ends, the level first.
class ExternalUi {
 public:
  explicit ExternalUi(const MessageHandler& handler);
  ~ExternalUi();
  ExternalUi(const ExternalUi&) = delete;
  ExternalUi& operator=(const ExternalUi&) = delete;

 private:
  INSTALLUI_HANDLERW handler_;
  INSTALLUILEVEL level_;
};

// The pre-installation run's result code, under an ExternalUi of `handler`.
UINT run(const std::u16string& packagePath, const Properties& properties, const MessageHandler& handler);

}  // namespace preinstall
