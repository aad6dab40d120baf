// FindRelatedProducts and MigrateFeatureStates (standard_actions.h), over
// the package's Upgrade table and the store of installed products, as the
// two actions and the Upgrade table document:
// - FindRelatedProducts: for each row, every installed product (other than
//   this one) with the row's UpgradeCode whose version lies in the row's
//   range and whose language the row's Language list accepts has its
//   product code appended to the row's ActionProperty, semicolon-separated.
//   The range: VersionMin (included with msidbUpgradeAttributesVersion-
//   MinInclusive, 0x100) to VersionMax (included with ...MaxInclusive,
//   0x200); a null bound is no bound, an empty one is 0; only the first
//   three fields of a version count. The Language list (decimal LANGIDs,
//   comma-separated) names the languages detected, or with
//   msidbUpgradeAttributesLanguagesExclusive (0x400) those not detected; a
//   null or empty list detects every language. msidbUpgradeAttributes-
//   OnlyDetect (2) changes nothing here (it keeps RemoveExistingProducts
//   from removing the product). The action runs only on a first
//   installation: with the product installed it changes nothing;
// - MigrateFeatureStates: on a first installation without a feature
//   preselected (ADDLOCAL, REMOVE, ...), the products that a row with
//   msidbUpgradeAttributesMigrateFeatures (1) found give their stored
//   feature states to the features of the same name, after CostFinalize;
// - RemoveExistingProducts: in an installation, each installed product
//   listed in the ActionProperty of a row without OnlyDetect is removed
//   from its cached package, nested in this installation (its changes in
//   this installation's journal, so that a rollback restores it). A
//   package session changes nothing.
#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/emulated/installer/install_operation.h"
#include "platform/emulated/installer/standard_actions.h"
#include "platform/emulated/products/installed_products.h"

namespace emulated::installer {

namespace {

constexpr int kMigrateFeatures = 0x1;
constexpr int kOnlyDetect = 0x2;
constexpr int kVersionMinInclusive = 0x100;
constexpr int kVersionMaxInclusive = 0x200;
constexpr int kLanguagesExclusive = 0x400;

struct UpgradeRow {
  std::u16string upgradeCode;
  std::optional<std::u16string> versionMin, versionMax;
  std::u16string languages;
  int attributes = 0;
  std::u16string actionProperty;
};

std::vector<UpgradeRow> upgradeRows(const Session& session) {
  std::vector<UpgradeRow> rows;
  const auto table = session.tables().select(
      "SELECT `UpgradeCode`, `VersionMin`, `VersionMax`, `Language`, `Attributes`, `ActionProperty` FROM `Upgrade`");
  if (!table) return rows;
  for (const TableRow& row : *table) {
    rows.push_back({fieldText(row, 0), row.size() > 1 ? row[1] : std::nullopt, row.size() > 2 ? row[2] : std::nullopt,
                    fieldText(row, 3), fieldNumber(row, 4, 0), fieldText(row, 5)});
  }
  return rows;
}

std::vector<std::u16string> split(const std::u16string& list, char16_t separator) {
  std::vector<std::u16string> items;
  size_t start = 0;
  while (start <= list.size()) {
    const size_t end = std::min(list.find(separator, start), list.size());
    if (end > start) items.push_back(list.substr(start, end - start));
    start = end + 1;
  }
  return items;
}

// The first three fields of a product version; missing ones are 0.
std::array<long, 3> versionFields(const std::u16string& version) {
  std::array<long, 3> fields{0, 0, 0};
  const std::vector<std::u16string> parts = split(version, u'.');
  for (size_t i = 0; i < parts.size() && i < fields.size(); ++i) fields[i] = fieldNumber(TableRow{parts[i]}, 0, 0);
  return fields;
}

bool inRange(const UpgradeRow& row, const std::u16string& version) {
  const auto have = versionFields(version);
  if (row.versionMin) {
    const auto min = versionFields(*row.versionMin);
    if (have < min || (have == min && !(row.attributes & kVersionMinInclusive))) return false;
  }
  if (row.versionMax) {
    const auto max = versionFields(*row.versionMax);
    if (have > max || (have == max && !(row.attributes & kVersionMaxInclusive))) return false;
  }
  return true;
}

bool languageAccepted(const UpgradeRow& row, const std::u16string& language) {
  const std::vector<std::u16string> listed = split(row.languages, u',');
  if (listed.empty()) return true;
  bool inList = false;
  for (const std::u16string& item : listed) inList = inList || (!language.empty() && item == language);
  return (row.attributes & kLanguagesExclusive) ? !inList : inList;
}

void appendToList(Session& session, const std::u16string& property, const std::u16string& productCode) {
  const std::u16string list = session.property(property);
  for (const std::u16string& item : split(list, u';')) {
    if (sameGuid(item, productCode)) return;
  }
  session.setProperty(property, list.empty() ? productCode : list + u";" + productCode);
}

bool firstInstallation(const Session& session) { return session.property(u"Installed").empty(); }

}  // namespace

UINT findRelatedProducts(Session& session) {
  if (!firstInstallation(session)) return ERROR_SUCCESS;
  const std::vector<UpgradeRow> rows = upgradeRows(session);
  if (rows.empty()) return ERROR_SUCCESS;
  const std::u16string self = session.property(u"ProductCode");
  const std::vector<InstalledProduct> products = installedProducts();
  for (const UpgradeRow& row : rows) {
    if (row.actionProperty.empty()) continue;
    for (const InstalledProduct& product : products) {
      if (!sameGuid(product.upgradeCode, row.upgradeCode) || sameGuid(product.productCode, self)) continue;
      if (inRange(row, product.versionString) && languageAccepted(row, product.language))
        appendToList(session, row.actionProperty, product.productCode);
    }
  }
  return ERROR_SUCCESS;
}

UINT migrateFeatureStates(Session& session) {
  if (!firstInstallation(session) || !session.property(u"Preselected").empty() || !session.costed())
    return ERROR_SUCCESS;
  std::map<std::u16string, INSTALLSTATE, std::less<>> states;
  for (const UpgradeRow& row : upgradeRows(session)) {
    if (!(row.attributes & kMigrateFeatures) || row.actionProperty.empty()) continue;
    for (const std::u16string& code : split(session.property(row.actionProperty), u';')) {
      const auto product = findInstalledProduct(code);
      if (!product) continue;
      for (const InstalledFeature& feature : product->features) states.emplace(feature.name, feature.state);
    }
  }
  if (!states.empty()) session.migrateFeatureActions(states);
  return ERROR_SUCCESS;
}

UINT removeExistingProducts(Session& session) {
  InstallOperation* operation = session.operation();
  if (operation == nullptr) return ERROR_SUCCESS;
  for (const UpgradeRow& row : upgradeRows(session)) {
    if ((row.attributes & kOnlyDetect) || row.actionProperty.empty()) continue;
    for (const std::u16string& code : split(session.property(row.actionProperty), u';')) {
      if (UINT result = operation->removeRelatedProduct(session, code)) return result;
    }
  }
  return ERROR_SUCCESS;
}

}  // namespace emulated::installer
