// What the actions that change the machine share (change_actions.h).
#include "platform/emulated/installer/change_actions.h"

#include "platform/emulated/installer/ui_texts.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated::installer {

namespace {

struct DefaultTemplate {
  std::u16string_view action;
  std::u16string_view text;
};

constexpr DefaultTemplate kTemplates[] = {
    {u"InstallFiles", u"File: [1],  Directory: [9],  Size: [6]"},
    {u"RemoveFiles", u"File: [1], Directory: [9]"},
    {u"CreateFolders", u"Folder: [1]"},
    {u"RemoveFolders", u"Folder: [1]"},
    {u"WriteRegistryValues", u"Key: [1], Name: [2], Value: [3]"},
    {u"RemoveRegistryValues", u"Key: [1], Name: [2]"},
    {u"CreateShortcuts", u"Shortcut: [1]"},
    {u"RemoveShortcuts", u"Shortcut: [1]"},
};

std::u16string_view defaultTemplate(std::u16string_view action) {
  for (const DefaultTemplate& entry : kTemplates) {
    if (entry.action == action) return entry.text;
  }
  return {};
}

// The package's ActionText row of `action`: description and template.
std::optional<TableRow> actionTextRow(const Session& session, std::u16string_view action) {
  const auto rows = session.tables().select("SELECT `Action`, `Description`, `Template` FROM `ActionText`");
  if (!rows) return std::nullopt;
  for (const TableRow& row : *rows) {
    if (fieldText(row, 0) == action) return row;
  }
  return std::nullopt;
}

INSTALLSTATE componentAction(const Session& session, std::u16string_view component) {
  const ComponentRow* row = session.findComponent(component);
  return row == nullptr ? INSTALLSTATE_UNKNOWN : row->action;
}

}  // namespace

ChangeAction::ChangeAction(Session& session, std::u16string_view action)
    : session_(session), script_(session.script()), template_(defaultTemplate(action)) {
  if (script_ == nullptr) return;
  std::u16string description(defaultActionDescription(action));
  if (const auto row = actionTextRow(session, action)) {
    description = formatText(fieldText(*row, 1), session);
    if ((*row)[2]) template_ = fieldText(*row, 2);
  }
  script_->beginAction(action, std::move(description));
}

std::u16string ChangeAction::actionData(const RecordFields& fields) const {
  return formatText(template_, session_, fields);
}

void ChangeAction::add(std::u16string actionData, long long ticks,
                       std::function<UINT(Session& session, InstallJournal& journal)> run) const {
  script_->add(ScriptOperation{std::move(actionData), ticks, std::move(run)});
}

bool installsComponent(const Session& session, std::u16string_view component) {
  return componentAction(session, component) == INSTALLSTATE_LOCAL;
}

bool installsFromSource(const Session& session, std::u16string_view component) {
  return componentAction(session, component) == INSTALLSTATE_SOURCE;
}

bool removesComponent(const Session& session, std::u16string_view component) {
  return componentAction(session, component) == INSTALLSTATE_ABSENT;
}

UINT operationError(Session& session, int number, const std::u16string& text, const RecordFields& fields) {
  std::u16string message = text;
  const auto rows = session.tables().select("SELECT `Error`, `Message` FROM `Error`");
  for (const TableRow& row : rows ? *rows : std::vector<TableRow>{}) {
    if (fieldNumber(row, 0, -1) != number || fieldText(row, 1).empty()) continue;
    message = formatText(fieldText(row, 1), session, fields);
  }
  const std::u16string posted = u"Error " + utf8ToUtf16(std::to_string(number)) + u". " + message;
  if (UINT code = session.messages().post(INSTALLMESSAGE_ERROR | MB_OK, posted).resultCode()) return code;
  return ERROR_INSTALL_FAILURE;
}

std::u16string windowsFolderOf(std::u16string_view path) {
  const size_t slash = path.rfind(u'\\');
  return slash == std::u16string_view::npos ? std::u16string() : std::u16string(path.substr(0, slash + 1));
}

std::u16string directoryPath(const Session& session, std::u16string_view directory) {
  const DirectoryRow* row = session.findDirectory(directory);
  if (row != nullptr) return row->targetPath;
  // A property that is not in the Directory table may still name a folder.
  std::u16string value = session.property(directory);
  if (!value.empty() && value.back() != u'\\') value += u'\\';
  return value;
}

std::u16string longFileName(std::u16string_view value) {
  const size_t bar = value.find(u'|');
  return std::u16string(bar == std::u16string_view::npos ? value : value.substr(bar + 1));
}

}  // namespace emulated::installer
