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
//   on removal both go (the cache folder and the Uninstall key stay, as
//   Windows always has them);
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

#include "platform/emulated/installer/change_actions.h"
#include "platform/emulated/installer/install_journal.h"
#include "platform/emulated/installer/install_operation.h"
#include "platform/emulated/installer/standard_actions.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/msi.h"

namespace emulated::installer {

namespace {

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

// The ACTIONDATA of one operation: the package's template for the action
// (its ActionText row), else the documented one, with the record's fields.
std::u16string actionData(const ChangeAction& action, const Session& session, std::u16string_view documented,
                          const std::u16string& field1) {
  const RecordFields fields{std::nullopt, field1};
  std::u16string text = action.actionData(fields);
  return text.empty() ? formatText(documented, session, fields) : text;
}

// A change that could not be made: "Error N. text" (the package's Error
// table message N when it has one, with `path` as its field 1).
UINT changeFailed(Session& session, int number, const std::u16string& text, const std::u16string& path) {
  return operationError(session, number, text, RecordFields{std::nullopt, path});
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
  if (journal.createFolder(parentFolder(target)) != ERROR_SUCCESS)
    return changeFailed(session, 1310, u"Error writing to file: " + cached + u".", cached);
  const std::string staged = journal.stagingPath();
  std::error_code error;
  std::filesystem::copy_file(source, staged, std::filesystem::copy_options::overwrite_existing, error);
  const UINT code = error ? ERROR_WRITE_FAULT : journal.placeFile(target, staged);
  return code == ERROR_SUCCESS ? code : changeFailed(session, 1310, u"Error writing to file: " + cached + u".", cached);
}

// The cache folder stays, as on every Windows.
UINT uncachePackage(Session& session, InstallJournal& journal, const std::u16string& cached) {
  const std::string path = toHostPath(cached);
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) return ERROR_SUCCESS;
  if (journal.removeFile(path) != ERROR_SUCCESS)
    return changeFailed(session, 1321, u"The file " + cached + u" could not be removed.", cached);
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
          numberValue(u"Language",
                      static_cast<DWORD>(std::atoi(utf16ToUtf8(session.property(u"ProductLanguage")).c_str()))),
          numberValue(u"WindowsInstaller", 1)};
}

UINT writeValues(Session& session, InstallJournal& journal, const registry::KeyPath& key,
                 const std::vector<registry::RegistryValue>& values) {
  for (const registry::RegistryValue& value : values) {
    if (journal.setValue(key, value) != ERROR_SUCCESS)
      return changeFailed(session, 1406, u"Could not write value " + value.name + u" to the product's key.",
                          value.name);
  }
  return ERROR_SUCCESS;
}

