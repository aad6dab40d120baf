// The store of installed products and Windows Installer's queries over it.
#include "platform/emulated/products/installed_products.h"

#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "../support/temp_machine.h"
#include "msi_test_helpers.h"
#include "platform/windows.h"

namespace {

using emulated::InstalledProduct;

constexpr const char16_t* kProduct = u"{11111111-2222-3333-4444-555555555555}";
constexpr const char16_t* kOther = u"{99999999-2222-3333-4444-555555555555}";
constexpr const char16_t* kUpgrade = u"{AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE}";

class InstalledProducts : public test_support::TempMachineTest {
 protected:
  static InstalledProduct sample(const char16_t* code = kProduct) {
    return {code, u"Sample App", u"2.5.1", u"{00000000-0000-0000-0000-000000000001}", kUpgrade,
            u"C:\\Program Files\\Sample\\", u"C:\\Windows\\Installer\\1a2b.msi",
            {{u"Main", u"", INSTALLSTATE_LOCAL}, {u"Docs", u"Main", INSTALLSTATE_ABSENT},
             {u"Extras", u"Main", INSTALLSTATE_ADVERTISED}}, u"1033"};
  }

  static std::pair<UINT, std::u16string> info(const char16_t* product, const char16_t* property) {
    WCHAR buffer[128];
    DWORD size = 128;
    UINT code = MsiGetProductInfoW(product, property, buffer, &size);
    return {code, code == ERROR_SUCCESS ? std::u16string(buffer, size) : std::u16string()};
  }
};

TEST_F(InstalledProducts, ProductPropertiesComeFromTheStoreWithWindowsInstallerCodes) {
  ASSERT_TRUE(emulated::saveInstalledProduct(sample()));
  ASSERT_TRUE(emulated::saveInstalledProduct(sample(u"{ABCDEF00-2222-3333-4444-555555555555}")));
  const struct { const char16_t *product, *property; UINT code; const char16_t* value; } cases[] = {
      {kProduct, u"InstallLocation", 0, u"C:\\Program Files\\Sample\\"}, {kProduct, u"ProductName", 0, u"Sample App"},
      {kProduct, u"InstalledProductName", 0, u"Sample App"}, {kProduct, u"VersionString", 0, u"2.5.1"},
      {kProduct, u"LocalPackage", 0, u"C:\\Windows\\Installer\\1a2b.msi"}, {kProduct, u"VersionMinor", 0, u"5"},
      {kProduct, u"VersionMajor", 0, u"2"}, {kProduct, u"PackageCode", 0, u"{00000000-0000-0000-0000-000000000001}"},
      {u"{abcdef00-2222-3333-4444-555555555555}", u"VersionString", 0, u"2.5.1"},  // GUIDs ignore case
      {kOther, u"VersionString", ERROR_UNKNOWN_PRODUCT, u""}, {kProduct, u"NoSuchProperty", ERROR_UNKNOWN_PROPERTY, u""},
      {u"{not-a-guid}", u"VersionString", ERROR_INVALID_PARAMETER, u""},
      {u"11111111-2222-3333-4444-555555555555", u"VersionString", ERROR_INVALID_PARAMETER, u""},
  };
  for (const auto& c : cases) EXPECT_EQ(info(c.product, c.property), std::make_pair(c.code, std::u16string(c.value)));

  auto name = [](WCHAR* buffer, DWORD* size) { return MsiGetProductInfoW(kProduct, u"ProductName", buffer, size); };
  msi_test::expectSizingRule(name, u"Sample App");
}

TEST_F(InstalledProducts, RelatedProductsAndFeaturesAreEnumerated) {
  ASSERT_TRUE(emulated::saveInstalledProduct(sample()));
  ASSERT_TRUE(emulated::saveInstalledProduct(sample(kOther)));
  WCHAR code[39];
  for (DWORD i : {0u, 1u}) {
    EXPECT_EQ(MsiEnumRelatedProductsW(kUpgrade, 0, i, code), 0u);
    EXPECT_EQ(std::u16string(code), i == 0 ? kProduct : kOther);
  }
  EXPECT_EQ(MsiEnumRelatedProductsW(kUpgrade, 0, 2, code), static_cast<UINT>(ERROR_NO_MORE_ITEMS));
  EXPECT_EQ(MsiEnumRelatedProductsW(kProduct, 0, 0, code), static_cast<UINT>(ERROR_NO_MORE_ITEMS));
  EXPECT_EQ(MsiEnumRelatedProductsW(u"{bad}", 0, 0, code), static_cast<UINT>(ERROR_INVALID_PARAMETER));

  WCHAR feature[39], parent[39];
  EXPECT_EQ(MsiEnumFeaturesW(kProduct, 1, feature, parent), 0u);
  EXPECT_EQ(std::u16string(feature) + u"<" + parent, u"Docs<Main");
  EXPECT_EQ(MsiEnumFeaturesW(kProduct, 3, feature, parent), static_cast<UINT>(ERROR_NO_MORE_ITEMS));
  EXPECT_EQ(MsiEnumFeaturesW(u"{12345678-2222-3333-4444-555555555555}", 0, feature, parent),
            static_cast<UINT>(ERROR_UNKNOWN_PRODUCT));

  std::vector<INSTALLSTATE> states;
  for (const char16_t* name : {u"Main", u"Docs", u"Extras", u"None"}) states.push_back(MsiQueryFeatureStateW(kProduct, name));
  states.push_back(MsiQueryFeatureStateW(u"{x}", u"Main"));
  EXPECT_EQ(states, (std::vector<INSTALLSTATE>{INSTALLSTATE_LOCAL, INSTALLSTATE_ABSENT, INSTALLSTATE_ADVERTISED,
                                              INSTALLSTATE_UNKNOWN, INSTALLSTATE_INVALIDARG}));
}

TEST_F(InstalledProducts, AnInterruptedWriteLeavesThePreviousState) {
  ASSERT_TRUE(emulated::saveInstalledProduct(sample()));
  // A writer that died before its rename leaves only a temporary file.
  std::ofstream(root_ + "/installer/products/{11111111-2222-3333-4444-555555555555}.product.tmp.1")
      << "ProductCode={11111111-2222-3333-4444-555555555555}\nVersionStr";
  EXPECT_EQ(info(kProduct, u"VersionString").second, u"2.5.1");
  EXPECT_EQ(emulated::installedProducts().size(), 1u);
  EXPECT_TRUE(emulated::removeInstalledProduct(kProduct));
  EXPECT_FALSE(emulated::removeInstalledProduct(kProduct));
  EXPECT_EQ(info(kProduct, u"VersionString").first, static_cast<UINT>(ERROR_UNKNOWN_PRODUCT));
}

TEST_F(InstalledProducts, TwoProcessesWritingAtOnceLoseNothing) {
  constexpr int kPerProcess = 40;
  auto code = [](int process, int i) {
    char text[40];
    std::snprintf(text, sizeof text, "{%08X-2222-3333-4444-555555555555}", process * 1000 + i);
    return std::u16string(text, text + 38);
  };
  ASSERT_TRUE(inProcesses(2, [&](int p) {
    bool ok = true;
    for (int i = 0; i < kPerProcess; ++i) ok &= emulated::saveInstalledProduct(sample(code(p, i).c_str()));
    return ok;
  }));
  EXPECT_EQ(emulated::installedProducts().size(), 2u * kPerProcess);
}

}  // namespace
