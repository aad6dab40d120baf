// The two inspection services over the default package.
#include "install/installer_ornel/services/msi_package_info.h"
#include "install/installer_ornel/services/msi_product_info.h"
#include "install/msi/default_package.h"
#include "install/msi/msi_package_info_interface.h"
#include "install/msi/package_queries.h"

namespace installer {

using msi_wrapper::getMsiProductInfo;

platform::wstring MsiProductInfoService::getProductName() { return getMsiProductInfo()->getProductName(); }

platform::wstring MsiProductInfoService::getInstallDirectory() {
  return getMsiProductInfo()->getInstallDirectory();
}

platform::wstring MsiProductInfoService::getMsiFilePath() { return getMsiProductInfo()->getMsiFilePath(); }

platform::wstring MsiProductInfoService::getProductCode() { return getMsiProductInfo()->getProductCode(); }

platform::wstring MsiProductInfoService::getProperty(const platform::wstring& name) {
  return getMsiProductInfo()->getProperty(name);
}

std::uint32_t MsiProductInfoService::getProductFeatures(std::vector<msi_wrapper::FeatureInfo>& features) {
  return getMsiProductInfo()->getProductFeatures(features);
}

std::int32_t MsiProductInfoService::getSetupType() { return getMsiProductInfo()->getSetupType(); }

std::vector<platform::wstring> MsiProductInfoService::getCabFileNames() {
  return getMsiProductInfo()->getCabFileNames();
}

std::vector<std::vector<platform::wstring>> MsiProductInfoService::executeQuery(const platform::wstring& query) {
  return msi_wrapper::readQueryRows(getMsiProductInfo()->getMsiFilePath(), query);
}

bool MsiProductInfoService::getConflictedProductInfo(msi_wrapper::ConflictedProductInfo& info) {
  return msi_wrapper::getConflictedProductInfo(info);
}

platform::wstring MsiProductInfoService::getRebrandingCode() {
  return msi_wrapper::readRebrandingCode(getMsiProductInfo()->getMsiFilePath());
}

platform::wstring MsiProductInfoService::getPremiumLink() {
  return msi_wrapper::readPremiumLink(getMsiProductInfo()->getMsiFilePath());
}

bool MsiPackageInfoService::isValid() {
  msi_wrapper::waitForPackageReady();
  return msi_wrapper::openMsiPackageInfo(msi_wrapper::defaultPackageFileName())->isValid();
}

platform::wstring MsiPackageInfoService::getPackageCode() {
  msi_wrapper::waitForPackageReady();
  return msi_wrapper::openMsiPackageInfo(msi_wrapper::defaultPackageFileName())->getPackageCode();
}

}  // namespace installer
