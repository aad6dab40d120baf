// WriteRegistryValues and RemoveRegistryValues, as their documented
// standard actions do, written into the installation script
// (change_actions.h); every change goes through the journal.
//
// The Registry table, as documented:
//   Root  -1: HKEY_LOCAL_MACHINE for a per-machine installation (ALLUSERS
//         set), else HKEY_CURRENT_USER; 0 HKEY_CLASSES_ROOT (the Classes key
//         of that same hive); 1 HKEY_CURRENT_USER; 2 HKEY_LOCAL_MACHINE;
//         3 HKEY_USERS.
//   Name  formatted; null: the key's default value. With a null Value,
//         "+" makes the key when the component is installed, "-" deletes
//         the key and all below it when the component is removed, "*" both.
//   Value formatted, then read by its prefix: "#x" hexadecimal bytes
//         (REG_BINARY), "#%" an expandable string (REG_EXPAND_SZ), "##" a
//         string that starts with "#", "#" an integer (REG_DWORD); text with
//         [~] (a null once formatted) is a list of strings (REG_MULTI_SZ):
//         [~] at the start appends to the list already there, at the end
//         prepends to it, elsewhere replaces it. Any other text is REG_SZ.
// WriteRegistryValues writes the rows of the components being installed;
// RemoveRegistryValues deletes the rows of the components being removed
// (and the keys that leaves empty), and applies the RemoveRegistry table's
// rows of the components being installed.
#include "platform/emulated/installer/change_actions.h"
#include "platform/emulated/installer/install_journal.h"
#include "platform/emulated/installer/standard_actions.h"
#include "platform/emulated/machine/unicode.h"

#include <algorithm>
#include <cstdlib>

