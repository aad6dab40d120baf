// AppSearch (standard_actions.h): for each row of the AppSearch table, the
// signature is looked for on the machine and, when found, the row's
// property is set to what was found; a property whose signature is not
// found keeps its value. As the AppSearch action and the RegLocator,
// DrLocator and Signature tables document:
// - a signature that is a row of the Signature table is a file: its
//   FileName ("short|long") found in the directory a locator names, with
//   its size in MinSize..MaxSize (either may be null). The emulated
//   machine's files carry no version resource and no language, so a
//   signature with a MinVersion, MaxVersion or Languages never matches;
//   MinDate and MaxDate are not checked. The property is set to the
//   file's full path;
// - any other signature is a directory, which must exist; the property is
//   set to its path with a trailing backslash;
// - RegLocator reads a value of the registry (Root 0 HKCR, 1 HKCU, 2 HKLM,
//   3 HKU; Key and Name formatted, a null Name the default value). Type 0
//   (msidbLocatorTypeDirectory): the value is a directory path; type 1
//   (msidbLocatorTypeFileName, also for a null Type): a file path, whose
//   directory is searched for the signature's file, or which must exist
//   when the signature is no file; type 2 (msidbLocatorTypeRawValue) of a
//   signature that is no file: the value itself, with the documented
//   prefix of its type (REG_SZ as it is with a leading '#' doubled, "#"
//   and the decimal of a REG_DWORD, "#%" before a REG_EXPAND_SZ, "#x" and
//   hex digits for REG_BINARY, and the strings of a REG_MULTI_SZ each
//   followed by a null character, after a leading one). The machine is
//   32-bit: the 64-bit flag (16) changes nothing;
// - DrLocator names a directory by Path (formatted; absolute, or relative
//   to the directory its Parent signature found, else to C:\) and searches
//   it and Depth levels of subdirectories below it for the file.
// CompLocator and IniLocator searches are not emulated; their signatures
// are not found. Locator chains (Parent) are followed at most 16 deep.
#include <dirent.h>
#include <sys/stat.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/emulated/installer/formatted_text.h"
#include "platform/emulated/installer/standard_actions.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/registry/registry_store.h"

namespace emulated::installer {

namespace {

constexpr int kMaxParentDepth = 16;
constexpr int kMaxSearchDepth = 32;

struct Signature {
  std::u16string shortName, longName;
  std::optional<long long> minSize, maxSize;
  bool needsVersion = false;  // MinVersion, MaxVersion or Languages
};

std::optional<long long> optionalNumber(const TableRow& row, size_t index) {
  const std::u16string text = fieldText(row, index);
  if (text.empty()) return std::nullopt;
  return fieldNumber(row, index, 0);
}

std::u16string withBackslash(std::u16string path) {
  if (!path.empty() && path.back() != u'\\') path += u'\\';
  return path;
}

bool isAbsolute(std::u16string_view path) {
  return (path.size() >= 2 && path[1] == u':') || (path.size() >= 2 && path[0] == u'\\' && path[1] == u'\\');
}

bool hostIs(const std::string& host, mode_t kind) {
  struct stat st;
  return !host.empty() && ::stat(host.c_str(), &st) == 0 && (st.st_mode & S_IFMT) == kind;
}

class Search {
 public:
  explicit Search(Session& session) : session_(session) {
    const PackageTables& tables = session.tables();
    for (const TableRow& row : rows(tables,
                                    "SELECT `Signature`, `FileName`, `MinVersion`, `MaxVersion`, `MinSize`, "
                                    "`MaxSize`, `Languages` FROM `Signature`")) {
      Signature signature;
      const std::u16string names = fieldText(row, 1);
      const size_t bar = names.find(u'|');
      signature.shortName = names.substr(0, bar);
      signature.longName = bar == std::u16string::npos ? names : names.substr(bar + 1);
      signature.minSize = optionalNumber(row, 4);
      signature.maxSize = optionalNumber(row, 5);
      signature.needsVersion = !fieldText(row, 2).empty() || !fieldText(row, 3).empty() || !fieldText(row, 6).empty();
      signatures_.emplace(fieldText(row, 0), std::move(signature));
    }
    for (TableRow& row : rows(tables, "SELECT `Signature_`, `Root`, `Key`, `Name`, `Type` FROM `RegLocator`"))
      regLocators_.emplace(fieldText(row, 0), std::move(row));
    for (TableRow& row : rows(tables, "SELECT `Signature_`, `Parent`, `Path`, `Depth` FROM `DrLocator`"))
      drLocators_.emplace(fieldText(row, 0), std::move(row));
  }

