// Opening a session and its properties (session.h).
#include "platform/emulated/installer/session.h"

#include <sys/stat.h>

#include <cstdlib>

#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/msi.h"
#include "platform/emulated/msi_database/msi_database_open.h"
#include "platform/emulated/products/installed_products.h"

namespace emulated::installer {

namespace {

bool isRegularFile(const std::string& hostPath) {
  struct stat st;
  return !hostPath.empty() && ::stat(hostPath.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

template <class Row, class Index>
const Row* findByKey(const std::vector<Row>& rows, const Index& index, std::u16string_view key) {
  const auto found = index.find(key);
  return found == index.end() ? nullptr : &rows[found->second];
}

}  // namespace

Session::Session(std::shared_ptr<DatabaseObject> database, std::u16string path)
    : tables_(std::move(database)), packagePath_(std::move(path)) {}

std::shared_ptr<Session> Session::open(std::u16string_view windowsPath, int uiLevel, UINT& code,
                                      MessageChannel* sharedMessages) {
  // Windows tells a package it cannot reach (1619) from a file that is not
  // a package (1620); libmsi fails both the same way, so look first.
  const std::string hostPath = toHostPath(windowsPath);
  if (!isRegularFile(hostPath)) {
    code = ERROR_INSTALL_PACKAGE_OPEN_FAILED;
    return nullptr;
  }
  const std::u16string path = toWindowsPath(hostPath);
  std::shared_ptr<DatabaseObject> database = openDatabaseObject(path.c_str(), OpenMode{}, code);
  if (!database) {
    code = ERROR_INSTALL_PACKAGE_INVALID;
    return nullptr;
  }
  return openDatabase(std::move(database), path, uiLevel, code, sharedMessages);
}

std::shared_ptr<Session> Session::openDatabase(std::shared_ptr<DatabaseObject> database, std::u16string path,
                                               int uiLevel, UINT& code, MessageChannel* sharedMessages) {
  std::shared_ptr<Session> session(new Session(std::move(database), std::move(path)));
  code = session->load(uiLevel);
  if (code != ERROR_SUCCESS) return nullptr;
  if (sharedMessages == nullptr) session->messages_ = std::make_unique<MessageChannel>();
  session->channel_ = sharedMessages != nullptr ? sharedMessages : session->messages_.get();
  return session;
}

Session::~Session() { endOperation(ERROR_SUCCESS); }

void Session::endOperation(UINT result) {
  if (messages_) messages_->end(result, properties());
}

UINT Session::load(int uiLevel) {
  // A package has a Property table; a database without one is not a package.
  auto rows = tables_.select("SELECT `Property`, `Value` FROM `Property`");
  if (!rows) return ERROR_INSTALL_PACKAGE_INVALID;
  for (const TableRow& row : *rows) {
    const std::u16string name = fieldText(row, 0);
    if (!name.empty()) properties_[name] = fieldText(row, 1);
  }
  OpenContext context;
  context.packagePath = packagePath_;
  context.uiLevel = uiLevel;
  const auto productCode = properties_.find(u"ProductCode");
  context.installed = productCode != properties_.end() && findInstalledProduct(productCode->second).has_value();
  addSystemProperties(properties_, readMachineFacts(), context);
  return ERROR_SUCCESS;
}

std::u16string Session::property(std::u16string_view name) const {
  {
    std::lock_guard<std::mutex> guard(propertiesLock_);
    const auto it = properties_.find(name);
    if (it != properties_.end()) return it->second;
  }
  return clockProperty(name).value_or(std::u16string());
}

void Session::setProperty(std::u16string_view name, std::u16string_view value) {
  std::lock_guard<std::mutex> guard(propertiesLock_);
  if (value.empty()) {
    const auto it = properties_.find(name);
    if (it != properties_.end()) properties_.erase(it);
    return;
  }
  properties_[std::u16string(name)] = std::u16string(value);
}

PropertyMap Session::properties() const {
  std::lock_guard<std::mutex> guard(propertiesLock_);
  return properties_;
}

std::u16string Session::environment(std::u16string_view name) const {
  const char* value = std::getenv(utf16ToUtf8(name).c_str());
  return value == nullptr ? std::u16string() : utf8ToUtf16(value);
}

bool Session::featureStates(std::u16string_view feature, INSTALLSTATE* installed, INSTALLSTATE* action) const {
  const FeatureRow* row = findFeature(feature);
  if (row == nullptr) return false;
  if (installed != nullptr) *installed = row->installed;
  if (action != nullptr) *action = row->action;
  return true;
}

bool Session::componentStates(std::u16string_view component, INSTALLSTATE* installed, INSTALLSTATE* action) const {
  const ComponentRow* row = findComponent(component);
  if (row == nullptr) return false;
  if (installed != nullptr) *installed = row->installed;
  if (action != nullptr) *action = row->action;
  return true;
}

std::u16string Session::filePath(std::u16string_view fileKey, bool shortForm) const {
  const FileRow* file = findByKey(files_, fileIndex_, fileKey);
  if (file == nullptr || file->targetPath.empty()) return {};
  if (!shortForm) return file->targetPath;
  const std::u16string directory = componentDirectory(file->component);
  return directory.empty() ? std::u16string() : directory + file->shortName;
}

std::u16string Session::componentDirectory(std::u16string_view component) const {
  const ComponentRow* row = findComponent(component);
  if (row == nullptr) return {};
  const DirectoryRow* directory = findDirectory(row->directory);
  return directory == nullptr ? std::u16string() : directory->targetPath;
}

const DirectoryRow* Session::findDirectory(std::u16string_view key) const {
  return findByKey(directories_, directoryIndex_, key);
}
const FeatureRow* Session::findFeature(std::u16string_view key) const { return findByKey(features_, featureIndex_, key); }
const ComponentRow* Session::findComponent(std::u16string_view key) const {
  return findByKey(components_, componentIndex_, key);
}

}  // namespace emulated::installer
