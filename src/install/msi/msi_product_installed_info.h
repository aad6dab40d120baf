// Installed products: what Windows Installer remembers of a product it has
// installed, and the queries that find such products.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "install/msi/msi_product_info_interface.h"
#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

// An installed product, by its product code. It holds no handle: every
// answer is a fresh query, and a property Windows Installer does not give
// (unknown product, unknown property, any other code) reads as "".
class MsiProductInstalledInfo : public MsiProductInfoInterface {
 public:
  explicit MsiProductInstalledInfo(platform::wstring productCode) : productCode_(std::move(productCode)) {}

  platform::wstring getProductName() override;       // InstalledProductName
  platform::wstring getInstallDirectory() override;  // InstallLocation
  platform::wstring getMsiFilePath() override;       // LocalPackage, the cached package
  platform::wstring getProductCode() override { return productCode_; }
  platform::wstring getProperty(const platform::wstring& name) override;
  // Installed products are never asked for their cabinets.
  std::vector<platform::wstring> getCabFileNames() override;  // throws "Not implemented"
  std::uint32_t getProductFeatures(std::vector<FeatureInfo>& features) override;
  // The package that is installed is this very product.
  std::int32_t getSetupType() override { return 4; }

 private:
  platform::wstring productCode_;
};

// True exactly when Windows Installer answers the product's
// InstallLocation, whatever the text.
bool isProductInstalled(const platform::wstring& productCode);

// The product, when it is installed; else nothing, and `error` is left as
// it was.
std::unique_ptr<MsiProductInfoInterface> openMsiProductInstalledInfo(const platform::wstring& productCode,
                                                                      std::uint32_t& error);

// The first installed product with this upgrade code, appended to the
// cleared `products`. Returns Windows Installer's code: 259 when there is
// none. Only the first is ever asked for.
std::uint32_t getRelatedProducts(const platform::wstring& upgradeCode, std::vector<platform::wstring>& products);

}  // namespace msi_wrapper
}  // namespace installer