namespace emulated::installer {

namespace {

using registry::KeyPath;
using registry::RegistryValue;

enum class ListMode { None, Append, Prepend, Replace };

struct ValueToWrite {
  RegistryValue value;
  ListMode list = ListMode::None;
  std::vector<std::u16string> strings;  // a list's own strings
};

std::string utf16Bytes(std::u16string_view text, bool terminated) {
  std::string bytes;
  for (char16_t c : text) {
    bytes += char(c & 0xFF);
    bytes += char(c >> 8);
  }
  if (terminated) bytes.append(2, '\0');
  return bytes;
}

std::string listBytes(const std::vector<std::u16string>& strings) {
  std::string bytes;
  for (const std::u16string& text : strings) bytes += utf16Bytes(text, true);
  return bytes + std::string(2, '\0');
}

std::vector<std::u16string> listStrings(const std::string& bytes) {
  std::vector<std::u16string> strings;
  std::u16string current;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const char16_t c = char16_t(std::uint8_t(bytes[i]) | std::uint8_t(bytes[i + 1]) << 8);
    if (c != 0) {
      current += c;
    } else if (!current.empty()) {
      strings.push_back(current);
      current.clear();
    }
  }
  if (!current.empty()) strings.push_back(current);
  return strings;
}

int hexValue(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

std::string hexBytes(std::u16string digits) {
  if (digits.size() % 2) digits.insert(digits.begin(), u'0');
  std::string bytes;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    const int high = hexValue(digits[i]), low = hexValue(digits[i + 1]);
    if (high < 0 || low < 0) break;
    bytes += char(high * 16 + low);
  }
  return bytes;
}

ValueToWrite parseList(std::u16string_view text) {
  ValueToWrite out;
  out.value.type = REG_MULTI_SZ;
  const bool leading = text.front() == u'\0', trailing = text.back() == u'\0';
  out.list = leading && !trailing ? ListMode::Append : trailing && !leading ? ListMode::Prepend : ListMode::Replace;
  out.strings = listStrings(utf16Bytes(text, false));
  out.value.data = listBytes(out.strings);
  return out;
}

// The value a formatted Value text stands for.
ValueToWrite parseValue(const std::u16string& text) {
  ValueToWrite out;
  if (text.rfind(u"##", 0) == 0) {
    out.value = {{}, REG_SZ, utf16Bytes(text.substr(1), true)};
  } else if (text.rfind(u"#x", 0) == 0 || text.rfind(u"#X", 0) == 0) {
    out.value = {{}, REG_BINARY, hexBytes(text.substr(2))};
  } else if (text.rfind(u"#%", 0) == 0) {
    out.value = {{}, REG_EXPAND_SZ, utf16Bytes(text.substr(2), true)};
  } else if (text.rfind(u"#", 0) == 0) {
    const std::uint32_t number = std::uint32_t(std::strtol(utf16ToUtf8(text.substr(1)).c_str(), nullptr, 10));
    out.value = {{}, REG_DWORD, std::string{char(number), char(number >> 8), char(number >> 16), char(number >> 24)}};
  } else if (text.find(u'\0') != std::u16string::npos) {
    return parseList(text);
  } else {
    out.value = {{}, REG_SZ, utf16Bytes(text, true)};
  }
  return out;
}

// The key a row names: its root, then the formatted Key below it.
std::optional<KeyPath> rowKey(const Session& session, int root, const std::u16string& key) {
  const bool perMachine = !session.property(u"ALLUSERS").empty();
  KeyPath base;
  switch (root) {
    case -1: base = {perMachine ? u"HKEY_LOCAL_MACHINE" : u"HKEY_CURRENT_USER", {}}; break;
    case 0: base = {perMachine ? u"HKEY_LOCAL_MACHINE" : u"HKEY_CURRENT_USER", {u"Software", u"Classes"}}; break;
    case 1: base = {u"HKEY_CURRENT_USER", {}}; break;
    case 2: base = {u"HKEY_LOCAL_MACHINE", {}}; break;
    case 3: base = {u"HKEY_USERS", {}}; break;
    default: return std::nullopt;
  }
  std::u16string_view rest = key;
  while (!rest.empty() && rest.front() == u'\\') rest.remove_prefix(1);
  while (!rest.empty() && rest.back() == u'\\') rest.remove_suffix(1);
  KeyPath path;
  if (rest.empty() || registry::appendSubKey(base, rest, &path) != ERROR_SUCCESS) return std::nullopt;
  return path;
}

std::u16string keyText(const KeyPath& key) {
  std::u16string text = key.hive;
  for (const std::u16string& name : key.names) text += u"\\" + name;
  return text;
}

UINT writeValue(Session& session, InstallJournal& journal, const KeyPath& key, ValueToWrite value) {
  if (value.list == ListMode::Append || value.list == ListMode::Prepend) {
    RegistryValue existing;
    if (registry::keyExists(key) && registry::queryValue(key, value.value.name, &existing) == ERROR_SUCCESS &&
        existing.type == REG_MULTI_SZ) {
      std::vector<std::u16string> strings = listStrings(existing.data);
      const auto at = value.list == ListMode::Append ? strings.end() : strings.begin();
      strings.insert(at, value.strings.begin(), value.strings.end());
      value.value.data = listBytes(strings);
    }
  }
  const UINT code = journal.setValue(key, value.value);
  if (code == ERROR_SUCCESS) return code;
  const std::u16string system = utf8ToUtf16(std::to_string(code));
  return operationError(session, 1406, u"Could not write value " + value.value.name + u" to key " + keyText(key) +
                                           u".  System error " + system + u".  Verify that you have sufficient "
                                           u"access to that key, or contact your support personnel.");
}

// The key and every key below it, deepest first.
UINT deleteTree(InstallJournal& journal, const KeyPath& key) {
  if (!registry::keyExists(key)) return ERROR_SUCCESS;
  std::vector<std::u16string> names;
  registry::subkeyNames(key, &names);
  for (const std::u16string& name : names) {
    KeyPath child = key;
    child.names.push_back(name);
    if (UINT code = deleteTree(journal, child)) return code;
  }
  return journal.deleteKey(key);
}

// Deletes the key when it has neither values nor subkeys, then its parents
// likewise; keys directly under a hive stay.
void deleteIfEmpty(InstallJournal& journal, KeyPath key) {
  for (; key.names.size() > 1; key.names.pop_back()) {
    if (!registry::keyExists(key)) continue;  // gone already: its parent may be empty now
    std::vector<std::u16string> names;
    std::vector<RegistryValue> values;
    if (registry::subkeyNames(key, &names) != ERROR_SUCCESS || !names.empty()) return;
    if (registry::keyValues(key, &values) != ERROR_SUCCESS || !values.empty()) return;
    if (journal.deleteKey(key) != ERROR_SUCCESS) return;
  }
}

UINT deleteValue(InstallJournal& journal, const KeyPath& key, const std::u16string& name) {
  RegistryValue existing;
  if (!registry::keyExists(key) || registry::queryValue(key, name, &existing) != ERROR_SUCCESS) return ERROR_SUCCESS;
  return journal.deleteValue(key, name);
}

// Takes back what a row wrote: the value, or the strings it added to a
// list that was there, the list going when nothing is left of it.
UINT takeBack(InstallJournal& journal, const KeyPath& key, const ValueToWrite& written) {
  RegistryValue existing;
  const bool added = written.list == ListMode::Append || written.list == ListMode::Prepend;
  const bool list = registry::keyExists(key) &&
                    registry::queryValue(key, written.value.name, &existing) == ERROR_SUCCESS &&
                    existing.type == REG_MULTI_SZ;
  if (!added || !list) {
    return deleteValue(journal, key, written.value.name);
  }
  std::vector<std::u16string> kept;
  for (const std::u16string& text : listStrings(existing.data)) {
    if (std::find(written.strings.begin(), written.strings.end(), text) == written.strings.end()) kept.push_back(text);
  }
  if (kept.empty()) return journal.deleteValue(key, written.value.name);
  existing.data = listBytes(kept);
  return journal.setValue(key, existing);
}

struct RegistryRow {
  KeyPath key;
  std::u16string name;
  std::optional<std::u16string> value;  // formatted; nullopt for a null Value
  std::u16string component;
};

std::vector<RegistryRow> rows(const Session& session, const char* sql, bool withValue) {
  std::vector<RegistryRow> out;
  const auto table = session.tables().select(sql);
  for (const TableRow& row : table ? *table : std::vector<TableRow>{}) {
    const auto key = rowKey(session, fieldNumber(row, 1, -2), formatText(fieldText(row, 2), session));
    if (!key) continue;
    RegistryRow entry{*key, formatText(fieldText(row, 3), session), std::nullopt, fieldText(row, withValue ? 5 : 4)};
    if (withValue && row.size() > 4 && row[4]) {
      entry.value = formatText(fieldText(row, 4), session, {}, FormatOptions{true, LogOnlyText::Unchanged});
    }
    out.push_back(std::move(entry));
  }
  return out;
}

constexpr char kRegistrySql[] = "SELECT `Registry`, `Root`, `Key`, `Name`, `Value`, `Component_` FROM `Registry`";
constexpr char kRemoveRegistrySql[] =
    "SELECT `RemoveRegistry`, `Root`, `Key`, `Name`, `Component_` FROM `RemoveRegistry`";

bool installs(const Session& session, const std::u16string& component) {
  return installsComponent(session, component) || installsFromSource(session, component);
}

}  // namespace

