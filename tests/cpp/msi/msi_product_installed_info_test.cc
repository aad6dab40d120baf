// Installed products as the product classes see them: their information, their feature tree (the cached
// package, with what Windows Installer says is on the machine), and the upgrade rules matched against them.
#include "install/msi/msi_product_installed_info.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "../support/temp_machine.h"
#include "../support/test_packages.h"
#include "../support/throws.h"
#include "install/msi/feature_info.h"
#include "install/msi/setup_type.h"
#include "platform/emulated/products/installed_products.h"

namespace {

using namespace installer::msi_wrapper;

constexpr const char16_t* kProduct = u"{11111111-2222-3333-4444-555555555555}";
constexpr const char16_t* kUpgrade = u"{AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE}";

class InstalledInfo : public test_support::TempMachineTest {
 protected:
  // Product `code` of kUpgrade, version 3.1.4 unless given, whose cached package is the features fixture.
  void install(const char16_t* code, const char16_t* location = u"C:\\App", const char16_t* version = u"3.1.4",
               std::vector<emulated::InstalledFeature> features = {}) {
    ASSERT_TRUE(emulated::saveInstalledProduct({code, u"App", version, u"", kUpgrade, location,
                                                test_packages::fixture("features"), std::move(features), u"", {}}));
  }
};

TEST_F(InstalledInfo, AnInstalledProductAnswersFromWindowsInstaller) {
  install(kProduct);
  std::uint32_t error = 77;
  auto info = openMsiProductInstalledInfo(kProduct, error);
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(error, 0u);
  EXPECT_EQ((std::vector<platform::wstring>{info->getProductName(), info->getInstallDirectory(), info->getMsiFilePath(),
                                            info->getProductCode(), info->getProperty(u"VersionString"),
                                            info->getProperty(u"NoSuchProperty")}),
            (std::vector<platform::wstring>{u"App", u"C:\\App", test_packages::fixture("features"), kProduct, u"3.1.4",
                                            u""}));
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

// Each feature's name, enabled and visible, sorted by name.
using FeatureState = std::tuple<platform::wstring, bool, bool>;
std::vector<FeatureState> states(const std::vector<FeatureInfo>& features) {
  std::vector<FeatureState> result;
  for (const auto& f : features) result.emplace_back(f.name, f.enabled, f.visible);
  std::sort(result.begin(), result.end());
  return result;
}

TEST_F(InstalledInfo, FeaturesAreEnabledWhenOnTheMachineAndHiddenWhenNotListed) {
  install(kProduct, u"C:\\App", u"", {{u"Complete", u"", INSTALLSTATE_LOCAL}, {u"Docs", u"Complete", INSTALLSTATE_SOURCE},
                                      {u"Extras", u"Complete", INSTALLSTATE_ADVERTISED}});
  std::vector<FeatureInfo> features(7);
  ASSERT_EQ(MsiProductInstalledInfo(kProduct).getProductFeatures(features), 0u);
  // Hidden by the package stays hidden; advertised is not installed.
  EXPECT_EQ(states(features), (std::vector<FeatureState>{{u"Complete", 1, 1}, {u"Docs", 1, 0}, {u"Extras", 0, 1}}));
  install(kProduct, u"C:\\App", u"", {{u"Complete", u"", INSTALLSTATE_LOCAL}});  // Extras is then not listed
  ASSERT_EQ(MsiProductInstalledInfo(kProduct).getProductFeatures(features), 0u);
  EXPECT_EQ(states(features), (std::vector<FeatureState>{{u"Complete", 1, 1}, {u"Docs", 0, 0}, {u"Extras", 0, 0}}));
}

TEST_F(InstalledInfo, AMissingCachedPackageGivesItsCode) {
  std::vector<FeatureInfo> features(2);
  EXPECT_EQ(MsiProductInstalledInfo(kProduct).getProductFeatures(features), static_cast<std::uint32_t>(ERROR_OPEN_FAILED));
  EXPECT_TRUE(features.empty());
}

UpgradeEntry entry(std::int32_t attributes, const char16_t* min = nullptr, const char16_t* max = nullptr,
                   const char16_t* upgradeCode = kUpgrade) {
  UpgradeEntry e;
  e.upgradeCode = upgradeCode;
  e.attributes = attributes;
  if (min) e.versionMin = min;
  if (max) e.versionMax = max;
  return e;
}

// The default minimum is exclusive, a maximum matches only when inclusive, a detect-only row never matches, and
// only the matching rows are kept.
TEST_F(InstalledInfo, UpgradeRulesMatchByBoundsAndAttributes) {
  const int both = kUpgradeMinInclusive | kUpgradeMaxInclusive;
  const struct { const char16_t* installed; UpgradeEntry entry; bool matches; } cases[] = {
      {u"0.0.0", entry(0), false}, {u"0.0.0", entry(kUpgradeMinInclusive), true},
      {u"2.0.0", entry(0, u"1.0.0", u"2.0.0"), false}, {u"2.0.0", entry(kUpgradeMaxInclusive, u"1.0.0", u"2.0.0"), true},
      {u"2.0.0", entry(kUpgradeMaxInclusive, u"1.0.0", u"1.9.9"), false}, {u"1.5.0", entry(kUpgradeDetectOnly), false},
      {u"1.5.0", entry(kUpgradeDetectOnly | both), false},
  };
  for (const auto& c : cases) {
    install(kProduct, u"", c.installed);
    EXPECT_EQ(!findInstalledUpgradeMatches({c.entry}).empty(), c.matches)
        << std::string(c.installed, c.installed + 5) << " " << c.entry.attributes;
  }
  const UpgradeEntry other = entry(0, nullptr, nullptr, u"{BBBBBBBB-BBBB-CCCC-DDDD-EEEEEEEEEEEE}");
  auto found = findInstalledUpgradeMatches({other, entry(0, u"1.0.0", u"2.0.0")});
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].versionMin, u"1.0.0");
}

}  // namespace
