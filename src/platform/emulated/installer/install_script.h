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
// Running it (runScript), in the order Windows Installer sends them:
//   reset "1: 0 2: TOTAL 3: 0 4: 0 " (TOTAL: the sum of the ticks);
//   per action with operations: ACTIONSTART "Action H:MM:SS: Name. Desc",
//   and when its operations carry ACTIONDATA the action information
//   "1: 1 2: N 3: 1 " (each ACTIONDATA advances the bar N ticks; every
//   operation of the action weighs N) or "1: 1 2: 0 3: 0 " (the reports
//   alone move it);
//   per operation: ACTIONDATA (its text, when it has one), the change,
//   then the report "1: 2 2: TICKS " (none for 0 ticks).
// A total beyond what the 32-bit fields of a record hold is scaled down,
// the reports rounded so that they still add up to the announced total.
//
// Threads: a script belongs to one installation, on the thread that runs
// it; nothing here locks.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/emulated/installer/ui_messages.h"
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

// The scenario settings a run honours (machine.conf): a delay after each
// progress report, and the action that fails once its operations ran.
struct ScriptRunSettings {
  int tickDelayMs = 0;
  std::u16string failAction;
};

// A progress report ("1: 2 2: N "), then the scenario's delay.
UiAnswer reportProgress(MessageChannel& channel, long long ticks, int delayMs);

// The error message of a scenario's failing action, and its result:
// ERROR_INSTALL_FAILURE (1603), or 1602 when the user cancels the message.
UINT failScenarioAction(Session& session, std::u16string_view action);

// Runs every operation of the script through the journal: ERROR_SUCCESS,
// ERROR_INSTALL_USEREXIT when the user cancelled at any message, or
// ERROR_INSTALL_FAILURE when an operation or the scenario's failing action
// failed. The caller rolls the journal back on a failure.
UINT runScript(const InstallScript& script, Session& session, InstallJournal& journal,
               const ScriptRunSettings& settings);

}  // namespace emulated::installer
