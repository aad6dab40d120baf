// The installation's own execution actions (standard_actions.h), as their
// documentation describes them. Each writes its operations into the
// session's script; InstallFinalize runs them through the journal. In a
// package session (MsiOpenPackageW) there is no installation, and they
// change nothing.
// - InstallInitialize starts the script (the generation phase's progress
//   reset, field 4 = 1); InstallFinalize runs it;
// - ProcessComponents: the components whose state changes, one ACTIONDATA
//   each (the component registration itself has no reader on this
//   machine);
// - RegisterProduct: the package cached under C:\Windows\Installer, named
//   as Windows names it (random hex digits, ".msi"), and the product's
//   entry under HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall;
//   on removal both go, with the folders and keys that were left empty;
// - RegisterUser: USERNAME and COMPANYNAME as RegOwner and RegCompany;
// - PublishFeatures / UnpublishFeatures: the features installed / removed,
//   one ACTIONDATA each;
// - PublishProduct: the product in the store of installed products, with
//   every feature's state, its cached package and InstallLocation
//   (ARPINSTALLLOCATION, else the INSTALLDIR path, else TARGETDIR's); on
//   removal it leaves the store.
// The product is removed when no feature stays installed.
#include <sys/stat.h>

#include <filesystem>
#include <random>
#include <system_error>

#include "platform/emulated/installer/install_journal.h"
#include "platform/emulated/installer/install_operation.h"
#include "platform/emulated/installer/standard_actions.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/msi.h"

