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
    ASSERT_TRUE(emulated::saveInstalledProduct(
        {u"{11111111-2222-3333-4444-555555555555}", u"", version, u"", kUpgrade, u"", u"", {}, u""}));
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

// The default minimum is exclusive, a maximum matches only when inclusive, a detect-only row never matches.
TEST_F(UpgradeMatches, BoundsAndAttributes) {
  const int both = kUpgradeMinInclusive | kUpgradeMaxInclusive;
  const struct {
    const char16_t* installed;
    UpgradeEntry entry;
    bool matches;
  } cases[] = {
      {u"0.0.0", entry(0), false}, {u"0.0.0", entry(kUpgradeMinInclusive), true},
      {u"2.0.0", entry(0, u"1.0.0", u"2.0.0"), false}, {u"2.0.0", entry(kUpgradeMaxInclusive, u"1.0.0", u"2.0.0"), true},
      {u"2.0.0", entry(kUpgradeMaxInclusive, u"1.0.0", u"1.9.9"), false}, {u"1.5.0", entry(kUpgradeDetectOnly), false},
      {u"1.5.0", entry(kUpgradeDetectOnly | both), false},
  };
  for (const auto& c : cases) {
    installVersion(c.installed);
    EXPECT_EQ(matches(c.entry), c.matches) << std::string(c.installed, c.installed + 5) << " " << c.entry.attributes;
  }
}

TEST_F(UpgradeMatches, OnlyMatchingRowsAreKept) {
  installVersion(u"1.5.0");
  UpgradeEntry other = entry(0);
  other.upgradeCode = u"{BBBBBBBB-BBBB-CCCC-DDDD-EEEEEEEEEEEE}";
  auto found = findInstalledUpgradeMatches({other, entry(0, u"1.0.0", u"2.0.0")});
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].versionMin, u"1.0.0");
}

}  // namespace
