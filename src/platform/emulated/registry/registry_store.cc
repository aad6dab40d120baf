#include "platform/emulated/registry/registry_store.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "platform/emulated/machine/file_lock.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/text_lines.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated::registry {

namespace {

constexpr size_t kMaxKeyName = 255;
constexpr char kValuesFile[] = ".values";

std::u16string folded(std::u16string_view text) {
  std::u16string result(text);
  for (char16_t& c : result) {
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
  }
  return result;
}

bool sameName(std::u16string_view a, std::u16string_view b) { return a.size() == b.size() && folded(a) == folded(b); }

std::string registryDirectory() {
  const std::string directory = machineRoot() + "/registry";
  ::mkdir(directory.c_str(), 0755);
  return directory;
}

std::string lockPath() { return registryDirectory() + "/.lock"; }

// A hex digit's value; -1 for another character (a damaged file).
int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The byte of two hex digits at text[at], or -1.
int hexByte(const std::string& text, size_t at) {
  if (at + 1 >= text.size()) return -1;
  const int high = hexDigit(text[at]);
  const int low = hexDigit(text[at + 1]);
  return high < 0 || low < 0 ? -1 : high * 16 + low;
}

// Key name <-> directory name.
std::string encodeName(std::u16string_view name) {
  std::string out;
  const std::string bytes = utf16ToUtf8(name);
  for (size_t i = 0; i < bytes.size(); ++i) {
    const char c = bytes[i];
    if (c == '%' || c == '/' || (c == '.' && i == 0)) {
      char escaped[4];
      std::snprintf(escaped, sizeof escaped, "%%%02X", static_cast<unsigned char>(c));
      out += escaped;
    } else {
      out += c;
    }
  }
  return out;
}

std::u16string decodeName(const std::string& entry) {
  std::string out;
  for (size_t i = 0; i < entry.size(); ++i) {
    const int escaped = entry[i] == '%' ? hexByte(entry, i + 1) : -1;
    if (escaped >= 0) {
      out += static_cast<char>(escaped);
      i += 2;
    } else {
      out += entry[i];
    }
  }
  return utf8ToUtf16(out);
}

bool isDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The subkey directories of `directory` (entries that are not dot files).
std::vector<std::string> subkeyEntries(const std::string& directory) {
  std::vector<std::string> entries;
  DIR* dir = ::opendir(directory.c_str());
  if (dir == nullptr) return entries;
  while (dirent* entry = ::readdir(dir)) {
    if (entry->d_name[0] == '.') continue;
    if (isDirectory(directory + "/" + entry->d_name)) entries.push_back(entry->d_name);
  }
  ::closedir(dir);
  return entries;
}

// The directory of `name` in `directory`, matched without regard to case;
// "" when there is none.
std::string findSubkey(const std::string& directory, std::u16string_view name) {
  const std::string exact = encodeName(name);
  if (isDirectory(directory + "/" + exact)) return directory + "/" + exact;
  for (const std::string& entry : subkeyEntries(directory)) {
    if (sameName(decodeName(entry), name)) return directory + "/" + entry;
  }
  return {};
}

std::string hiveDirectory(const std::u16string& hive) {
  const std::string directory = registryDirectory() + "/" + utf16ToUtf8(hive);
  ::mkdir(directory.c_str(), 0755);
  return directory;
}

// The host directory of an existing key; "" when it does not exist.
std::string keyDirectory(const KeyPath& key) {
  std::string directory = hiveDirectory(key.hive);
  for (const std::u16string& name : key.names) {
    directory = findSubkey(directory, name);
    if (directory.empty()) return {};
  }
  return directory;
}

// Values file lines: "type\tname\thex", the name escaped (escapeLineText).
std::string toHex(const std::string& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (unsigned char c : bytes) {
    out += kDigits[c >> 4];
    out += kDigits[c & 15];
  }
  return out;
}

std::string fromHex(const std::string& text) {
  std::string out;
  for (size_t i = 0; i + 1 < text.size(); i += 2) {
    const int byte = hexByte(text, i);
    if (byte < 0) break;
    out += static_cast<char>(byte);
  }
  return out;
}

std::vector<RegistryValue> readValues(const std::string& directory) {
  std::vector<RegistryValue> values;
  std::ifstream in(directory + "/" + kValuesFile, std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    const size_t first = line.find('\t');
    const size_t second = first == std::string::npos ? first : line.find('\t', first + 1);
    if (second == std::string::npos) continue;  // a damaged line is skipped, never fatal
    RegistryValue value;
    value.type = static_cast<DWORD>(std::strtoul(line.substr(0, first).c_str(), nullptr, 10));
    value.name = unescapeLineText(line.substr(first + 1, second - first - 1));
    value.data = fromHex(line.substr(second + 1));
    values.push_back(std::move(value));
  }
  return values;
}

LONG writeValues(const std::string& directory, const std::vector<RegistryValue>& values) {
  std::ostringstream out;
  for (const RegistryValue& value : values) {
    out << value.type << '\t' << escapeLineText(value.name) << '\t' << toHex(value.data) << '\n';
  }
  return replaceFile(directory + "/" + kValuesFile, out.str()) ? ERROR_SUCCESS : ERROR_REGISTRY_IO_FAILED;
}

std::vector<RegistryValue>::iterator findValue(std::vector<RegistryValue>& values, std::u16string_view name) {
  return std::find_if(values.begin(), values.end(), [&](const RegistryValue& v) { return sameName(v.name, name); });
}

struct Root {
  const char16_t* shortName;
  const char16_t* longName;
};

constexpr Root kRoots[] = {
    {u"HKLM", u"HKEY_LOCAL_MACHINE"},
    {u"HKCU", u"HKEY_CURRENT_USER"},
    {u"HKCR", u"HKEY_CLASSES_ROOT"},
    {u"HKU", u"HKEY_USERS"},
};

}  // namespace

