// The native half of the scenario tool (tools/machine.js): sets up an
// emulated machine for an installer UI to run on. See the README.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "platform/emulated/installer/install_operation.h"
#include "platform/emulated/installer/session_handle.h"
#include "platform/emulated/installer/standard_actions.h"
#include "platform/emulated/products/installed_products.h"
#include "platform/emulated/machine/machine_config.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/registry/registry_store.h"
#include "install/msi/msi_setup_manager.h"
#include "platform/windows.h"
#include "machine_objects.h"

namespace {

using emulated::utf16ToUtf8;
using emulated::utf8ToUtf16;

[[noreturn]] void fail(const std::string& message) {
  std::fprintf(stderr, "machine: %s\n", message.c_str());
  std::exit(1);
}

// An open package, read through the machine's own Windows Installer.
class Package {
 public:
  explicit Package(const std::string& hostPath) {
    const std::u16string path = emulated::toWindowsPath(hostPath);
    const UINT code = MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_READONLY, &database_);
    if (code != ERROR_SUCCESS) fail("cannot open package " + hostPath + " (error " + std::to_string(code) + ")");
  }
  ~Package() { MsiCloseHandle(database_); }
  Package(const Package&) = delete;
  Package& operator=(const Package&) = delete;

  // Each row of `query`, as texts of its fields; empty when the query fails.
  std::vector<std::vector<std::u16string>> rows(const std::u16string& query) const {
    std::vector<std::vector<std::u16string>> result;
    MSIHANDLE view = 0;
    if (MsiDatabaseOpenViewW(database_, query.c_str(), &view) != ERROR_SUCCESS) return result;
    if (MsiViewExecute(view, 0) == ERROR_SUCCESS) {
      MSIHANDLE record = 0;
      while (MsiViewFetch(view, &record) == ERROR_SUCCESS) {
        std::vector<std::u16string> row;
        for (UINT field = 1; field <= MsiRecordGetFieldCount(record); ++field) row.push_back(text(record, field));
        result.push_back(std::move(row));
        MsiCloseHandle(record);
      }
    }
    MsiCloseHandle(view);
    return result;
  }

  std::u16string property(const std::u16string& name) const {
    auto found = rows(u"SELECT `Value` FROM `Property` WHERE `Property`='" + name + u"'");
    return found.empty() ? std::u16string() : found[0][0];
  }

  std::u16string packageCode() const {
    MSIHANDLE summary = 0;
    if (MsiGetSummaryInformationW(database_, nullptr, 0, &summary) != ERROR_SUCCESS) return {};
    WCHAR buffer[64];
    DWORD size = 64;
    UINT type = 0;
    INT number = 0;
    const UINT code = MsiSummaryInfoGetPropertyW(summary, PID_REVNUMBER, &type, &number, nullptr, buffer, &size);
    MsiCloseHandle(summary);
    return code == ERROR_SUCCESS ? std::u16string(buffer, size) : std::u16string();
  }

 private:
  static std::u16string text(MSIHANDLE record, UINT field) {
    DWORD size = 0;
    WCHAR empty[1];
    if (MsiRecordGetStringW(record, field, empty, &size) != ERROR_MORE_DATA) return {};
    std::u16string value(size + 1, u'\0');
    ++size;
    if (MsiRecordGetStringW(record, field, value.data(), &size) != ERROR_SUCCESS) return {};
    value.resize(size);
    return value;
  }

  MSIHANDLE database_ = 0;
};

std::string absolute(const std::string& path) {
  if (!path.empty() && path[0] == '/') return path;
  char cwd[4096];
  if (::getcwd(cwd, sizeof cwd) == nullptr) fail("no current directory");
  return std::string(cwd) + "/" + path;
}

// Copies the package to C:\Windows\Installer under a fresh name, as
// Windows Installer caches every package it installs.
std::u16string cachePackage(const std::string& hostPath) {
  const std::u16string directory = u"C:\\Windows\\Installer";
  const std::string hostDirectory = emulated::toHostPath(directory);
  std::string made;
  for (size_t pos = 1; pos <= hostDirectory.size(); ++pos) {
    if (pos == hostDirectory.size() || hostDirectory[pos] == '/') ::mkdir(hostDirectory.substr(0, pos).c_str(), 0755);
  }
  std::random_device random;
  char name[16];
  std::snprintf(name, sizeof name, "%08x.msi", random());
  std::ifstream in(hostPath, std::ios::binary);
  std::ofstream out(hostDirectory + "/" + name, std::ios::binary);
  out << in.rdbuf();
  if (!out) fail("cannot cache the package in " + hostDirectory);
  return directory + u"\\" + utf8ToUtf16(name);
}