UINT writeRegistryValues(Session& session) {
  const ChangeAction action(session, u"WriteRegistryValues");
  if (action.script() == nullptr) return ERROR_SUCCESS;
  for (const RegistryRow& row : rows(session, kRegistrySql, true)) {
    if (!installs(session, row.component)) continue;
    const KeyPath key = row.key;
    if (!row.value) {
      if (row.name == u"-") continue;  // deletes the key at removal only
      action.add(action.actionData({std::nullopt, keyText(key)}), kOperationTicks,
                 [key](Session&, InstallJournal& journal) { return journal.createKey(key); });
      continue;
    }
    ValueToWrite value = parseValue(*row.value);
    value.value.name = row.name;
    std::u16string shown = *row.value;  // a list shows its separators as the table writes them
    for (size_t at; (at = shown.find(u'\0')) != std::u16string::npos;) shown.replace(at, 1, u"[~]");
    action.add(action.actionData({std::nullopt, keyText(key), row.name, shown}), kOperationTicks,
               [key, value](Session& s, InstallJournal& journal) { return writeValue(s, journal, key, value); });
  }
  return ERROR_SUCCESS;
}

UINT removeRegistryValues(Session& session) {
  const ChangeAction action(session, u"RemoveRegistryValues");
  if (action.script() == nullptr) return ERROR_SUCCESS;
  for (const RegistryRow& row : rows(session, kRegistrySql, true)) {
    if (!removesComponent(session, row.component) || (!row.value && row.name == u"+")) continue;
    const KeyPath key = row.key;
    const bool wholeKey = !row.value && (row.name == u"-" || row.name == u"*");
    ValueToWrite written = parseValue(row.value.value_or(u""));
    written.value.name = row.name;
    action.add(action.actionData({std::nullopt, keyText(key), wholeKey ? u"" : row.name}), kOperationTicks,
               [key, written, wholeKey](Session&, InstallJournal& journal) {
                 const UINT code = wholeKey ? deleteTree(journal, key) : takeBack(journal, key, written);
                 if (code == ERROR_SUCCESS) deleteIfEmpty(journal, key);
                 return code;
               });
  }
  for (const RegistryRow& row : rows(session, kRemoveRegistrySql, false)) {
    if (!installs(session, row.component)) continue;
    const KeyPath key = row.key;
    const std::u16string name = row.name;
    action.add(action.actionData({std::nullopt, keyText(key), name == u"-" ? u"" : name}), kOperationTicks,
               [key, name](Session&, InstallJournal& journal) {
                 return name == u"-" ? deleteTree(journal, key) : deleteValue(journal, key, name);
               });
  }
  return ERROR_SUCCESS;
}

}  // namespace emulated::installer
