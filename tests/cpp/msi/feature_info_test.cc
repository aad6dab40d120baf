// The feature tree of an installed product: its cached package, with what Windows Installer says is on the machine.
#include "install/msi/feature_info.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

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
    ASSERT_TRUE(emulated::saveInstalledProduct(
        {kProduct, u"", u"", u"", u"", u"C:\\App", test_packages::fixture("features"), std::move(features), u""}));
  }
  // Each feature's name, enabled and visible, in the order given.
  static std::vector<std::tuple<platform::wstring, bool, bool>> states(const std::vector<FeatureInfo>& features) {
    std::vector<std::tuple<platform::wstring, bool, bool>> result;
    for (const auto& f : features) result.emplace_back(f.name, f.enabled, f.visible);
    std::sort(result.begin(), result.end());
    return result;
  }
};

TEST_F(InstalledFeatures, EnabledWhenOnTheMachineAndHiddenWhenNotListed) {
  install({{u"Complete", u"", INSTALLSTATE_LOCAL}, {u"Docs", u"Complete", INSTALLSTATE_SOURCE},
           {u"Extras", u"Complete", INSTALLSTATE_ADVERTISED}});
  std::vector<FeatureInfo> features(7);
  ASSERT_EQ(MsiProductInstalledInfo(kProduct).getProductFeatures(features), 0u);
  // Hidden by the package stays hidden; advertised is not installed.
  using State = std::tuple<platform::wstring, bool, bool>;
  EXPECT_EQ(states(features), (std::vector<State>{{u"Complete", 1, 1}, {u"Docs", 1, 0}, {u"Extras", 0, 1}}));
  install({{u"Complete", u"", INSTALLSTATE_LOCAL}});  // Extras is then not listed by Windows Installer
  ASSERT_EQ(MsiProductInstalledInfo(kProduct).getProductFeatures(features), 0u);
  EXPECT_EQ(states(features), (std::vector<State>{{u"Complete", 1, 1}, {u"Docs", 0, 0}, {u"Extras", 0, 0}}));
}

TEST_F(InstalledFeatures, AMissingCachedPackageGivesItsCode) {
  std::vector<FeatureInfo> features(2);
  EXPECT_EQ(MsiProductInstalledInfo(kProduct).getProductFeatures(features), static_cast<std::uint32_t>(ERROR_OPEN_FAILED));
  EXPECT_TRUE(features.empty());
}

}  // namespace
