// Upgrade rules matched against installed products.
#include "install/msi/setup_type.h"

#include <gtest/gtest.h>

#include "../support/temp_machine.h"
#include "platform/emulated/products/installed_products.h"

namespace {

using namespace installer::msi_wrapper;

constexpr const char16_t* kUpgrade = u"{AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE}";

class UpgradeMatches : public test_support::TempMachineTest {
 protected:
  void installVersion(const char16_t* version) {
    emulated::InstalledProduct product;
    product.productCode = u"{11111111-2222-3333-4444-555555555555}";
    product.upgradeCode = kUpgrade;
    product.versionString = version;
    ASSERT_TRUE(emulated::saveInstalledProduct(product));
  }
  static bool matches(UpgradeEntry entry) { return !findInstalledUpgradeMatches({entry}).empty(); }
  static UpgradeEntry entry(std::int32_t attributes, const char16_t* min = nullptr, const char16_t* max = nullptr) {
    UpgradeEntry e;
    e.upgradeCode = kUpgrade;
    e.attributes = attributes;
    if (min) e.versionMin = min;
    if (max) e.versionMax = max;
    return e;
  }
};

TEST_F(UpgradeMatches, TheDefaultMinimumIsExclusive) {
  installVersion(u"0.0.0");
  EXPECT_FALSE(matches(entry(0)));
  EXPECT_TRUE(matches(entry(kUpgradeMinInclusive)));
}

TEST_F(UpgradeMatches, AMaximumMatchesOnlyWhenInclusive) {
  installVersion(u"2.0.0");
  EXPECT_FALSE(matches(entry(0, u"1.0.0", u"2.0.0")));
  EXPECT_TRUE(matches(entry(kUpgradeMaxInclusive, u"1.0.0", u"2.0.0")));
  EXPECT_FALSE(matches(entry(kUpgradeMaxInclusive, u"1.0.0", u"1.9.9")));
}

TEST_F(UpgradeMatches, DetectOnlyRowsNeverMatchAndOnlyMatchingRowsAreKept) {
  installVersion(u"1.5.0");
  EXPECT_FALSE(matches(entry(kUpgradeDetectOnly)));
  EXPECT_FALSE(matches(entry(kUpgradeDetectOnly | kUpgradeMinInclusive | kUpgradeMaxInclusive)));
  UpgradeEntry other = entry(0);
  other.upgradeCode = u"{BBBBBBBB-BBBB-CCCC-DDDD-EEEEEEEEEEEE}";
  auto found = findInstalledUpgradeMatches({other, entry(0, u"1.0.0", u"2.0.0")});
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].versionMin, u"1.0.0");
}

}  // namespace