// Deletes the key's values, then the key; the Uninstall key above it stays,
// as on every Windows.
UINT deleteKeyTree(Session& session, InstallJournal& journal, const registry::KeyPath& key) {
  std::vector<registry::RegistryValue> values;
  if (registry::keyValues(key, &values) != ERROR_SUCCESS) return ERROR_SUCCESS;  // not there
  for (const registry::RegistryValue& value : values) {
    if (journal.deleteValue(key, value.name) != ERROR_SUCCESS)
      return changeFailed(session, 1403, u"Could not delete value " + value.name + u".", value.name);
  }
  if (journal.deleteKey(key) != ERROR_SUCCESS)
    return changeFailed(session, 1402, u"Could not delete the product's key.", u"");
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

long long fileSize(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 ? static_cast<long long>(st.st_size) : 0;
}

void registerProduct(Session& session, const ChangeAction& action) {
  std::u16string& cached = session.operation()->cachedPackage(session);
  const auto installed = findInstalledProduct(session.property(u"ProductCode"));
  cached = installed && !installed->localPackage.empty() ? installed->localPackage : newCachedPackageName();
  const std::u16string data = actionData(action, session, u"[1]", session.property(u"ProductName"));
  struct stat st;
  if (::stat(toHostPath(cached).c_str(), &st) != 0) {  // a first installation, or a cache that was lost
    const std::string source = toHostPath(session.packagePath());
    action.add(data, std::max(fileSize(source), kOperationTicks),
               [source, cached](Session& s, InstallJournal& j) { return cachePackage(s, j, source, cached); });
  }
  const registry::KeyPath key = uninstallKey(session);
  const auto values = uninstallValues(session);
  action.add(data, kOperationTicks,
             [key, values](Session& s, InstallJournal& j) { return writeValues(s, j, key, values); });
}

void unregisterProduct(Session& session, const ChangeAction& action) {
  const auto installed = findInstalledProduct(session.property(u"ProductCode"));
  if (!installed) return;
  const registry::KeyPath key = uninstallKey(session);
  const std::u16string cached = installed->localPackage;
  const std::u16string data = actionData(action, session, u"[1]", installed->productName);
  action.add(data, kOperationTicks, [key](Session& s, InstallJournal& j) { return deleteKeyTree(s, j, key); });
  action.add(data, kOperationTicks, [cached](Session& s, InstallJournal& j) { return uncachePackage(s, j, cached); });
}

// One operation per feature that `wanted` picks, its ACTIONDATA "Feature: NAME".
void featureOperations(Session& session, std::u16string_view name, bool (*wanted)(const FeatureRow&)) {
  const ChangeAction action(session, name);
  if (action.script() == nullptr) return;
  for (const FeatureRow& feature : session.features()) {
    if (wanted(feature))
      action.add(actionData(action, session, u"Feature: [1]", feature.key), kOperationTicks / 4, nullptr);
  }
}

void storeProduct(Session& session, const ChangeAction& action) {
  std::u16string cached = session.operation()->cachedPackage(session);
  if (cached.empty()) {  // RegisterProduct did not run: the product's own record, or none
    const auto installed = findInstalledProduct(session.property(u"ProductCode"));
    if (installed) cached = installed->localPackage;
  }
  const InstalledProduct product = productRecord(session, cached);
  action.add(u"", kOperationTicks, [product](Session& s, InstallJournal& j) {
    if (j.saveProduct(product) == ERROR_SUCCESS) return UINT{ERROR_SUCCESS};
    return changeFailed(s, 1402, u"Could not register the product " + product.productCode + u".", product.productCode);
  });
}

void unstoreProduct(Session& session, const ChangeAction& action) {
  const std::u16string code = session.property(u"ProductCode");
  if (!wasInstalled(session)) return;
  action.add(u"", kOperationTicks, [code](Session& s, InstallJournal& j) {
    if (j.removeProduct(code) == ERROR_SUCCESS) return UINT{ERROR_SUCCESS};
    return changeFailed(s, 1402, u"Could not unregister the product " + code + u".", code);
  });
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
  const ChangeAction action(session, u"ProcessComponents");
  if (action.script() == nullptr) return ERROR_SUCCESS;
  for (const ComponentRow& component : session.components()) {
    if (component.action != INSTALLSTATE_UNKNOWN)
      action.add(actionData(action, session, u"Component: [1]", component.componentId), kOperationTicks / 4, nullptr);
  }
  return ERROR_SUCCESS;
}

UINT registerProductAction(Session& session) {
  const ChangeAction action(session, u"RegisterProduct");
  if (action.script() == nullptr || session.operation() == nullptr) return ERROR_SUCCESS;
  if (removingProduct(session)) {
    unregisterProduct(session, action);
  } else {
    registerProduct(session, action);
  }
  return ERROR_SUCCESS;
}

UINT registerUser(Session& session) {
  const ChangeAction action(session, u"RegisterUser");
  if (action.script() == nullptr || removingProduct(session)) return ERROR_SUCCESS;
  std::vector<registry::RegistryValue> values;
  const std::u16string user = session.property(u"USERNAME"), company = session.property(u"COMPANYNAME");
  if (!user.empty()) values.push_back(textValue(u"RegOwner", user));
  if (!company.empty()) values.push_back(textValue(u"RegCompany", company));
  if (values.empty()) return ERROR_SUCCESS;
  const registry::KeyPath key = uninstallKey(session);
  action.add(actionData(action, session, u"[1]", user), kOperationTicks,
             [key, values](Session& s, InstallJournal& j) { return writeValues(s, j, key, values); });
  return ERROR_SUCCESS;
}

UINT publishFeatures(Session& session) {
  if (removingProduct(session)) return ERROR_SUCCESS;
  featureOperations(session, u"PublishFeatures",
                    [](const FeatureRow& f) { return present(finalState(f.installed, f.action)); });
  return ERROR_SUCCESS;
}

UINT unpublishFeatures(Session& session) {
  featureOperations(session, u"UnpublishFeatures", [](const FeatureRow& f) {
    return present(f.installed) && !present(finalState(f.installed, f.action));
  });
  return ERROR_SUCCESS;
}

UINT publishProduct(Session& session) {
  const ChangeAction action(session, u"PublishProduct");
  if (action.script() == nullptr || session.operation() == nullptr) return ERROR_SUCCESS;
  if (removingProduct(session)) {
    unstoreProduct(session, action);
  } else {
    storeProduct(session, action);
  }
  return ERROR_SUCCESS;
}

}  // namespace emulated::installer