// Writes the registered product's code, name and version into its cached
// package, whose Property table Windows Installer's cache always shares
// with the product: with options that override them, a removal from the
// cache (an uninstallation, an upgrade's RemoveExistingProducts) works on
// the product registered, not on the one the original package names.
void describeInCache(const std::u16string& cachedPackage, const emulated::InstalledProduct& product) {
  MSIHANDLE database = 0;
  UINT code = MsiOpenDatabaseW(cachedPackage.c_str(), MSIDBOPEN_TRANSACT, &database);
  const std::pair<const char16_t*, const std::u16string*> values[] = {
      {u"ProductCode", &product.productCode}, {u"ProductName", &product.productName},
      {u"ProductVersion", &product.versionString}};
  for (const auto& [name, value] : values) {
    MSIHANDLE view = 0;
    if (code == ERROR_SUCCESS)
      code = MsiDatabaseOpenViewW(database, u"UPDATE `Property` SET `Value` = ? WHERE `Property` = ?", &view);
    if (code == ERROR_SUCCESS) {
      const MSIHANDLE record = MsiCreateRecord(2);
      MsiRecordSetStringW(record, 1, value->c_str());
      MsiRecordSetStringW(record, 2, name);
      code = MsiViewExecute(view, record);
      MsiCloseHandle(record);
    }
    if (view != 0) MsiCloseHandle(view);
  }
  if (code == ERROR_SUCCESS) code = MsiDatabaseCommit(database);
  if (database != 0) MsiCloseHandle(database);
  if (code != ERROR_SUCCESS) fail("cannot write the product into its cached package (error " + std::to_string(code) + ")");
}

std::u16string upperGuid(std::u16string text) {
  for (char16_t& c : text) {
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
  }
  return text;
}

int registerPackage(const std::vector<std::string>& args) {
  if (args.empty()) fail("usage: register PACKAGE.msi [--product-code G] [--version V] [--package-code G] "
                         "[--name N] [--language LANGID] [--location PATH] [--feature NAME=local|source|absent|advertised ...]");
  const std::string hostPath = absolute(args[0]);
  emulated::InstalledProduct product;
  {
    Package package(hostPath);
    product.productCode = package.property(u"ProductCode");
    product.productName = package.property(u"ProductName");
    product.versionString = package.property(u"ProductVersion");
    product.upgradeCode = package.property(u"UpgradeCode");
    product.language = package.property(u"ProductLanguage");
    product.packageCode = package.packageCode();
    for (auto& row : package.rows(u"SELECT `Feature`, `Feature_Parent` FROM `Feature`")) {
      product.features.push_back({row[0], row.size() > 1 ? row[1] : u"", INSTALLSTATE_LOCAL});
    }
  }
  for (size_t i = 1; i < args.size(); ++i) {
    const std::string& option = args[i];
    if (i + 1 >= args.size()) fail("missing value for " + option);
    const std::u16string value = utf8ToUtf16(args[++i]);
    if (option == "--product-code") product.productCode = value;
    else if (option == "--version") product.versionString = value;
    else if (option == "--package-code") product.packageCode = value;
    else if (option == "--name") product.productName = value;
    else if (option == "--language") product.language = value;
    else if (option == "--location") product.installLocation = value;
    else if (option == "--feature") {
      const size_t equals = value.find(u'=');
      if (equals == std::u16string::npos) fail("--feature takes NAME=STATE");
      auto state = emulated::featureStateFromName(utf16ToUtf8(value.substr(equals + 1)));
      if (!state) fail("unknown feature state in " + utf16ToUtf8(value));
      const std::u16string name = value.substr(0, equals);
      bool found = false;
      for (auto& feature : product.features) {
        if (feature.name == name) {
          feature.state = *state;
          found = true;
        }
      }
      if (!found) product.features.push_back({name, u"", *state});
    } else {
      fail("unknown option " + option);
    }
  }
  if (!emulated::isGuid(product.productCode)) fail("no product code (a braced GUID): " + utf16ToUtf8(product.productCode));
  product.productCode = upperGuid(product.productCode);
  product.localPackage = cachePackage(hostPath);
  describeInCache(product.localPackage, product);
  if (!emulated::saveInstalledProduct(product)) fail("cannot write the store of installed products");
  std::printf("%s\n", utf16ToUtf8(product.productCode).c_str());
  return 0;
}

