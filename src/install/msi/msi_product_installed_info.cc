#include "install/msi/msi_product_installed_info.h"

#include <stdexcept>

#include "install/msi/feature_info.h"
#include "install/msi/msi_strings.h"

namespace installer {
namespace msi_wrapper {

std::uint32_t readProductInfoString(const platform::wstring& productCode, const platform::wstring& property,
                                    platform::wstring& value) {
  return readSizedString(
      [&](LPWSTR buffer, LPDWORD size) {
        return MsiGetProductInfoW(productCode.c_str(), property.c_str(), buffer, size);
      },
      value);
}

namespace {

platform::wstring productProperty(const platform::wstring& productCode, const platform::wstring& property) {
  platform::wstring value;
  return readProductInfoString(productCode, property, value) == ERROR_SUCCESS ? value : platform::wstring();
}

}  // namespace

platform::wstring MsiProductInstalledInfo::getProductName() {
  return productProperty(productCode_, WIDE_TEXT("InstalledProductName"));
}

platform::wstring MsiProductInstalledInfo::getInstallDirectory() {
  return productProperty(productCode_, WIDE_TEXT("InstallLocation"));
}

platform::wstring MsiProductInstalledInfo::getMsiFilePath() {
  return productProperty(productCode_, WIDE_TEXT("LocalPackage"));
}

platform::wstring MsiProductInstalledInfo::getProperty(const platform::wstring& name) {
  return productProperty(productCode_, name);
}

std::uint32_t MsiProductInstalledInfo::getProductFeatures(std::vector<FeatureInfo>& features) {
  return readInstalledFeatures(productCode_, getMsiFilePath(), features);
}

std::vector<platform::wstring> MsiProductInstalledInfo::getCabFileNames() {
  throw std::logic_error("Not implemented");
}

bool isProductInstalled(const platform::wstring& productCode) {
  platform::wstring location;
  return readProductInfoString(productCode, WIDE_TEXT("InstallLocation"), location) == ERROR_SUCCESS;
}

std::unique_ptr<MsiProductInfoInterface> openMsiProductInstalledInfo(const platform::wstring& productCode,
                                                                      std::uint32_t& error) {
  if (!isProductInstalled(productCode)) return nullptr;
  error = 0;
  return std::make_unique<MsiProductInstalledInfo>(productCode);
}

std::uint32_t getRelatedProducts(const platform::wstring& upgradeCode, std::vector<platform::wstring>& products) {
  products.clear();
  WCHAR buffer[MAX_GUID_CHARS + 1] = {};
  const std::uint32_t code = MsiEnumRelatedProductsW(upgradeCode.c_str(), 0, 0, buffer);
  if (code == ERROR_SUCCESS) products.emplace_back(buffer);
  return code;
}

}  // namespace msi_wrapper
}  // namespace installer
