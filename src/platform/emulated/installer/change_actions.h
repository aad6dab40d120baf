// What the actions that change the machine (files, folders, the registry,
// shortcuts) share: they run only in an installation, where each writes
// its operations into the session's script under its own name, with the
// ACTIONDATA text of each operation formatted from the action's template
// (the package's ActionText row, else the default below), and it acts on
// each component by the component's action state.
//
// The default templates use the fields each action's page documents for
// its ActionData messages; "File: [1],  Directory: [9],  Size: [6]" puts
// two blanks after each comma, as Windows Installer shows it.
#pragma once

#include <string>
#include <string_view>

#include "platform/emulated/installer/formatted_text.h"
#include "platform/emulated/installer/install_script.h"
#include "platform/emulated/installer/session.h"

namespace emulated::installer {

// The ticks of an operation that writes no file bytes (a folder, a
// registry value, a shortcut, a removal): a fixed cost.
constexpr long long kOperationTicks = 4096;

// The action's template and its description in the script.
class ChangeAction {
 public:
  // Starts `action` in the session's script; script() is nullptr in a
  // package session, where the action changes nothing.
  ChangeAction(Session& session, std::u16string_view action);
  ChangeAction(const ChangeAction&) = delete;
  ChangeAction& operator=(const ChangeAction&) = delete;

  InstallScript* script() const { return script_; }
  // The ACTIONDATA text of one operation with these record fields.
  std::u16string actionData(const RecordFields& fields) const;
  void add(std::u16string actionData, long long ticks,
           std::function<UINT(Session& session, InstallJournal& journal)> run) const;

 private:
  Session& session_;
  InstallScript* script_;
  std::u16string template_;
};

// The component's action state makes it installed locally (or run from
// source: installsFromSource) or removed.
bool installsComponent(const Session& session, std::u16string_view component);
bool installsFromSource(const Session& session, std::u16string_view component);
bool removesComponent(const Session& session, std::u16string_view component);

// Posts "Error N. text" (the Error table's message N when the package has
// one, formatted with `fields`, else `text`) as INSTALLMESSAGE_ERROR:
// ERROR_INSTALL_FAILURE, or ERROR_INSTALL_USEREXIT when the UI cancels.
UINT operationError(Session& session, int number, const std::u16string& text, const RecordFields& fields = {});

// The folder part of a Windows path, with its backslash; "" for none.
std::u16string windowsFolderOf(std::u16string_view path);
// The Windows path of a directory of the Directory table, "" when unknown.
std::u16string directoryPath(const Session& session, std::u16string_view directory);
// A long file name from a "short|long" Filename value.
std::u16string longFileName(std::u16string_view value);

}  // namespace emulated::installer
