// One action on a session, with its messages (actions.h).
#include "platform/emulated/installer/actions.h"

#include <mutex>
#include <optional>
#include <string>

#include "platform/emulated/installer/formatted_text.h"
#include "platform/emulated/installer/standard_actions.h"

namespace emulated::installer {

namespace {

// Custom action types (CustomAction table, Type column).
constexpr int kBaseTypeMask = 0x3F;
constexpr int kTypeError = 19;         // text, from a formatted Target
constexpr int kTypeSetDirectory = 35;  // text, to a directory
constexpr int kTypeSetProperty = 51;   // text, to a property
constexpr int kInScript = 0x400;       // deferred, rollback and commit actions
constexpr int kHideTarget = 0x2000;    // msidbCustomActionTypeHideTarget

struct CustomAction {
  std::u16string name;
  int type = 0;
  std::u16string source;
  std::u16string target;
};

// The row of a small keyed table whose first column is `key`.
std::optional<TableRow> rowWithKey(const Session& session, const char* sql, std::u16string_view key) {
  const auto rows = session.tables().select(sql);
  if (!rows) return std::nullopt;
  for (const TableRow& row : *rows) {
    if (fieldText(row, 0) == key) return row;
  }
  return std::nullopt;
}

std::optional<CustomAction> findCustomAction(const Session& session, std::u16string_view name) {
  const auto row = rowWithKey(session, "SELECT `Action`, `Type`, `Source`, `Target` FROM `CustomAction`", name);
  if (!row) return std::nullopt;
  return CustomAction{std::u16string(name), fieldNumber(*row, 1, 0), fieldText(*row, 2), fieldText(*row, 3)};
}

std::optional<std::u16string> actionTextDescription(const Session& session, std::u16string_view action) {
  const auto row = rowWithKey(session, "SELECT `Action`, `Description` FROM `ActionText`", action);
  if (!row) return std::nullopt;
  return formatText(fieldText(*row, 1), session);
}

// A type 19 Target that is a number names a message of the Error table.
std::u16string errorText(const Session& session, const std::u16string& target) {
  const std::u16string text = formatText(target, session);
  const bool number = !text.empty() && text.find_first_not_of(u"0123456789") == std::u16string::npos;
  if (!number) return text;
  const auto row = rowWithKey(session, "SELECT `Error`, `Message` FROM `Error`", text);
  return row ? formatText(fieldText(*row, 1), session) : text;
}

UINT notEmulated(Session& session, std::u16string_view action, std::u16string_view why) {
  std::u16string line = u"Action ";
  line.append(action).append(u": ").append(why);
  return session.messages().post(INSTALLMESSAGE_INFO, line).resultCode();
}

UINT runCustomAction(Session& session, const CustomAction& action) {
  if (action.type & kInScript) {
    return notEmulated(session, action.name, u"deferred to the installation script, which only an installation runs.");
  }
  switch (action.type & kBaseTypeMask) {
    case kTypeSetProperty: {
      const std::u16string value = formatText(action.target, session);
      session.setProperty(action.source, value);
      std::u16string note = u"PROPERTY CHANGE: " + action.source + u" property set";
      if (!(action.type & kHideTarget)) note += u" to '" + value + u"'";
      session.messages().verbose(note + u".");
      return ERROR_SUCCESS;
    }
    case kTypeSetDirectory:
      return session.setTargetPath(action.source, formatText(action.target, session)) == ERROR_SUCCESS
                 ? ERROR_SUCCESS
                 : ERROR_INSTALL_FAILURE;
    case kTypeError: {
      const UINT code = session.messages().post(INSTALLMESSAGE_ERROR, errorText(session, action.target)).resultCode();
      return code != ERROR_SUCCESS ? code : ERROR_INSTALL_FAILURE;
    }
    default:
      return notEmulated(session, action.name,
                         u"a custom action that runs code of the package; the emulated machine skips it.");
  }
}

UINT runStandard(Session& session, const StandardAction& action) {
  if (action.run != nullptr) return action.run(session);
  return notEmulated(session, action.name, u"a standard action that changes nothing on the emulated machine.");
}

}  // namespace

UINT doAction(Session& session, std::u16string_view name) {
  const StandardAction* standard = findStandardAction(name);
  std::optional<CustomAction> custom;
  if (standard == nullptr && !(custom = findCustomAction(session, name))) return ERROR_FUNCTION_NOT_CALLED;
  std::lock_guard<std::recursive_mutex> guard(session.actionLock());
  MessageChannel& channel = session.messages();
  UINT result = channel.actionStart(name, actionTextDescription(session, name)).resultCode();
  if (result == ERROR_SUCCESS)
    result = standard != nullptr ? runStandard(session, *standard) : runCustomAction(session, *custom);
  const UINT ended = channel.actionEnd(name, result).resultCode();
  return ended != ERROR_SUCCESS && result == ERROR_SUCCESS ? ended : result;
}

}  // namespace emulated::installer
