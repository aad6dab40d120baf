#include "install/msi/conflicted_product.h"

#include "install/msi/default_package.h"
#include "install/msi/msi_database.h"
#include "install/msi/msi_product_installed_info.h"
#include "install/msi/msi_product_version.h"
#include "install/msi/msi_record.h"
#include "install/msi/msi_view.h"
#include "install/msi/setup_type.h"

namespace installer {
namespace msi_wrapper {

bool getConflictedProductInfo(ConflictedProductInfo& info) {
  SharedProductInfo package = getMsiProductInfo();
  std::uint32_t error = 0;
  std::unique_ptr<MsiDatabase> database = openMsiDatabase(package->getMsiFilePath(), 0, error);
  if (!database || error != 0) return false;
  std::unique_ptr<MsiView> view;
  if (database->openView(WIDE_TEXT("select UpgradeCode, Attributes from Upgrade where Attributes<>2"), view) !=
      ERROR_SUCCESS)
    return false;
  while (std::unique_ptr<MsiRecord> record = view->fetch()) {
    std::vector<platform::wstring> related;
    if (getRelatedProducts(record->getString(1), related) != ERROR_SUCCESS) continue;
    std::uint32_t ignored = 0;
    std::unique_ptr<MsiProductInfoInterface> installed = openMsiProductInstalledInfo(related[0], ignored);
    if (!installed) continue;
    const platform::wstring packageVersion = package->getProperty(WIDE_TEXT("ProductVersion"));
    const platform::wstring installedVersion = installed->getProperty(WIDE_TEXT("VersionString"));
    const std::int32_t attributes = record->getInteger(2);
    info.isBeta = attributes == kBetaAttributes;
    info.isTolv = attributes == kBetaAttributes || attributes == kFamilyAttributes;
    info.isTheSame = package->getSetupType() == kSetupSamePackage;
    info.productName = installed->getProductName();
    info.productCode = installed->getProductCode();
    info.isDowngrade = info.isTolv && isVersionStringLess(packageVersion, installedVersion);
    return true;
  }
  return false;
}

}  // namespace msi_wrapper
}  // namespace installer