// What a killed installation left is taken back first, as any engine call
// does, so that the list shows the machine as it is.
int list() {
  emulated::installer::recoverInterruptedOperations();
  for (const auto& product : emulated::installedProducts()) {
    std::printf("%s\t%s\t%s\tupgrade %s\tpackage %s\t%s\n", utf16ToUtf8(product.productCode).c_str(),
                utf16ToUtf8(product.productName).c_str(), utf16ToUtf8(product.versionString).c_str(),
                utf16ToUtf8(product.upgradeCode).c_str(), utf16ToUtf8(product.packageCode).c_str(),
                utf16ToUtf8(product.localPackage).c_str());
    for (const auto& feature : product.features) {
      std::printf("  feature %s\t%s%s\n", utf16ToUtf8(feature.name).c_str(), emulated::featureStateName(feature.state),
                  feature.parent.empty() ? "" : ("\tparent " + utf16ToUtf8(feature.parent)).c_str());
    }
  }
  return 0;
}

// The registry command: `registry set|get|delete KEY [NAME] [VALUE ...]
// [--type TYPE]`. See the README for the forms of the values.
namespace reg = emulated::registry;

struct TypeName {
  DWORD type;
  const char* name;
};

constexpr TypeName kTypes[] = {
    {REG_SZ, "REG_SZ"},       {REG_EXPAND_SZ, "REG_EXPAND_SZ"}, {REG_MULTI_SZ, "REG_MULTI_SZ"},
    {REG_DWORD, "REG_DWORD"}, {REG_QWORD, "REG_QWORD"},         {REG_BINARY, "REG_BINARY"},
};

std::string typeName(DWORD type) {
  for (const TypeName& entry : kTypes) {
    if (entry.type == type) return entry.name;
  }
  return "type " + std::to_string(type);
}

DWORD typeFromName(const std::string& name) {
  for (const TypeName& entry : kTypes) {
    if (name == entry.name) return entry.type;
  }
  fail("unknown type " + name + " (REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ, REG_DWORD, REG_QWORD, REG_BINARY)");
}

std::string wideBytes(const std::u16string& text) {
  return std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t));
}

std::uint64_t number(const std::string& text, std::uint64_t limit) {
  char* end = nullptr;
  errno = 0;
  const unsigned long long value = std::strtoull(text.c_str(), &end, 0);
  if (text.empty() || *end != '\0' || errno != 0 || value > limit || text[0] == '-') fail("not a number in range: " + text);
  return value;
}

// The bytes RegSetValueExW would be given for these words of the command line.
std::string valueData(DWORD type, const std::vector<std::string>& words) {
  if (type != REG_MULTI_SZ && words.size() != 1) fail("one value expected (several only with REG_MULTI_SZ)");
  switch (type) {
    case REG_MULTI_SZ: {
      std::u16string text;
      for (const std::string& word : words) text += utf8ToUtf16(word) + u'\0';
      return wideBytes(text + u'\0');
    }
    case REG_DWORD: {
      const auto value = static_cast<std::uint32_t>(number(words[0], 0xFFFFFFFFULL));
      return std::string(reinterpret_cast<const char*>(&value), 4);
    }
    case REG_QWORD: {
      const std::uint64_t value = number(words[0], ~0ULL);
      return std::string(reinterpret_cast<const char*>(&value), 8);
    }
    case REG_BINARY: {
      const std::string& hex = words[0];
      if (hex.size() % 2 != 0 || hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        fail("REG_BINARY takes hex digits, two per byte: " + hex);
      }
      std::string bytes;
      for (size_t i = 0; i < hex.size(); i += 2) bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
      return bytes;
    }
    default: return wideBytes(utf8ToUtf16(words[0]) + u'\0');
  }
}

// The data as `get` prints it: strings as text (REG_MULTI_SZ one per line),
// numbers in decimal, anything else in hex.
std::string valueText(const reg::RegistryValue& value) {
  const std::string& data = value.data;
  if (value.type == REG_DWORD && data.size() == 4) return std::to_string(*reinterpret_cast<const std::uint32_t*>(data.data()));
  if (value.type == REG_QWORD && data.size() == 8) return std::to_string(*reinterpret_cast<const std::uint64_t*>(data.data()));
  if (value.type == REG_SZ || value.type == REG_EXPAND_SZ || value.type == REG_MULTI_SZ) {
    std::u16string text(reinterpret_cast<const char16_t*>(data.data()), data.size() / 2);
    while (!text.empty() && text.back() == u'\0') text.pop_back();
    for (char16_t& c : text) {
      if (c == u'\0') c = u'\n';
    }
    return utf16ToUtf8(text);
  }
  std::string hex;
  char byte[3];
  for (unsigned char c : data) {
    std::snprintf(byte, sizeof byte, "%02x", c);
    hex += byte;
  }
  return hex;
}

