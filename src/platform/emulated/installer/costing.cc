// The costing actions of a session (session.h): CostInitialize reads the
// directory, feature and component tables, FileCost the File table, and
// CostFinalize resolves the directories, chooses the feature and component
// states and gives every file its target path, as Windows Installer's
// CostInitialize, FileCost and CostFinalize actions do. Nothing here
// touches the disk: the emulated machine has room for everything.
#include "platform/emulated/installer/session.h"
#include "platform/emulated/products/installed_products.h"

namespace emulated::installer {

namespace {

std::vector<TableRow> rowsOf(const PackageTables& tables, const char* sql) {
  return tables.select(sql).value_or(std::vector<TableRow>());
}

template <class Row, class Index>
void indexRows(const std::vector<Row>& rows, Index& index) {
  index.clear();
  for (size_t i = 0; i < rows.size(); ++i) index.emplace(rows[i].key, i);
}

// "short|long" to the name in use: the long one, unless SHORTFILENAMES.
std::u16string pickName(std::u16string_view names, bool shortNames) {
  const size_t bar = names.find(u'|');
  if (bar == std::u16string_view::npos) return std::u16string(names);
  return std::u16string(shortNames ? names.substr(0, bar) : names.substr(bar + 1));
}

}  // namespace

UINT Session::costInitialize() {
  directories_.clear();
  for (const TableRow& row : rowsOf(tables_, "SELECT `Directory`, `Directory_Parent`, `DefaultDir` FROM `Directory`")) {
    DirectoryRow directory;
    directory.key = fieldText(row, 0);
    directory.parent = fieldText(row, 1);
    directory.defaultDir = fieldText(row, 2);
    directories_.push_back(std::move(directory));
  }
  features_.clear();
  for (const TableRow& row : rowsOf(tables_, "SELECT `Feature`, `Feature_Parent`, `Title`, `Display`, `Level`, "
                                             "`Directory_`, `Attributes` FROM `Feature`")) {
    FeatureRow feature;
    feature.key = fieldText(row, 0);
    feature.parent = fieldText(row, 1);
    feature.title = fieldText(row, 2);
    feature.display = fieldNumber(row, 3, 0);
    feature.level = fieldNumber(row, 4, 0);
    feature.directory = fieldText(row, 5);
    feature.attributes = fieldNumber(row, 6, 0);
    features_.push_back(std::move(feature));
  }
  components_.clear();
  for (const TableRow& row : rowsOf(tables_, "SELECT `Component`, `ComponentId`, `Directory_`, `Attributes`, "
                                             "`Condition`, `KeyPath` FROM `Component`")) {
    ComponentRow component;
    component.key = fieldText(row, 0);
    component.componentId = fieldText(row, 1);
    component.directory = fieldText(row, 2);
    component.attributes = fieldNumber(row, 3, 0);
    component.condition = fieldText(row, 4);
    component.keyPath = fieldText(row, 5);
    components_.push_back(std::move(component));
  }
  indexRows(directories_, directoryIndex_);
  indexRows(features_, featureIndex_);
  indexRows(components_, componentIndex_);
  linkFeatureComponents();
  initialized_ = true;
  costed_ = false;
  return ERROR_SUCCESS;
}

void Session::linkFeatureComponents() {
  for (const TableRow& row : rowsOf(tables_, "SELECT `Feature_`, `Component_` FROM `FeatureComponents`")) {
    const auto feature = featureIndex_.find(fieldText(row, 0));
    const auto component = componentIndex_.find(fieldText(row, 1));
    if (feature == featureIndex_.end() || component == componentIndex_.end()) continue;
    components_[component->second].features.push_back(feature->second);
  }
}

UINT Session::fileCost() {
  if (!initialized_) costInitialize();
  files_.clear();
  for (const TableRow& row : rowsOf(tables_, "SELECT `File`, `Component_`, `FileName`, `FileSize`, `Version`, "
                                             "`Language`, `Attributes`, `Sequence` FROM `File`")) {
    FileRow file;
    file.key = fieldText(row, 0);
    file.component = fieldText(row, 1);
    const std::u16string names = fieldText(row, 2);
    file.shortName = pickName(names, true);
    file.longName = pickName(names, false);
    file.size = fieldNumber(row, 3, 0);
    file.version = fieldText(row, 4);
    file.language = fieldText(row, 5);
    file.attributes = fieldNumber(row, 6, 0);
    file.sequence = fieldNumber(row, 7, 0);
    files_.push_back(std::move(file));
  }
  indexRows(files_, fileIndex_);
  filesCosted_ = true;
  return ERROR_SUCCESS;
}

UINT Session::costFinalize() {
  if (!filesCosted_) fileCost();
  placeInstalledComponents();
  const UINT resolved = resolveDirectories();
  if (resolved != ERROR_SUCCESS) return resolved;
  const UINT chosen = chooseFeatureStates();
  if (chosen != ERROR_SUCCESS) return chosen;
  chooseComponentStates();
  resolveFiles();
  costed_ = true;
  return ERROR_SUCCESS;
}

// An installed product's components stay where they were installed, as
// Windows keeps them by their registration: a folder chosen on the
// installation's command line is not on a removal's, so the folders of the
// installed components are set from the product's record before the tree
// is resolved.
void Session::placeInstalledComponents() {
  const auto product = findInstalledProduct(property(u"ProductCode"));
  if (!product) return;
  for (const InstalledComponent& installed : product->components) {
    const ComponentRow* component = findComponent(installed.component);
    if (component != nullptr && !installed.folder.empty()) setProperty(component->directory, installed.folder);
  }
}

void Session::resolveFiles() {
  const bool shortNames = !property(u"SHORTFILENAMES").empty();
  for (FileRow& file : files_) {
    const std::u16string directory = componentDirectory(file.component);
    file.targetPath = directory.empty() ? std::u16string() : directory + (shortNames ? file.shortName : file.longName);
  }
}

std::u16string defaultDirName(std::u16string_view defaultDir, bool source, bool shortNames) {
  const size_t colon = defaultDir.find(u':');
  std::u16string_view part = defaultDir;
  if (colon != std::u16string_view::npos) part = source ? defaultDir.substr(colon + 1) : defaultDir.substr(0, colon);
  const std::u16string name = pickName(part, shortNames);
  return name == u"." ? std::u16string() : name;
}

}  // namespace emulated::installer
