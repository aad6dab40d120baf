// MsiProductInfo's package readers on real packages: the edge cases of the
// directory walk and the cabinets that script cannot set up.
#include <gtest/gtest.h>

#include "../support/test_packages.h"
#include "install/msi/msi_database.h"
#include "install/msi/msi_product_info_interface.h"
#include "install/msi/package_readers.h"

namespace {

using installer::msi_wrapper::MsiProductInfoInterface;
using installer::msi_wrapper::openMsiProductInfo;
using test_packages::fixture;

std::unique_ptr<MsiProductInfoInterface> productOf(const std::string& name) {
  std::uint32_t error = 12345;
  auto info = openMsiProductInfo(fixture(name), error);
  EXPECT_EQ(error, 0u) << name;
  return info;
}

TEST(MsiProductInfo, InstallDirectoryWalksTheLongNames) {
  struct Case {
    const char* package;
    const char16_t* expected;
  };
  const Case cases[] = {
      // INSTALLDIR > VENDOR|Some Vendor > "." (ProgramFilesFolder) > TARGETDIR.
      {"product", u"C:\\Program Files\\Some Vendor\\Some App\\"},
      // A "." below the top level is a segment like any other.
      {"install_dot_segment", u"C:\\Program Files\\Some Vendor\\.\\Some App\\"},
      // The folder under TARGETDIR is never looked at.
      {"install_under_appdata", u"C:\\Program Files\\Some Vendor\\Some App\\"},
      // The walk stops at the missing row and keeps INSTALLDIR's own name.
      {"install_missing_parent", u"C:\\Program Files\\Some App\\"},
      // A looping parent chain stops where it comes back.
      {"install_loop", u"C:\\Program Files\\Some Vendor\\Some App\\"},
      // Nothing from the walk: Manufacturer and ProductName, no trailing "\".
      {"install_under_target", u"C:\\Program Files\\Ornel Labs\\Ornel Sample"},
      {"no_install_dir", u"C:\\Program Files\\Ornel Labs\\Ornel Sample"},
      {"no_manufacturer", u""},
  };
  for (const Case& c : cases) {
    auto info = productOf(c.package);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->getInstallDirectory(), c.expected) << c.package;
  }
}

TEST(ResolveDirectoryPath, StopsWithACode) {
  struct Case {
    const char* package;
    std::uint32_t code;
    const char16_t* path;
  };
  const Case cases[] = {
      {"product", 0, u"Some Vendor\\Some App\\"},
      {"install_missing_parent", ERROR_NO_MORE_ITEMS, u"Some App\\"},
      {"install_loop", ERROR_INVALID_DATA, u"Some Vendor\\Some App\\"},
      {"no_install_dir", ERROR_NO_MORE_ITEMS, u""},
  };
  for (const Case& c : cases) {
    MSIHANDLE database = 0;
    ASSERT_EQ(MsiOpenDatabaseW(fixture(c.package).c_str(), MSIDBOPEN_READONLY, &database), 0u);
    platform::wstring path;
    EXPECT_EQ(installer::msi_wrapper::resolveDirectoryPath(database, u"INSTALLDIR", path), c.code) << c.package;
    EXPECT_EQ(path, c.path) << c.package;
    MsiCloseHandle(database);
  }
}

TEST(MsiProductInfo, CabinetsOutsideThePackage) {
  // Media rows: #product.cab (embedded), disk1.cab, and an empty name.
  EXPECT_EQ(productOf("product")->getCabFileNames(), std::vector<platform::wstring>{u"disk1.cab"});
  EXPECT_EQ(productOf("no_media")->getCabFileNames(), std::vector<platform::wstring>{});
}

}  // namespace