void deleteTree(const reg::KeyPath& key) {
  std::vector<std::u16string> names;
  if (reg::subkeyNames(key, &names) != ERROR_SUCCESS) return;
  for (const std::u16string& name : names) {
    reg::KeyPath child = key;
    child.names.push_back(name);
    deleteTree(child);
  }
  const LONG code = reg::deleteKey(key);
  if (code != ERROR_SUCCESS) fail("cannot delete the key (error " + std::to_string(code) + ")");
}

int registry(std::vector<std::string> args) {
  const char* usage = "usage: registry set KEY [NAME [VALUE ...]] [--type TYPE] | get KEY [NAME] | delete KEY [NAME]";
  DWORD type = REG_SZ;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] != "--type") continue;
    if (i + 1 >= args.size()) fail(usage);
    type = typeFromName(args[i + 1]);
    args.erase(args.begin() + i, args.begin() + i + 2);
    break;
  }
  if (args.size() < 2) fail(usage);
  const std::string& command = args[0];
  const auto key = reg::parseKeyPath(utf8ToUtf16(args[1]));
  if (!key) fail("not a registry key: " + args[1] + " (HKLM\\..., HKCU\\..., HKCR\\..., HKU\\...)");
  const bool named = args.size() > 2;
  const std::u16string name = named ? utf8ToUtf16(args[2]) : std::u16string();
  if (command == "set") {
    if (named && args.size() < 4) fail(usage);
    // The value is read before the key is made, so a bad value changes nothing.
    const std::string data = named ? valueData(type, {args.begin() + 3, args.end()}) : std::string();
    std::vector<reg::KeyPath> made;
    if (reg::createKey(*key, &made) != ERROR_SUCCESS) fail("cannot create " + args[1]);
    if (!named) return 0;
    const LONG code = reg::setValue(*key, {name, type, data});
    if (code != ERROR_SUCCESS) fail("cannot set the value (error " + std::to_string(code) + ")");
    return 0;
  }
  if (!reg::keyExists(*key)) fail("no such key: " + args[1]);
  if (command == "get" && named) {
    reg::RegistryValue value;
    if (reg::queryValue(*key, name, &value) != ERROR_SUCCESS) fail("no such value: " + args[2]);
    std::printf("%s\n", valueText(value).c_str());
    return 0;
  }
  if (command == "get") {
    std::vector<reg::RegistryValue> values;
    std::vector<std::u16string> subkeys;
    reg::keyValues(*key, &values);
    reg::subkeyNames(*key, &subkeys);
    for (const auto& value : values) {
      std::string text = valueText(value);
      for (char& c : text) {
        if (c == '\n') c = '|';
      }
      std::printf("%s\t%s\t%s\n", value.name.empty() ? "(Default)" : utf16ToUtf8(value.name).c_str(),
                  typeName(value.type).c_str(), text.c_str());
    }
    for (const auto& subkey : subkeys) std::printf("%s\\\n", utf16ToUtf8(subkey).c_str());
    return 0;
  }
  if (command == "delete" && named) {
    if (reg::deleteValue(*key, name) != ERROR_SUCCESS) fail("no such value: " + args[2]);
    return 0;
  }
  if (command == "delete") {
    if (key->names.empty()) fail("a root key cannot be deleted");
    deleteTree(*key);
    return 0;
  }
  fail(usage);
}

const char* conditionText(MSICONDITION result) {
  switch (result) {
    case MSICONDITION_TRUE: return "true";
    case MSICONDITION_FALSE: return "false";
    case MSICONDITION_NONE: return "none";
    default: return "error";
  }
}