  // What the signature finds, or nullopt.
  std::optional<std::u16string> find(const std::u16string& signature, int depth = 0) {
    if (depth > kMaxParentDepth) return std::nullopt;
    const auto reg = regLocators_.find(signature);
    if (reg != regLocators_.end()) {
      if (auto found = fromRegistry(signature, reg->second)) return found;
    }
    const auto [first, last] = drLocators_.equal_range(signature);
    for (auto it = first; it != last; ++it) {
      if (auto found = fromDirectory(signature, it->second, depth)) return found;
    }
    return std::nullopt;
  }

 private:
  static std::vector<TableRow> rows(const PackageTables& tables, const char* sql) {
    return tables.select(sql).value_or(std::vector<TableRow>());
  }

  const Signature* fileSignature(const std::u16string& key) const {
    const auto it = signatures_.find(key);
    return it == signatures_.end() ? nullptr : &it->second;
  }

  std::optional<std::u16string> fromRegistry(const std::u16string& signature, const TableRow& row) {
    static const char16_t* const kRoots[] = {u"HKCR\\", u"HKCU\\", u"HKLM\\", u"HKU\\"};
    const int root = fieldNumber(row, 1, -1);
    if (root < 0 || root > 3) return std::nullopt;
    const auto key = registry::parseKeyPath(kRoots[root] + formatText(fieldText(row, 2), session_));
    registry::RegistryValue value;
    if (!key || registry::queryValue(*key, formatText(fieldText(row, 3), session_), &value) != ERROR_SUCCESS)
      return std::nullopt;
    const int type = fieldNumber(row, 4, 1) & 0x0F;
    const Signature* file = fileSignature(signature);
    if (type == 2 && file == nullptr) return rawValue(value);
    std::u16string path = valueText(value);
    if (path.size() >= 2 && path.front() == u'"' && path.back() == u'"') path = path.substr(1, path.size() - 2);
    if (path.empty()) return std::nullopt;
    if (type == 0) return file ? findFile(*file, withBackslash(path), 0) : existingDirectory(path);
    if (file == nullptr) return hostIs(toHostPath(path), S_IFREG) ? std::optional(path) : existingDirectory(path);
    const size_t slash = path.rfind(u'\\');
    return slash == std::u16string::npos ? std::nullopt : findFile(*file, path.substr(0, slash + 1), 0);
  }

  std::optional<std::u16string> fromDirectory(const std::u16string& signature, const TableRow& row, int depth) {
    std::u16string base = u"C:\\";
    const std::u16string parent = fieldText(row, 1);
    if (!parent.empty()) {
      const auto found = find(parent, depth + 1);
      if (!found) return std::nullopt;
      // A parent that found a file gives its directory.
      base = found->back() == u'\\' ? *found : found->substr(0, found->rfind(u'\\') + 1);
    }
    const std::u16string path = formatText(fieldText(row, 2), session_);
    const std::u16string directory = isAbsolute(path) ? withBackslash(path) : withBackslash(base + path);
    const Signature* file = fileSignature(signature);
    if (file == nullptr) return existingDirectory(directory);
    return findFile(*file, directory, std::min(fieldNumber(row, 3, 0), kMaxSearchDepth));
  }

  static std::optional<std::u16string> existingDirectory(const std::u16string& path) {
    if (!hostIs(toHostPath(path), S_IFDIR)) return std::nullopt;
    return withBackslash(path);
  }