std::optional<KeyPath> parseKeyPath(std::u16string_view text) {
  const size_t slash = text.find(u'\\');
  const std::u16string_view root = text.substr(0, slash);
  for (const Root& candidate : kRoots) {
    if (!sameName(root, candidate.shortName) && !sameName(root, candidate.longName)) continue;
    KeyPath base{candidate.longName, {}};
    if (base.hive == u"HKEY_CLASSES_ROOT") base = {u"HKEY_LOCAL_MACHINE", {u"Software", u"Classes"}};
    KeyPath result;
    const std::u16string_view rest = slash == std::u16string_view::npos ? u"" : text.substr(slash + 1);
    if (appendSubKey(base, rest, &result) != ERROR_SUCCESS) return std::nullopt;
    return result;
  }
  return std::nullopt;
}

LONG appendSubKey(const KeyPath& parent, std::u16string_view subKey, KeyPath* result) {
  *result = parent;
  if (!subKey.empty() && subKey.front() == u'\\') return ERROR_BAD_PATHNAME;
  while (!subKey.empty()) {
    const size_t slash = subKey.find(u'\\');
    const std::u16string_view name = subKey.substr(0, slash);
    if (name.empty()) return ERROR_BAD_PATHNAME;
    if (name.size() > kMaxKeyName) return ERROR_INVALID_PARAMETER;
    result->names.emplace_back(name);
    subKey = slash == std::u16string_view::npos ? u"" : subKey.substr(slash + 1);
  }
  return ERROR_SUCCESS;
}

bool keyExists(const KeyPath& key) {
  FileLock lock(lockPath(), FileLock::kShared);
  return !keyDirectory(key).empty();
}

LONG createKey(const KeyPath& key, std::vector<KeyPath>* made) {
  FileLock lock(lockPath(), FileLock::kExclusive);
  std::string directory = hiveDirectory(key.hive);
  made->clear();
  KeyPath walked{key.hive, {}};
  for (const std::u16string& name : key.names) {
    walked.names.push_back(name);
    std::string next = findSubkey(directory, name);
    if (next.empty()) {
      next = directory + "/" + encodeName(name);
      if (::mkdir(next.c_str(), 0755) != 0 && errno != EEXIST) return ERROR_REGISTRY_IO_FAILED;
      made->push_back(walked);
    }
    directory = next;
  }
  return ERROR_SUCCESS;
}

LONG deleteKey(const KeyPath& key) {
  FileLock lock(lockPath(), FileLock::kExclusive);
  const std::string directory = keyDirectory(key);
  if (directory.empty()) return ERROR_FILE_NOT_FOUND;
  if (key.names.empty() || !subkeyEntries(directory).empty()) return ERROR_ACCESS_DENIED;
  // Leftovers of a writer that died between its write and its rename go too.
  if (DIR* dir = ::opendir(directory.c_str())) {
    while (dirent* entry = ::readdir(dir)) {
      const std::string name = entry->d_name;
      if (name != "." && name != "..") ::unlink((directory + "/" + name).c_str());
    }
    ::closedir(dir);
  }
  return ::rmdir(directory.c_str()) == 0 ? ERROR_SUCCESS : ERROR_REGISTRY_IO_FAILED;
}

