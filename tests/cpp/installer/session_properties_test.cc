// Opening a package into a session, and the properties the session holds: the package's own, and the system
// properties of a default and of a configured machine.
#include <gtest/gtest.h>

#include "platform/emulated/products/installed_products.h"
#include "session_support.h"

namespace {

using session_test::Handle;
using session_test::packagePath;

struct PropertyCase { const char16_t* name; const char* value; };

class SessionProperties : public session_test::SessionTest {
 protected:
  void expectAll(std::initializer_list<PropertyCase> cases) {
    open();
    for (const PropertyCase& c : cases) EXPECT_EQ(property(c.name), c.value) << emulated::utf16ToUtf8(c.name);
  }
};

// A 32-bit Windows 10 with an administrator logged on; the package is per-machine (ALLUSERS=1), so the shared shell
// folders.
TEST_F(SessionProperties, OnADefaultMachine) {
  expectAll({
      {u"ProgramMenuFolder", "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\"}, {u"ProductState", "-1"},
      {u"StartMenuFolder", "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\"}, {u"WindowsFolder", "C:\\Windows\\"},
      {u"LocalAppDataFolder", "C:\\Users\\User\\AppData\\Local\\"}, {u"ProgramFilesFolder", "C:\\Program Files\\"},
      {u"CommonFilesFolder", "C:\\Program Files\\Common Files\\"}, {u"DesktopFolder", "C:\\Users\\Public\\Desktop\\"},
      {u"ProductCode", "{7A2E4C10-5B3D-4F6E-8A91-B2C3D4E5F607}"}, {u"SystemFolder", "C:\\Windows\\System32\\"},
      {u"TempFolder", "C:\\Users\\User\\AppData\\Local\\Temp\\"}, {u"Manufacturer", "Ornel Labs"}, {u"Installed", ""},
      {u"AppDataFolder", "C:\\Users\\User\\AppData\\Roaming\\"}, {u"ComputerName", "ORNEL-PC"}, {u"VersionNT64", ""},
      {u"SystemLanguageID", "1033"}, {u"ProductVersion", "2.0.1"}, {u"UserLanguageID", "1033"}, {u"Privileged", "1"},
      {u"WindowsBuild", "19045"}, {u"ServicePackLevel", "0"}, {u"VersionNT", "1000"}, {u"ROOTDRIVE", "C:\\"},
      {u"LogonUser", "User"}, {u"AdminUser", "1"}, {u"UILevel", "5"}, {u"Intel", "6"}});
  EXPECT_EQ(property(u"OriginalDatabase"), emulated::utf16ToUtf8(packagePath()));
  EXPECT_EQ(property(u"DATABASE"), emulated::utf16ToUtf8(packagePath()));
  EXPECT_EQ(property(u"Date").size() >= 8, true);
  EXPECT_EQ(property(u"Time").size(), 8u);
}

TEST_F(SessionProperties, OnAConfiguredMachineWithTheProductInstalled) {
  configure("windows64Bit=1\nwindowsMajor=6\nwindowsMinor=1\nwindowsBuild=7601\nwindowsServicePack=1\n"
            "userName=alice\ncomputerName=BUILD-07\nuserLanguage=1031\nsystemLanguage=1036\nuserIsAdmin=0\n");
  emulated::InstalledProduct product;
  product.productCode = u"{7A2E4C10-5B3D-4F6E-8A91-B2C3D4E5F607}";
  ASSERT_TRUE(emulated::saveInstalledProduct(product));
  expectAll({
      {u"CommonFilesFolder", "C:\\Program Files (x86)\\Common Files\\"}, {u"SystemFolder", "C:\\Windows\\SysWOW64\\"},
      {u"AppDataFolder", "C:\\Users\\alice\\AppData\\Roaming\\"}, {u"ProgramFiles64Folder", "C:\\Program Files\\"},
      {u"ProgramFilesFolder", "C:\\Program Files (x86)\\"}, {u"System64Folder", "C:\\Windows\\System32\\"},
      {u"ComputerName", "BUILD-07"}, {u"SystemLanguageID", "1036"}, {u"UserLanguageID", "1031"}, {u"Privileged", ""},
      {u"ServicePackLevel", "1"}, {u"WindowsBuild", "7601"}, {u"VersionNT64", "601"}, {u"LogonUser", "alice"},
      {u"ProductState", "5"}, {u"VersionNT", "601"}, {u"Installed", "1"}, {u"AdminUser", ""}});
}

TEST_F(SessionProperties, GetPropertySizing) {
  open();
  auto productName = [&](WCHAR* buffer, DWORD* size) { return MsiGetPropertyW(session_, u"ProductName", buffer, size); };
  msi_test::expectSizingRule(productName, u"Session Sample");
  // A property that is not set reads as empty.
  WCHAR buffer[4] = {u'x'};
  DWORD size = 1;
  EXPECT_EQ(MsiGetPropertyW(session_, u"NoSuchProperty", buffer, &size), ERROR_SUCCESS);
  EXPECT_EQ(std::make_pair(size, buffer[0]), std::make_pair(DWORD(0), WCHAR(0)));
  size = 4;
  EXPECT_EQ(MsiGetPropertyW(0, u"ProductName", buffer, &size), static_cast<UINT>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(MsiGetPropertyW(session_, nullptr, buffer, &size), static_cast<UINT>(ERROR_INVALID_PARAMETER));
}

TEST_F(SessionProperties, OpenGivesTheDocumentedCodes) {
  std::ofstream(hostPath("notes.txt")) << "not a package";
  Handle database;
  ASSERT_EQ(MsiOpenDatabaseW(packagePath().c_str(), MSIDBOPEN_READONLY, database.out()), ERROR_SUCCESS);
  const std::u16string byHandle = u"#" + emulated::utf8ToUtf16(std::to_string(database.value));
  struct Case { std::u16string path; UINT code; } cases[] = {
      {u"C:\\missing.msi", ERROR_INSTALL_PACKAGE_OPEN_FAILED}, {u"C:\\", ERROR_INSTALL_PACKAGE_OPEN_FAILED},
      {u"#99999", ERROR_INSTALL_PACKAGE_OPEN_FAILED}, {u"C:\\notes.txt", ERROR_INSTALL_PACKAGE_INVALID},
      {packagePath(), ERROR_SUCCESS}, {byHandle, ERROR_SUCCESS}};
  for (const Case& c : cases) {
    Handle session;
    EXPECT_EQ(MsiOpenPackageW(c.path.c_str(), session.out()), c.code) << emulated::utf16ToUtf8(c.path);
  }
  MSIHANDLE handle = 0;
  EXPECT_EQ(MsiOpenPackageW(nullptr, &handle), static_cast<UINT>(ERROR_INVALID_PARAMETER));
}

// A set replaces, an empty value removes, and only in its own session.
TEST_F(SessionProperties, SetChangesItsOwnSessionUntilClosed) {
  open();
  Handle other;
  ASSERT_EQ(MsiOpenPackageW(packagePath().c_str(), other.out()), ERROR_SUCCESS);
  set(u"ProductName", u"Renamed");
  set(u"NEWPROP", u"x");
  EXPECT_EQ(property(u"ProductName") + property(u"NEWPROP"), "Renamedx");
  DWORD size = 0;
  EXPECT_EQ(MsiGetPropertyW(other, u"NEWPROP", nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 0u);
  set(u"NEWPROP", u"");
  EXPECT_EQ(property(u"NEWPROP"), "");
  EXPECT_EQ(MsiSetPropertyW(session_, u"", u"x"), static_cast<UINT>(ERROR_FUNCTION_FAILED));
  EXPECT_EQ(MsiSetPropertyW(session_, nullptr, u"x"), static_cast<UINT>(ERROR_INVALID_PARAMETER));
  const MSIHANDLE closed = session_.value;
  EXPECT_EQ(session_.close(), ERROR_SUCCESS);
  EXPECT_EQ(MsiGetPropertyW(closed, u"ProductName", nullptr, &size), static_cast<UINT>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(MsiGetPropertyW(other, u"ProductName", nullptr, &size), ERROR_SUCCESS);
}

}  // namespace
