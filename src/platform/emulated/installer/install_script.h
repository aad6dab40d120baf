// The installation script. While an installation or a removal walks its
// InstallExecuteSequence, the execution actions (InstallFiles,
// WriteRegistryValues, RegisterProduct, ...) do not change the machine: each
// writes the changes it will make into the script, as Windows Installer does
// when it generates its script. InstallFinalize runs the script: every
// operation in the order written, each through the journal
// (install_journal.h), with the messages of the documented progress
// protocol. A cancel or a failure at any point rolls the journal back.
//
// The ticks of the operations are the execution's total: the reset that
// starts the execution announces their sum, and the progress reports that
// the operations send add up to it exactly.
//
// Threads: a script belongs to one installation, on the thread that runs
// it; nothing here locks.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/emulated/win_types.h"

namespace emulated::installer {

class InstallJournal;
class Session;

// One change to the machine, written by an action, run by InstallFinalize.
struct ScriptOperation {
  // The ACTIONDATA text sent when the operation runs, already formatted from
  // the action's template (the package's ActionText row, else the
  // documented default); empty: none is sent.
  std::u16string actionData;
  // The progress ticks the operation reports as it runs (a file: its size
  // in bytes; other operations: a fixed cost), never negative.
  long long ticks = 0;
  // Makes the change through the journal, so that it can be taken back:
  // ERROR_SUCCESS, or the code that ends the installation (after the
  // operation posted its error message on the session's channel).
  std::function<UINT(Session& session, InstallJournal& journal)> run;
};

// The operations an action wrote, run under that action's ACTIONSTART.
struct ScriptAction {
  std::u16string name;
  std::u16string description;  // the ACTIONSTART description
  std::vector<ScriptOperation> operations;
};

class InstallScript {
 public:
  InstallScript() = default;
  InstallScript(const InstallScript&) = delete;
  InstallScript& operator=(const InstallScript&) = delete;

  // The operations added next belong to `action`.
  void beginAction(std::u16string_view action, std::u16string description);
  void add(ScriptOperation operation);

  const std::vector<ScriptAction>& actions() const { return actions_; }
  long long totalTicks() const;

 private:
  std::vector<ScriptAction> actions_;
};

}  // namespace emulated::installer
