// CreateShortcuts and RemoveShortcuts, as their documented standard actions
// do for the Shortcut table, written into the installation script
// (change_actions.h).
//
// The emulated machine has no shell link format: a shortcut is a small
// text file at the .lnk path (the Directory_ column's folder, the long
// part of Name, ".lnk"), UTF-8, one "Key=value" line each:
//   Target=C:\Program Files\Maker\App\app.exe
//   Arguments=...          (when the row has them)
//   WorkingDirectory=...   (the folder WkDir names, when it names one)
//   Description=...
// The Target column is formatted; when it names a feature instead (an
// advertised shortcut) the target is the key path file of the shortcut's
// component, else that component's folder.
#include "platform/emulated/installer/change_actions.h"
#include "platform/emulated/installer/install_journal.h"
#include "platform/emulated/installer/standard_actions.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"

#include <sys/stat.h>

namespace emulated::installer {

namespace {

constexpr char kShortcutSql[] =
    "SELECT `Shortcut`, `Directory_`, `Name`, `Component_`, `Target`, `Arguments`, `Description`, `WkDir` "
    "FROM `Shortcut`";

struct Shortcut {
  std::u16string name;   // the long name, without ".lnk"
  std::u16string path;   // the .lnk file
  std::u16string component;
  std::string text;      // the file's bytes
};

std::u16string targetOf(const Session& session, const TableRow& row) {
  const std::u16string target = fieldText(row, 4);
  if (session.findFeature(target) == nullptr) return formatText(target, session);
  const ComponentRow* component = session.findComponent(fieldText(row, 3));
  if (component == nullptr) return {};
  const std::u16string keyFile = session.filePath(component->keyPath, false);
  return keyFile.empty() ? directoryPath(session, component->directory) : keyFile;
}

std::string line(const char* key, const std::u16string& value) {
  return value.empty() ? std::string() : std::string(key) + "=" + utf16ToUtf8(value) + "\r\n";
}

std::vector<Shortcut> shortcuts(const Session& session) {
  std::vector<Shortcut> out;
  const auto rows = session.tables().select(kShortcutSql);
  for (const TableRow& row : rows ? *rows : std::vector<TableRow>{}) {
    const std::u16string folder = directoryPath(session, fieldText(row, 1));
    const std::u16string name = longFileName(fieldText(row, 2));
    if (folder.empty() || name.empty()) continue;
    const std::u16string workingFolder = fieldText(row, 7).empty() ? u"" : directoryPath(session, fieldText(row, 7));
    const std::string text = line("Target", targetOf(session, row)) +
                             line("Arguments", formatText(fieldText(row, 5), session)) +
                             line("WorkingDirectory", workingFolder) + line("Description", fieldText(row, 6));
    out.push_back({name, folder + name + u".lnk", fieldText(row, 3), text});
  }
  return out;
}

}  // namespace

UINT createShortcuts(Session& session) {
  const ChangeAction action(session, u"CreateShortcuts");
  if (action.script() == nullptr) return ERROR_SUCCESS;
  for (const Shortcut& shortcut : shortcuts(session)) {
    if (!installsComponent(session, shortcut.component) && !installsFromSource(session, shortcut.component)) continue;
    const std::string host = toHostPath(shortcut.path);
    const std::u16string path = shortcut.path;
    const std::string text = shortcut.text;
    action.add(action.actionData({std::nullopt, shortcut.name}), kOperationTicks,
               [host, path, text](Session& s, InstallJournal& journal) {
                 UINT code = journal.createFolder(host.substr(0, host.rfind('/')));
                 if (code == ERROR_SUCCESS) code = journal.writeFile(host, text);
                 if (code == ERROR_SUCCESS) return code;
                 return operationError(s, 1909, u"Could not create shortcut " + path + u". Verify that the "
                                                u"destination folder exists and that you can access it.");
               });
  }
  return ERROR_SUCCESS;
}

UINT removeShortcuts(Session& session) {
  const ChangeAction action(session, u"RemoveShortcuts");
  if (action.script() == nullptr) return ERROR_SUCCESS;
  for (const Shortcut& shortcut : shortcuts(session)) {
    if (!removesComponent(session, shortcut.component)) continue;
    const std::string host = toHostPath(shortcut.path);
    action.add(action.actionData({std::nullopt, shortcut.name}), kOperationTicks,
               [host](Session&, InstallJournal& journal) {
                 struct stat st;
                 return ::lstat(host.c_str(), &st) == 0 && S_ISREG(st.st_mode) ? journal.removeFile(host)
                                                                                 : UINT(ERROR_SUCCESS);
               });
  }
  return ERROR_SUCCESS;
}

}  // namespace emulated::installer
