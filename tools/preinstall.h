// The pre-installation run of the scenario tool (`machine.js preinstall`)
// and of its benchmark: what the add-on's pre-installation task does with
// a package, through the same msi.dll functions, in the same order:
//   the external UI handler (the add-on's filter) and the internal UI level
//   NONE installed; MsiOpenPackageW; each property set; INSTALLLEVEL=32767;
//   the InstallExecuteSequence walked in ascending order up to and
//   including LaunchConditions, each row's condition evaluated first
//   (0, 3010 and 1626 count as success); then CostInitialize, FileCost,
//   CostFinalize and InstallValidate (only 0 counts); the session closed
//   and the UI settings restored, on every way out.
#pragma once

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

// The run's result code. `messages`, when given, receives every message the
// handler was sent, in order.
UINT run(const std::u16string& packagePath, const Properties& properties, std::vector<Message>* messages);

}  // namespace preinstall
