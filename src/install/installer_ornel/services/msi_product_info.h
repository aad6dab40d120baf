// The `msi_product_info` service: the product in the default package.
// Every method works on the shared product information, so each throws
// "msiProductInfo error: <code>" while the package cannot be opened.
#pragma once

#include <cstdint>
#include <vector>

#include "install/installer_ornel/interop_helpers/binder.h"
#include "install/msi/conflicted_product.h"
#include "install/msi/feature_info.h"
#include "platform/windows.h"

namespace installer {

class MsiProductInfoService {
 public:
  static constexpr const char kName[] = "msi_product_info";

  platform::wstring getProductName();
  platform::wstring getInstallDirectory();
  platform::wstring getMsiFilePath();
  platform::wstring getProductCode();
  platform::wstring getProperty(const platform::wstring& name);
  // Fills `features` (an array rewritten in place); Windows Installer's code.
  std::uint32_t getProductFeatures(std::vector<msi_wrapper::FeatureInfo>& features);
  // 0 not determined, 1 fresh install, 2 installed from another package,
  // 3 upgrade of an installed related product, 4 installed with this package.
  std::int32_t getSetupType();
  std::vector<platform::wstring> getCabFileNames();
  // Any Windows Installer SQL on the package; [] when it fails.
  std::vector<std::vector<platform::wstring>> executeQuery(const platform::wstring& query);
  // The installed product related to the package, if any, into `info`.
  bool getConflictedProductInfo(msi_wrapper::ConflictedProductInfo& info);
  platform::wstring getRebrandingCode();
  platform::wstring getPremiumLink();

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {
    using node_interop::helpers::bindMethod;
    bindMethod(holder, "getProductName", &MsiProductInfoService::getProductName);
    bindMethod(holder, "getInstallDirectory", &MsiProductInfoService::getInstallDirectory);
    bindMethod(holder, "getMsiFilePath", &MsiProductInfoService::getMsiFilePath);
    bindMethod(holder, "getProductCode", &MsiProductInfoService::getProductCode);
    bindMethod(holder, "getProperty", &MsiProductInfoService::getProperty);
    bindMethod(holder, "getProductFeatures", &MsiProductInfoService::getProductFeatures);
    bindMethod(holder, "getSetupType", &MsiProductInfoService::getSetupType);
    bindMethod(holder, "getCabFileNames", &MsiProductInfoService::getCabFileNames);
    bindMethod(holder, "executeQuery", &MsiProductInfoService::executeQuery);
    bindMethod(holder, "getConflictedProductInfo", &MsiProductInfoService::getConflictedProductInfo);
    bindMethod(holder, "getRebrandingCode", &MsiProductInfoService::getRebrandingCode);
    bindMethod(holder, "getPremiumLink", &MsiProductInfoService::getPremiumLink);
  }
};

}  // namespace installer