// condition PACKAGE.msi [--set NAME=VALUE ...] EXPRESSION [EXPRESSION ...]:
// a session on the package, the properties set, the costing actions run,
// then one line per expression.
int condition(const std::vector<std::string>& args) {
  if (args.size() < 2) fail("usage: condition PACKAGE.msi [--set NAME=VALUE ...] EXPRESSION [EXPRESSION ...]");
  std::vector<std::pair<std::u16string, std::u16string>> properties;
  std::vector<std::u16string> expressions;
  for (size_t i = 1; i < args.size(); ++i) {
    if (args[i] != "--set") {
      expressions.push_back(utf8ToUtf16(args[i]));
      continue;
    }
    if (++i >= args.size()) fail("--set takes NAME=VALUE");
    const std::u16string assignment = utf8ToUtf16(args[i]);
    const size_t equals = assignment.find(u'=');
    if (equals == 0 || equals == std::u16string::npos) fail("--set takes NAME=VALUE, not " + args[i]);
    properties.emplace_back(assignment.substr(0, equals), assignment.substr(equals + 1));
  }
  const std::u16string path = emulated::toWindowsPath(absolute(args[0]));
  MSIHANDLE session = 0;
  const UINT opened = MsiOpenPackageW(path.c_str(), &session);
  if (opened != ERROR_SUCCESS) fail("cannot open package " + args[0] + " (error " + std::to_string(opened) + ")");
  for (const auto& [name, value] : properties) MsiSetPropertyW(session, name.c_str(), value.c_str());
  for (const char16_t* action : {u"CostInitialize", u"FileCost", u"CostFinalize"}) {
    const UINT code = emulated::installer::runStandardAction(*emulated::installer::findSession(session), action);
    if (code != ERROR_SUCCESS) fail(utf16ToUtf8(action) + " failed (error " + std::to_string(code) + ")");
  }
  for (const std::u16string& expression : expressions) {
    std::printf("%s\n", conditionText(MsiEvaluateConditionW(session, expression.c_str())));
  }
  MsiCloseHandle(session);
  return 0;
}

// One message as a JSON line: {"type": "0x01000000", "text": "..."}.
std::string jsonLine(UINT messageType, std::u16string_view text) {
  char type[16];
  std::snprintf(type, sizeof type, "0x%08X", messageType);
  std::string line = std::string("{\"type\": \"") + type + "\", \"text\": \"";
  for (unsigned char c : utf16ToUtf8(text)) {
    if (c == '"' || c == '\\') {
      line += '\\';
      line += static_cast<char>(c);
    } else if (c < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      line += escaped;
    } else {
      line += static_cast<char>(c);
    }
  }
  return line + "\"}";
}

// What the runs of a package share on the command line: the positional
// argument, PROP=VALUE pairs, --messages FILE and --cancel-at N.
struct RunArguments {
  std::string target;
  std::vector<installer::msi_wrapper::SetupParameter> parameters;
  std::string messagesPath;
  unsigned long cancelAt = 0;  // 0: never
};

RunArguments runArguments(const std::vector<std::string>& args, const char* usage, bool takesProperties) {
  if (args.empty()) fail(usage);
  RunArguments run;
  run.target = args[0];
  for (size_t i = 1; i < args.size(); ++i) {
    if (args[i] == "--messages" || args[i] == "--cancel-at") {
      if (i + 1 >= args.size()) fail(usage);
      if (args[i] == "--messages") run.messagesPath = args[i + 1];
      else run.cancelAt = static_cast<unsigned long>(number(args[i + 1], 0xFFFFFFFFULL));
      ++i;
      continue;
    }
    if (!takesProperties) fail("unexpected argument " + args[i] + "\n" + usage);
    const std::u16string assignment = utf8ToUtf16(args[i]);
    const size_t equals = assignment.find(u'=');
    if (equals == 0 || equals == std::u16string::npos) fail("not PROP=VALUE: " + args[i] + "\n" + usage);
    run.parameters.emplace_back(assignment.substr(0, equals), assignment.substr(equals + 1));
  }
  return run;
}

// The handler of a run: each message appended to the --messages file as a
// JSON line as soon as it arrives (so that a watcher sees the run advance,
// and a killed run leaves every message it got), IDCANCEL to the
// --cancel-at-th message, IDOK to the others. A file that cannot be
// written (a full disk) is said once; the run goes on.
class MessageLog {
 public:
  explicit MessageLog(const RunArguments& run) : cancelAt_(run.cancelAt) {
    if (run.messagesPath.empty()) return;
    file_ = std::fopen(run.messagesPath.c_str(), "wb");
    if (file_ == nullptr) fail("cannot write " + run.messagesPath);
  }
  ~MessageLog() {
    if (file_ != nullptr) std::fclose(file_);
  }
  MessageLog(const MessageLog&) = delete;
  MessageLog& operator=(const MessageLog&) = delete;

