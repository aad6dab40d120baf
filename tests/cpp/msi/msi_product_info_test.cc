// MsiProductInfo's package readers on real packages: the directory walk's edge cases and cabinets script cannot set up;
// and where the default package lies, beside the host executable.
#include <gtest/gtest.h>

#include "../support/test_packages.h"
#include "install/msi/default_package.h"
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
  // product: INSTALLDIR > VENDOR|Some Vendor > "." (ProgramFilesFolder) > TARGETDIR. Below the top level a "."
  // is a segment like any other; the folder under TARGETDIR is never looked at; the walk stops at a missing
  // row (keeping INSTALLDIR's own name) or where a parent chain loops; a quote in a parent's name is a name like
  // any other (it once broke the walk's query). With nothing from the walk:
  // Manufacturer and ProductName, no trailing "\".
  const struct { const char* package; const char16_t* expected; } cases[] = {
      {"product", u"C:\\Program Files\\Some Vendor\\Some App\\"},
      {"install_dot_segment", u"C:\\Program Files\\Some Vendor\\.\\Some App\\"},
      {"install_quoted_parent", u"C:\\Program Files\\Some Vendor\\Some App\\"},  // parent Vendor'Dir
      {"install_under_appdata", u"C:\\Program Files\\Some Vendor\\Some App\\"},
      {"install_missing_parent", u"C:\\Program Files\\Some App\\"},
      {"install_loop", u"C:\\Program Files\\Some Vendor\\Some App\\"},
      {"install_under_target", u"C:\\Program Files\\Ornel Labs\\Ornel Sample"},
      {"no_install_dir", u"C:\\Program Files\\Ornel Labs\\Ornel Sample"}, {"no_manufacturer", u""},
  };
  for (const auto& c : cases) EXPECT_EQ(productOf(c.package)->getInstallDirectory(), c.expected) << c.package;
}

TEST(ResolveDirectoryPath, StopsWithACode) {
  const struct { const char* package; std::uint32_t code; const char16_t* path; } cases[] = {
      {"product", 0, u"Some Vendor\\Some App\\"}, {"install_quoted_parent", 0, u"Some Vendor\\Some App\\"},
      {"install_missing_parent", ERROR_NO_MORE_ITEMS, u"Some App\\"},
      {"install_loop", ERROR_INVALID_DATA, u"Some Vendor\\Some App\\"}, {"no_install_dir", ERROR_NO_MORE_ITEMS, u""},
  };
  for (const auto& c : cases) {
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

TEST(DefaultPackage, TheDirectoryOfTheHostExecutable) {
  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"C:\\Program Files\\Setup\\setup.exe", u"C:\\Program Files\\Setup"}, {u"C:\\Setup\\setup.exe", u"C:\\Setup"},
      {u"C:\\setup.exe", u"C:\\"}, {u"\\\\server\\share\\setup.exe", u"\\\\server\\share"}, {u"C:setup.exe", u"C:"},
      {u"Z:/usr/bin/node", u"Z:/usr/bin"}, {u"setup.exe", u""}, {u"\\setup.exe", u"\\"}};
  for (const auto& [path, directory] : cases) EXPECT_EQ(installer::msi_wrapper::directoryOfPath(path), directory);
}

}  // namespace