namespace emulated::installer {

namespace {

// The fixed weight of one registration step, next to a file's bytes.
constexpr long long kRegistrationTicks = 4096;
constexpr const char16_t* kUninstallKey = u"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
constexpr const char16_t* kPackageCache = u"C:\\Windows\\Installer\\";

INSTALLSTATE finalState(INSTALLSTATE installed, INSTALLSTATE action) {
  const INSTALLSTATE state = action != INSTALLSTATE_UNKNOWN ? action : installed;
  return state == INSTALLSTATE_UNKNOWN ? INSTALLSTATE_ABSENT : state;
}

bool present(INSTALLSTATE state) {
  return state == INSTALLSTATE_LOCAL || state == INSTALLSTATE_SOURCE || state == INSTALLSTATE_ADVERTISED;
}

bool wasInstalled(const Session& session) { return findInstalledProduct(session.property(u"ProductCode")).has_value(); }

// The product goes when no feature stays (or, without features, on REMOVE=ALL).
bool removingProduct(const Session& session) {
  if (session.features().empty()) return session.property(u"REMOVE") == u"ALL";
  for (const FeatureRow& feature : session.features()) {
    if (present(finalState(feature.installed, feature.action))) return false;
  }
  return true;
}

// The script of the installation running this session, with `action`
// begun in it; nullptr outside an installation.
InstallScript* scriptFor(Session& session, std::u16string_view action) {
  InstallScript* script = session.operation() != nullptr ? session.script() : nullptr;
  if (script != nullptr) script->beginAction(action, u"");
  return script;
}

// "Error 1310. Error writing to file: PATH." (or the registry's "Error
// 1401. Could not create key: KEY."), posted when a change cannot be made;
// the change's code, or 1602 when the user cancels the message.
UINT changeFailed(Session& session, std::u16string text, UINT code) {
  text += u" System error " + utf8ToUtf16(std::to_string(code)) + u".";
  const UINT answer = session.messages().post(INSTALLMESSAGE_ERROR | MB_OK, text).resultCode();
  return answer != ERROR_SUCCESS ? answer : code;
}

std::string parentFolder(const std::string& path) { return path.substr(0, path.find_last_of('/')); }

// A fresh name in the package cache, as Windows makes them.
std::u16string newCachedPackageName() {
  std::random_device random;
  for (;;) {
    char name[16];
    std::snprintf(name, sizeof name, "%x.msi", static_cast<unsigned>(random()) & 0xFFFFFFF);
    const std::u16string path = kPackageCache + utf8ToUtf16(name);
    struct stat st;
    if (::stat(toHostPath(path).c_str(), &st) != 0) return path;
  }
}

UINT cachePackage(Session& session, InstallJournal& journal, const std::string& source, const std::u16string& cached) {
  const std::string target = toHostPath(cached);
  if (UINT code = journal.createFolder(parentFolder(target)))
    return changeFailed(session, u"Error 1310. Error writing to file: " + cached + u".", code);
  const std::string staged = journal.stagingPath();
  std::error_code error;
  std::filesystem::copy_file(source, staged, std::filesystem::copy_options::overwrite_existing, error);
  const UINT code = error ? ERROR_WRITE_FAULT : journal.placeFile(target, staged);
  if (code != ERROR_SUCCESS) return changeFailed(session, u"Error 1310. Error writing to file: " + cached + u".", code);
  return ERROR_SUCCESS;
}

// Removes the file, then each folder above it that this left empty, up to
// the drive.
UINT uncachePackage(Session& session, InstallJournal& journal, const std::u16string& cached) {
  std::string path = toHostPath(cached);
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) return ERROR_SUCCESS;
  if (UINT code = journal.removeFile(path))
    return changeFailed(session, u"Error 1321. The file " + cached + u" could not be removed.", code);
  const std::string drive = machineRoot() + "/drive_c";
  for (path = parentFolder(path); path.size() > drive.size(); path = parentFolder(path)) {
    std::error_code error;
    if (!std::filesystem::is_empty(path, error) || error || journal.removeFolder(path) != ERROR_SUCCESS) break;
  }
  return ERROR_SUCCESS;
}

registry::RegistryValue textValue(std::u16string name, const std::u16string& text) {
  std::string data(reinterpret_cast<const char*>(text.c_str()), (text.size() + 1) * sizeof(char16_t));
  return {std::move(name), REG_SZ, std::move(data)};
}

registry::RegistryValue numberValue(std::u16string name, DWORD number) {
  std::string data(4, '\0');
  for (int i = 0; i < 4; ++i) data[i] = static_cast<char>((number >> (8 * i)) & 0xFF);
  return {std::move(name), REG_DWORD, std::move(data)};
}

registry::KeyPath uninstallKey(const Session& session) {
  return registry::parseKeyPath(kUninstallKey + session.property(u"ProductCode")).value_or(registry::KeyPath{});
}

std::u16string installLocation(const Session& session) {
  for (const char16_t* property : {u"ARPINSTALLLOCATION", u"INSTALLDIR", u"TARGETDIR"}) {
    const std::u16string value = session.property(property);
    if (!value.empty()) return value;
  }
  return {};
}

std::vector<registry::RegistryValue> uninstallValues(const Session& session) {
  const std::u16string code = session.property(u"ProductCode");
  const std::u16string source = session.property(u"SourceDir");
  return {textValue(u"DisplayName", session.property(u"ProductName")),
          textValue(u"DisplayVersion", session.property(u"ProductVersion")),
          textValue(u"Publisher", session.property(u"Manufacturer")),
          textValue(u"InstallLocation", installLocation(session)),
          textValue(u"InstallSource", source),
          textValue(u"UninstallString", u"MsiExec.exe /X" + code),
          textValue(u"ModifyPath", u"MsiExec.exe /I" + code),
          numberValue(u"Language", static_cast<DWORD>(std::atoi(utf16ToUtf8(session.property(u"ProductLanguage")).c_str()))),
          numberValue(u"WindowsInstaller", 1)};
}

UINT writeValues(Session& session, InstallJournal& journal, const registry::KeyPath& key,
                 const std::vector<registry::RegistryValue>& values) {
  for (const registry::RegistryValue& value : values) {
    if (UINT code = journal.setValue(key, value))
      return changeFailed(session, u"Error 1406. Could not write value " + value.name + u" to the product's key.", code);
  }
  return ERROR_SUCCESS;
}

// Deletes the key's values and the key, then each key above that this
// left empty.
UINT deleteKeyTree(Session& session, InstallJournal& journal, registry::KeyPath key) {
  std::vector<registry::RegistryValue> values;
  if (registry::keyValues(key, &values) != ERROR_SUCCESS) return ERROR_SUCCESS;  // not there
  for (const registry::RegistryValue& value : values) {
    if (UINT code = journal.deleteValue(key, value.name))
      return changeFailed(session, u"Error 1403. Could not delete value " + value.name + u".", code);
  }
  for (; !key.names.empty(); key.names.pop_back()) {
    std::vector<std::u16string> subkeys;
    values.clear();
    if (registry::subkeyNames(key, &subkeys) != ERROR_SUCCESS || !subkeys.empty()) break;
    if (registry::keyValues(key, &values) != ERROR_SUCCESS || !values.empty()) break;
    if (journal.deleteKey(key) != ERROR_SUCCESS) break;
  }
  return ERROR_SUCCESS;
}

std::u16string packageCode(const std::u16string& packagePath) {
  MSIHANDLE summary = 0;
  if (MsiGetSummaryInformationW(0, packagePath.c_str(), 0, &summary) != ERROR_SUCCESS) return {};
  WCHAR buffer[64] = {0};
  DWORD size = 64;
  UINT type = 0;
  const UINT code = MsiSummaryInfoGetPropertyW(summary, PID_REVNUMBER, &type, nullptr, nullptr, buffer, &size);
  MsiCloseHandle(summary);
  return code == ERROR_SUCCESS ? std::u16string(buffer, size) : std::u16string();
}

InstalledProduct productRecord(const Session& session, const std::u16string& cachedPackage) {
  InstalledProduct product;
  product.productCode = session.property(u"ProductCode");
  product.productName = session.property(u"ProductName");
  product.versionString = session.property(u"ProductVersion");
  product.packageCode = packageCode(session.packagePath());
  product.upgradeCode = session.property(u"UpgradeCode");
  product.installLocation = installLocation(session);
  product.localPackage = cachedPackage;
  product.language = session.property(u"ProductLanguage");
  for (const FeatureRow& feature : session.features())
    product.features.push_back({feature.key, feature.parent, finalState(feature.installed, feature.action)});
  return product;
}

void addOperation(InstallScript& script, std::u16string actionData, long long ticks,
                  std::function<UINT(Session&, InstallJournal&)> run) {
  script.add(ScriptOperation{std::move(actionData), ticks, std::move(run)});
}

long long fileSize(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 ? static_cast<long long>(st.st_size) : 0;
}

void registerProduct(Session& session, InstallScript& script) {
  std::u16string& cached = session.operation()->cachedPackage(session);
  const auto installed = findInstalledProduct(session.property(u"ProductCode"));
  cached = installed ? installed->localPackage : newCachedPackageName();
  const std::u16string name = session.property(u"ProductName");
  if (!installed) {
    const std::string source = toHostPath(session.packagePath());
    addOperation(script, name, std::max(fileSize(source), kRegistrationTicks),
                 [source, cached](Session& s, InstallJournal& j) { return cachePackage(s, j, source, cached); });
  }
  const registry::KeyPath key = uninstallKey(session);
  const auto values = uninstallValues(session);
  addOperation(script, name, kRegistrationTicks,
               [key, values](Session& s, InstallJournal& j) { return writeValues(s, j, key, values); });
}

void unregisterProduct(Session& session, InstallScript& script) {
  const auto installed = findInstalledProduct(session.property(u"ProductCode"));
  if (!installed) return;
  const registry::KeyPath key = uninstallKey(session);
  const std::u16string cached = installed->localPackage;
  addOperation(script, installed->productName, kRegistrationTicks,
               [key](Session& s, InstallJournal& j) { return deleteKeyTree(s, j, key); });
  addOperation(script, installed->productName, kRegistrationTicks,
               [cached](Session& s, InstallJournal& j) { return uncachePackage(s, j, cached); });
}

// One operation per feature that `wanted` picks, its ACTIONDATA "Feature: NAME".
void featureOperations(Session& session, InstallScript& script, bool (*wanted)(const FeatureRow&)) {
  for (const FeatureRow& feature : session.features()) {
    if (wanted(feature)) addOperation(script, u"Feature: " + feature.key, kRegistrationTicks / 4, nullptr);
  }
}

}  // namespace