LONG setValue(const KeyPath& key, const RegistryValue& value) {
  FileLock lock(lockPath(), FileLock::kExclusive);
  const std::string directory = keyDirectory(key);
  if (directory.empty()) return ERROR_KEY_DELETED;
  std::vector<RegistryValue> values = readValues(directory);
  auto found = findValue(values, value.name);
  if (found == values.end()) {
    values.push_back(value);
  } else {
    found->type = value.type;  // the name keeps the case it was created with
    found->data = value.data;
  }
  return writeValues(directory, values);
}

LONG queryValue(const KeyPath& key, std::u16string_view name, RegistryValue* value) {
  FileLock lock(lockPath(), FileLock::kShared);
  const std::string directory = keyDirectory(key);
  if (directory.empty()) return ERROR_KEY_DELETED;
  std::vector<RegistryValue> values = readValues(directory);
  auto found = findValue(values, name);
  if (found == values.end()) return ERROR_FILE_NOT_FOUND;
  *value = std::move(*found);
  return ERROR_SUCCESS;
}

LONG deleteValue(const KeyPath& key, std::u16string_view name) {
  FileLock lock(lockPath(), FileLock::kExclusive);
  const std::string directory = keyDirectory(key);
  if (directory.empty()) return ERROR_KEY_DELETED;
  std::vector<RegistryValue> values = readValues(directory);
  auto found = findValue(values, name);
  if (found == values.end()) return ERROR_FILE_NOT_FOUND;
  values.erase(found);
  return writeValues(directory, values);
}

LONG subkeyNames(const KeyPath& key, std::vector<std::u16string>* names) {
  FileLock lock(lockPath(), FileLock::kShared);
  const std::string directory = keyDirectory(key);
  if (directory.empty()) return ERROR_KEY_DELETED;
  names->clear();
  for (const std::string& entry : subkeyEntries(directory)) names->push_back(decodeName(entry));
  std::sort(names->begin(), names->end(), [](const auto& a, const auto& b) { return folded(a) < folded(b); });
  return ERROR_SUCCESS;
}

LONG keyValues(const KeyPath& key, std::vector<RegistryValue>* values) {
  FileLock lock(lockPath(), FileLock::kShared);
  const std::string directory = keyDirectory(key);
  if (directory.empty()) return ERROR_KEY_DELETED;
  *values = readValues(directory);
  return ERROR_SUCCESS;
}

LONG valuesImage(const KeyPath& key, std::optional<std::string>* image) {
  FileLock lock(lockPath(), FileLock::kShared);
  const std::string directory = keyDirectory(key);
  if (directory.empty()) return ERROR_KEY_DELETED;
  image->reset();
  std::ifstream in(directory + "/" + kValuesFile, std::ios::binary);
  if (!in) return ERROR_SUCCESS;
  std::ostringstream bytes;
  bytes << in.rdbuf();
  *image = bytes.str();
  return ERROR_SUCCESS;
}

LONG restoreValuesImage(const KeyPath& key, const std::optional<std::string>& image) {
  FileLock lock(lockPath(), FileLock::kExclusive);
  const std::string directory = keyDirectory(key);
  if (directory.empty()) return ERROR_KEY_DELETED;
  const std::string path = directory + "/" + kValuesFile;
  removeReplaceLeftovers(path);
  if (image) return replaceFile(path, *image) ? ERROR_SUCCESS : ERROR_REGISTRY_IO_FAILED;
  return ::unlink(path.c_str()) == 0 || errno == ENOENT ? ERROR_SUCCESS : ERROR_REGISTRY_IO_FAILED;
}

FILETIME keyWriteTime(const KeyPath& key) {
  FileLock lock(lockPath(), FileLock::kShared);
  struct stat st {};
  const std::string directory = keyDirectory(key);
  if (!directory.empty()) ::stat(directory.c_str(), &st);
  // 100-ns intervals from 1601-01-01 to the Unix epoch, then the time.
  const std::uint64_t ticks = 116444736000000000ULL + static_cast<std::uint64_t>(st.st_mtim.tv_sec) * 10000000ULL +
                              static_cast<std::uint64_t>(st.st_mtim.tv_nsec) / 100;
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

}  // namespace emulated::registry
