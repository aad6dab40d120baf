#include "install/msi/setup_type.h"

#include "install/msi/msi_package_info_interface.h"
#include "install/msi/msi_product_installed_info.h"
#include "install/msi/msi_product_version.h"
#include "install/msi/msi_strings.h"
#include "install/msi/msi_table_reader.h"
#include "install/msi/package_readers.h"

namespace installer {
namespace msi_wrapper {

namespace {

bool inRange(const MsiProductVersion& version, const UpgradeEntry& entry) {
  if (version < entry.versionMin) return false;
  if (version == entry.versionMin && !(entry.attributes & kUpgradeMinInclusive)) return false;
  if (version > entry.versionMax) return false;
  if (version == entry.versionMax && !(entry.attributes & kUpgradeMaxInclusive)) return false;
  return true;
}

}  // namespace

std::uint32_t readUpgradeRow(MSIHANDLE record, UpgradeEntry& entry) {
  platform::wstring text;
  std::uint32_t code = readRecordString(record, 1, entry.upgradeCode);
  if (code != ERROR_SUCCESS) return code;
  if ((code = readRecordString(record, 2, text)) != ERROR_SUCCESS) return code;
  if (!text.empty()) entry.versionMin = text;
  if ((code = readRecordString(record, 3, text)) != ERROR_SUCCESS) return code;
  if (!text.empty()) entry.versionMax = text;
  if ((code = readRecordString(record, 4, text)) != ERROR_SUCCESS) return code;
  entry.attributes = runtimeDecimal(text);
  return ERROR_SUCCESS;
}

std::uint32_t readUpgradeTable(MSIHANDLE database, std::vector<UpgradeEntry>& entries) {
  return readTableRows(
      database,
      WIDE_TEXT("SELECT Upgrade.UpgradeCode,Upgrade.VersionMin,Upgrade.VersionMax,Upgrade.Attributes FROM Upgrade"),
      [&entries](MSIHANDLE record) {
        UpgradeEntry entry;
        std::uint32_t code = readUpgradeRow(record, entry);
        if (code == ERROR_SUCCESS) entries.push_back(std::move(entry));
        return code;
      });
}

std::vector<UpgradeEntry> findInstalledUpgradeMatches(const std::vector<UpgradeEntry>& entries) {
  std::vector<UpgradeEntry> matches;
  for (const UpgradeEntry& entry : entries) {
    if (entry.attributes & kUpgradeDetectOnly) continue;
    std::vector<platform::wstring> products;
    if (getRelatedProducts(entry.upgradeCode, products) != ERROR_SUCCESS || products.empty()) continue;
    platform::wstring version;
    if (readProductInfoString(products[0], WIDE_TEXT("VersionString"), version) != ERROR_SUCCESS) continue;
    if (inRange(MsiProductVersion(version), entry)) matches.push_back(entry);
  }
  return matches;
}

bool getInstalledPackageCode(MSIHANDLE database, platform::wstring& packageCode, std::uint32_t& error) {
  platform::wstring productCode;
  error = readPackageProperty(database, WIDE_TEXT("ProductCode"), productCode);
  if (error != ERROR_SUCCESS) return false;
  error = readProductInfoString(productCode, WIDE_TEXT("PackageCode"), packageCode);
  if (error == ERROR_UNKNOWN_PRODUCT) {
    error = 0;
    return false;
  }
  return error == ERROR_SUCCESS;
}

std::int32_t getSetupType(MSIHANDLE database, MsiPackageInfoInterface& package) {
  platform::wstring installedPackageCode;
  std::uint32_t error = 0;
  const bool installed = getInstalledPackageCode(database, installedPackageCode, error);
  if (error != 0) return kSetupUndetermined;
  if (installed) {
    const platform::wstring packageCode = package.getPackageCode();
    if (packageCode.empty()) return kSetupUndetermined;
    return packageCode == installedPackageCode ? kSetupSamePackage : kSetupOtherPackage;
  }
  std::vector<UpgradeEntry> entries;
  if (readUpgradeTable(database, entries) != ERROR_SUCCESS) return kSetupUndetermined;
  return findInstalledUpgradeMatches(entries).empty() ? kSetupFresh : kSetupUpgrade;
}

}  // namespace msi_wrapper
}  // namespace installer