UINT installInitialize(Session& session) {
  InstallOperation* operation = session.operation();
  return operation != nullptr ? operation->startScript(session) : ERROR_SUCCESS;
}

UINT installFinalize(Session& session) {
  InstallOperation* operation = session.operation();
  return operation != nullptr ? operation->finishScript(session) : ERROR_SUCCESS;
}

UINT processComponents(Session& session) {
  InstallScript* script = scriptFor(session, u"ProcessComponents");
  if (script == nullptr) return ERROR_SUCCESS;
  for (const ComponentRow& component : session.components()) {
    if (component.action != INSTALLSTATE_UNKNOWN)
      addOperation(*script, u"Component: " + component.componentId, kRegistrationTicks / 4, nullptr);
  }
  return ERROR_SUCCESS;
}

UINT registerProductAction(Session& session) {
  InstallScript* script = scriptFor(session, u"RegisterProduct");
  if (script == nullptr) return ERROR_SUCCESS;
  if (removingProduct(session)) {
    unregisterProduct(session, *script);
  } else {
    registerProduct(session, *script);
  }
  return ERROR_SUCCESS;
}

UINT registerUser(Session& session) {
  InstallScript* script = scriptFor(session, u"RegisterUser");
  if (script == nullptr || removingProduct(session)) return ERROR_SUCCESS;
  std::vector<registry::RegistryValue> values;
  if (!session.property(u"USERNAME").empty()) values.push_back(textValue(u"RegOwner", session.property(u"USERNAME")));
  if (!session.property(u"COMPANYNAME").empty())
    values.push_back(textValue(u"RegCompany", session.property(u"COMPANYNAME")));
  if (values.empty()) return ERROR_SUCCESS;
  const registry::KeyPath key = uninstallKey(session);
  addOperation(*script, session.property(u"USERNAME"), kRegistrationTicks,
               [key, values](Session& s, InstallJournal& j) { return writeValues(s, j, key, values); });
  return ERROR_SUCCESS;
}

