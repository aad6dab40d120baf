// Installed products as the product classes see them.
#include "install/msi/msi_product_installed_info.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "../support/temp_machine.h"
#include "../support/throws.h"
#include "platform/emulated/products/installed_products.h"

namespace {

using namespace installer::msi_wrapper;

constexpr const char16_t* kProduct = u"{11111111-2222-3333-4444-555555555555}";
constexpr const char16_t* kUpgrade = u"{AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE}";

class InstalledInfo : public test_support::TempMachineTest {
 protected:
  void install(const char16_t* code, const char16_t* location = u"C:\\App") {
    emulated::InstalledProduct product;
    product.productCode = code;
    product.productName = u"App";
    product.versionString = u"3.1.4";
    product.upgradeCode = kUpgrade;
    product.installLocation = location;
    product.localPackage = u"C:\\Windows\\Installer\\x.msi";
    ASSERT_TRUE(emulated::saveInstalledProduct(product));
  }
};

TEST_F(InstalledInfo, AnInstalledProductAnswersFromWindowsInstaller) {
  install(kProduct);
  std::uint32_t error = 77;
  auto info = openMsiProductInstalledInfo(kProduct, error);
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(error, 0u);
  EXPECT_EQ(info->getProductName(), u"App");
  EXPECT_EQ(info->getInstallDirectory(), u"C:\\App");
  EXPECT_EQ(info->getMsiFilePath(), u"C:\\Windows\\Installer\\x.msi");
  EXPECT_EQ(info->getProductCode(), kProduct);
  EXPECT_EQ(info->getProperty(u"VersionString"), u"3.1.4");
  EXPECT_EQ(info->getProperty(u"NoSuchProperty"), u"");
  EXPECT_EQ(test_support::messageOf<std::logic_error>([&] { info->getCabFileNames(); }), "Not implemented");
}

TEST_F(InstalledInfo, AnUnknownProductIsNotInstalled) {
  std::uint32_t error = 77;
  EXPECT_FALSE(isProductInstalled(kProduct));
  EXPECT_EQ(openMsiProductInstalledInfo(kProduct, error), nullptr);
  EXPECT_EQ(error, 77u);
  EXPECT_FALSE(isProductInstalled(u"not a guid"));
  // An empty location still counts: only Windows Installer's code matters.
  install(kProduct, u"");
  EXPECT_TRUE(isProductInstalled(kProduct));
  MsiProductInstalledInfo gone(u"{99999999-2222-3333-4444-555555555555}");
  EXPECT_EQ(gone.getProductName(), u"");
}

TEST_F(InstalledInfo, OnlyTheFirstRelatedProductIsReported) {
  std::vector<platform::wstring> products{u"stale"};
  EXPECT_EQ(getRelatedProducts(kUpgrade, products), static_cast<std::uint32_t>(ERROR_NO_MORE_ITEMS));
  EXPECT_TRUE(products.empty());
  install(u"{22222222-2222-3333-4444-555555555555}");
  install(kProduct);
  EXPECT_EQ(getRelatedProducts(kUpgrade, products), 0u);
  EXPECT_EQ(products, std::vector<platform::wstring>{kProduct});
  EXPECT_EQ(getRelatedProducts(u"{bad}", products), static_cast<std::uint32_t>(ERROR_INVALID_PARAMETER));
}

}  // namespace
