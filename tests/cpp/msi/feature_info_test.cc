// The feature tree of an installed product: its cached package, with what
// Windows Installer says is on the machine.
#include "install/msi/feature_info.h"

#include <gtest/gtest.h>

#include "../support/temp_machine.h"
#include "../support/test_packages.h"
#include "install/msi/msi_product_installed_info.h"
#include "platform/emulated/products/installed_products.h"

namespace {

using namespace installer::msi_wrapper;

constexpr const char16_t* kProduct = u"{11111111-2222-3333-4444-555555555555}";

class InstalledFeatures : public test_support::TempMachineTest {
 protected:
  void install(std::vector<emulated::InstalledFeature> features) {
    emulated::InstalledProduct product;
    product.productCode = kProduct;
    product.installLocation = u"C:\\App";
    product.localPackage = test_packages::fixture("features");
    product.features = std::move(features);
    ASSERT_TRUE(emulated::saveInstalledProduct(product));
  }
  static const FeatureInfo& named(const std::vector<FeatureInfo>& features, const char16_t* name) {
    for (const auto& feature : features) {
      if (feature.name == name) return feature;
    }
    throw std::runtime_error("no such feature");
  }
};

TEST_F(InstalledFeatures, EnabledWhenOnTheMachineAndHiddenWhenNotListed) {
  install({{u"Complete", u"", INSTALLSTATE_LOCAL}, {u"Docs", u"Complete", INSTALLSTATE_SOURCE},
           {u"Extras", u"Complete", INSTALLSTATE_ADVERTISED}});
  std::vector<FeatureInfo> features(7);
  ASSERT_EQ(MsiProductInstalledInfo(kProduct).getProductFeatures(features), 0u);
  ASSERT_EQ(features.size(), 3u);
  EXPECT_TRUE(named(features, u"Complete").enabled);
  EXPECT_TRUE(named(features, u"Docs").enabled);
  EXPECT_FALSE(named(features, u"Docs").visible) << "hidden by the package stays hidden";
  EXPECT_FALSE(named(features, u"Extras").enabled) << "advertised is not installed";
  EXPECT_TRUE(named(features, u"Extras").visible);

  install({{u"Complete", u"", INSTALLSTATE_LOCAL}});
  ASSERT_EQ(MsiProductInstalledInfo(kProduct).getProductFeatures(features), 0u);
  EXPECT_TRUE(named(features, u"Complete").visible);
  EXPECT_FALSE(named(features, u"Extras").visible) << "not listed by Windows Installer";
  EXPECT_FALSE(named(features, u"Extras").enabled);
}

TEST_F(InstalledFeatures, AMissingCachedPackageGivesItsCode) {
  std::vector<FeatureInfo> features(2);
  EXPECT_EQ(MsiProductInstalledInfo(kProduct).getProductFeatures(features), static_cast<std::uint32_t>(ERROR_OPEN_FAILED));
  EXPECT_TRUE(features.empty());
}

}  // namespace