  // The setup manager's tap: sees each message before the manager decodes
  // it; this answer replaces the manager's.
  static INT see(void* context, UINT type, const WCHAR* text) {
    return static_cast<MessageLog*>(context)->take(type, text == nullptr ? u"" : text);
  }

  INT take(UINT type, std::u16string_view text) {
    if (file_ != nullptr) {
      const std::string line = jsonLine(type, text) + "\n";
      const bool written = std::fwrite(line.data(), 1, line.size(), file_) == line.size() && std::fflush(file_) == 0;
      if (!written && !failed_) std::fprintf(stderr, "machine: cannot write the messages file\n");
      failed_ = failed_ || !written;
    }
    return ++count_ == cancelAt_ ? IDCANCEL : IDOK;
  }

 private:
  FILE* file_ = nullptr;
  unsigned long cancelAt_;
  unsigned long count_ = 0;
  bool failed_ = false;
};

// The setup manager's own answers, as the add-on's service gives them:
// IDOK to progress, 0 to the rest.
std::int32_t answerMessage(const installer::msi_wrapper::InstallMessage& message) {
  return message.kind == installer::msi_wrapper::InstallMessageKind::progress ? IDOK : 0;
}

// preinstall, install and uninstall: one run of the add-on's setup manager,
// so the tool drives the engine exactly as an installer UI does; each
// prints its result code.
enum class Run { kPreinstall, kInstall, kUninstall };

int runCommand(Run kind, const std::vector<std::string>& args) {
  const char* usages[] = {
      "usage: preinstall PACKAGE.msi [PROP=VALUE ...] [--messages FILE] [--cancel-at N]",
      "usage: install PACKAGE.msi [PROP=VALUE ...] [--messages FILE] [--cancel-at N]",
      "usage: uninstall PRODUCTCODE [--messages FILE] [--cancel-at N]"};
  const RunArguments run = runArguments(args, usages[static_cast<int>(kind)], kind != Run::kUninstall);
  MessageLog log(run);
  const std::u16string package = kind == Run::kUninstall ? u"" : emulated::toWindowsPath(absolute(run.target));
  const auto manager =
      installer::msi_wrapper::createMsiSetupManager(answerMessage, u"", package, {MessageLog::see, &log});
  if (manager == nullptr) fail("another setup manager runs");
  const UINT code = kind == Run::kPreinstall ? manager->runPreinstall(run.parameters, 2)
                    : kind == Run::kInstall  ? manager->runSetup(run.parameters, 2)
                                             : manager->runUninstall(utf8ToUtf16(run.target), u"", 2);
  std::printf("%u\n", code);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty())
    fail("usage: init | config KEY VALUE | register PACKAGE.msi [...] | unregister CODE | list | "
         "event create|set|wait|remove NAME | mapping create|read|remove NAME | hostpath PATH | "
         "restarts | shell | condition PACKAGE.msi [--set NAME=VALUE ...] EXPRESSION ... | "
         "preinstall PACKAGE.msi [PROP=VALUE ...] [--messages FILE] [--cancel-at N] | "
         "install PACKAGE.msi [PROP=VALUE ...] [--messages FILE] [--cancel-at N] | "
         "uninstall PRODUCTCODE [--messages FILE] [--cancel-at N]");
  const std::string command = args[0];
  args.erase(args.begin());
  if (command == "init") {
    std::printf("%s\n", emulated::machineRoot().c_str());
    return 0;
  }
  if (command == "config") {
    if (args.size() != 2) fail("usage: config KEY VALUE");
    if (!emulated::writeMachineConfigValue(args[0], args[1])) fail("cannot write " + emulated::machineConfigPath());
    return 0;
  }
  if (command == "registry") return registry(args);
  if (command == "register") return registerPackage(args);
  if (command == "unregister") {
    if (args.size() != 1) fail("usage: unregister PRODUCTCODE");
    if (!emulated::removeInstalledProduct(utf8ToUtf16(args[0]))) fail("not installed: " + args[0]);
    return 0;
  }
  if (command == "list") return list();
  if (command == "event" || command == "mapping" || command == "restarts" ||
      command == "shell" || command == "hostpath") {
    return runMachineObjectCommand(command, args);
  }
  if (command == "condition") return condition(args);
  if (command == "preinstall") return runCommand(Run::kPreinstall, args);
  if (command == "install") return runCommand(Run::kInstall, args);
  if (command == "uninstall") return runCommand(Run::kUninstall, args);
  fail("unknown command " + command);
}