UINT publishFeatures(Session& session) {
  InstallScript* script = scriptFor(session, u"PublishFeatures");
  if (script == nullptr || removingProduct(session)) return ERROR_SUCCESS;
  featureOperations(session, *script, [](const FeatureRow& f) { return present(finalState(f.installed, f.action)); });
  return ERROR_SUCCESS;
}

UINT unpublishFeatures(Session& session) {
  InstallScript* script = scriptFor(session, u"UnpublishFeatures");
  if (script == nullptr) return ERROR_SUCCESS;
  featureOperations(session, *script, [](const FeatureRow& f) {
    return present(f.installed) && !present(finalState(f.installed, f.action));
  });
  return ERROR_SUCCESS;
}

UINT publishProduct(Session& session) {
  InstallScript* script = scriptFor(session, u"PublishProduct");
  if (script == nullptr) return ERROR_SUCCESS;
  const std::u16string code = session.property(u"ProductCode");
  if (removingProduct(session)) {
    if (wasInstalled(session))
      addOperation(*script, u"", kRegistrationTicks, [code](Session& s, InstallJournal& j) {
        const UINT result = j.removeProduct(code);
        return result == ERROR_SUCCESS ? result : changeFailed(s, u"Error 1402. Could not unregister " + code + u".", result);
      });
    return ERROR_SUCCESS;
  }
  std::u16string cached = session.operation()->cachedPackage(session);
  if (cached.empty()) {  // RegisterProduct did not run: the product's own record, or none
    const auto installed = findInstalledProduct(code);
    if (installed) cached = installed->localPackage;
  }
  const InstalledProduct product = productRecord(session, cached);
  addOperation(*script, u"", kRegistrationTicks, [product](Session& s, InstallJournal& j) {
    const UINT result = j.saveProduct(product);
    return result == ERROR_SUCCESS ? result
                                   : changeFailed(s, u"Error 1402. Could not register " + product.productCode + u".", result);
  });
  return ERROR_SUCCESS;
}

}  // namespace emulated::installer