  // The signature's file in `directory` (a Windows path ending with '\')
  // or, `depth` levels deep, in its subdirectories.
  static std::optional<std::u16string> findFile(const Signature& file, const std::u16string& directory, int depth) {
    const std::string host = toHostPath(directory);
    if (!hostIs(host, S_IFDIR)) return std::nullopt;
    for (const std::u16string* name : {&file.longName, &file.shortName}) {
      const std::string candidate = toHostPath(directory + *name);
      struct stat st;
      if (name->empty() || ::stat(candidate.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) continue;
      if (matches(file, st.st_size)) return toWindowsPath(candidate);
    }
    if (depth <= 0) return std::nullopt;
    DIR* dir = ::opendir(host.c_str());
    if (dir == nullptr) return std::nullopt;
    std::vector<std::u16string> subdirectories;
    while (const dirent* entry = ::readdir(dir)) {
      const std::string name = entry->d_name;
      if (name != "." && name != ".." && hostIs(host + "/" + name, S_IFDIR))
        subdirectories.push_back(directory + utf8ToUtf16(name) + u"\\");
    }
    ::closedir(dir);
    for (const std::u16string& sub : subdirectories) {
      if (auto found = findFile(file, sub, depth - 1)) return found;
    }
    return std::nullopt;
  }

  static bool matches(const Signature& file, long long size) {
    if (file.needsVersion) return false;
    return (!file.minSize || size >= *file.minSize) && (!file.maxSize || size <= *file.maxSize);
  }

  static std::u16string stringData(const std::string& bytes) {
    std::u16string text(bytes.size() / 2, u'\0');
    for (size_t i = 0; i < text.size(); ++i)
      text[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                      static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
    while (!text.empty() && text.back() == u'\0') text.pop_back();
    return text;
  }

  static std::u16string valueText(const registry::RegistryValue& value) {
    return value.type == REG_SZ || value.type == REG_EXPAND_SZ ? stringData(value.data) : std::u16string();
  }

  static std::u16string rawValue(const registry::RegistryValue& value) {
    switch (value.type) {
      case REG_SZ: {
        const std::u16string text = stringData(value.data);
        return !text.empty() && text[0] == u'#' ? u"#" + text : text;
      }
      case REG_EXPAND_SZ: return u"#%" + stringData(value.data);
      case REG_MULTI_SZ: {
        // The strings separated by nulls, with a null before and after.
        const std::u16string strings = stringData(value.data);
        return u'\0' + strings + u'\0';
      }
      case REG_DWORD:
      case REG_QWORD: {
        long long number = 0;
        const size_t width = value.type == REG_DWORD ? 4 : 8;
        for (size_t i = 0; i < width && i < value.data.size(); ++i)
          number |= static_cast<long long>(static_cast<unsigned char>(value.data[i])) << (8 * i);
        if (value.type == REG_DWORD) number = static_cast<int>(static_cast<unsigned>(number));
        return u"#" + utf8ToUtf16(std::to_string(number));
      }
      default: {
        static const char kHex[] = "0123456789ABCDEF";
        std::u16string text = u"#x";
        for (unsigned char byte : value.data) {
          text += static_cast<char16_t>(kHex[byte >> 4]);
          text += static_cast<char16_t>(kHex[byte & 0xF]);
        }
        return text;
      }
    }
  }

  Session& session_;
  std::map<std::u16string, Signature> signatures_;
  std::map<std::u16string, TableRow> regLocators_;
  std::multimap<std::u16string, TableRow> drLocators_;
};

}  // namespace

UINT appSearch(Session& session) {
  const auto rows = session.tables().select("SELECT `Property`, `Signature_` FROM `AppSearch`");
  if (!rows || rows->empty()) return ERROR_SUCCESS;
  Search search(session);
  for (const TableRow& row : *rows) {
    const std::u16string property = fieldText(row, 0);
    if (property.empty()) continue;
    if (const auto found = search.find(fieldText(row, 1))) session.setProperty(property, *found);
  }
  return ERROR_SUCCESS;
}

}  // namespace emulated::installer
