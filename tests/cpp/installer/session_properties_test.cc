// Opening a package into a session, and the properties the session holds:
// the package's own, and the system properties of a default and of a
// configured machine.
#include <gtest/gtest.h>

#include "platform/emulated/products/installed_products.h"
#include "session_support.h"

namespace {

using session_test::Handle;
using session_test::packagePath;

struct PropertyCase {
  const char16_t* name;
  const char* value;
};

class SessionProperties : public session_test::SessionTest {
 protected:
  void expectAll(std::initializer_list<PropertyCase> cases) {
    open();
    for (const PropertyCase& c : cases) EXPECT_EQ(property(c.name), c.value) << emulated::utf16ToUtf8(c.name);
  }
};

// A 32-bit Windows 10 with an administrator logged on; the package is
// per-machine (ALLUSERS=1), so the shared shell folders.
TEST_F(SessionProperties, OnADefaultMachine) {
  expectAll({
      {u"ProductCode", "{7A2E4C10-5B3D-4F6E-8A91-B2C3D4E5F607}"},
      {u"ProductName", "Session Sample"},
      {u"ProductVersion", "2.0.1"},
      {u"Manufacturer", "Ornel Labs"},
      {u"VersionNT", "1000"},
      {u"VersionNT64", ""},
      {u"WindowsBuild", "19045"},
      {u"ServicePackLevel", "0"},
      {u"WindowsFolder", "C:\\Windows\\"},
      {u"SystemFolder", "C:\\Windows\\System32\\"},
      {u"ProgramFilesFolder", "C:\\Program Files\\"},
      {u"CommonFilesFolder", "C:\\Program Files\\Common Files\\"},
      {u"TempFolder", "C:\\Users\\User\\AppData\\Local\\Temp\\"},
      {u"AppDataFolder", "C:\\Users\\User\\AppData\\Roaming\\"},
      {u"LocalAppDataFolder", "C:\\Users\\User\\AppData\\Local\\"},
      {u"DesktopFolder", "C:\\Users\\Public\\Desktop\\"},
      {u"ProgramMenuFolder", "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\"},
      {u"StartMenuFolder", "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\"},
      {u"ROOTDRIVE", "C:\\"},
      {u"ComputerName", "ORNEL-PC"},
      {u"LogonUser", "User"},
      {u"UserLanguageID", "1033"},
      {u"SystemLanguageID", "1033"},
      {u"Privileged", "1"},
      {u"AdminUser", "1"},
      {u"Intel", "6"},
      {u"UILevel", "5"},
      {u"Installed", ""},
      {u"ProductState", "-1"},
      {u"NoSuchProperty", ""},
  });
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
      {u"VersionNT", "601"},
      {u"VersionNT64", "601"},
      {u"WindowsBuild", "7601"},
      {u"ServicePackLevel", "1"},
      {u"SystemFolder", "C:\\Windows\\SysWOW64\\"},
      {u"System64Folder", "C:\\Windows\\System32\\"},
      {u"ProgramFilesFolder", "C:\\Program Files (x86)\\"},
      {u"ProgramFiles64Folder", "C:\\Program Files\\"},
      {u"CommonFilesFolder", "C:\\Program Files (x86)\\Common Files\\"},
      {u"AppDataFolder", "C:\\Users\\alice\\AppData\\Roaming\\"},
      {u"ComputerName", "BUILD-07"},
      {u"LogonUser", "alice"},
      {u"UserLanguageID", "1031"},
      {u"SystemLanguageID", "1036"},
      {u"Privileged", ""},
      {u"AdminUser", ""},
      {u"Installed", "1"},
      {u"ProductState", "5"},
  });
}

TEST_F(SessionProperties, SetReplacesAndEmptyRemoves) {
  open();
  set(u"ProductName", u"Renamed");
  set(u"NEWPROP", u"x");
  EXPECT_EQ(property(u"ProductName"), "Renamed");
  EXPECT_EQ(property(u"NEWPROP"), "x");
  set(u"NEWPROP", u"");
  EXPECT_EQ(property(u"NEWPROP"), "");
  EXPECT_EQ(MsiSetPropertyW(session_, u"", u"x"), static_cast<UINT>(ERROR_FUNCTION_FAILED));
  EXPECT_EQ(MsiSetPropertyW(session_, nullptr, u"x"), static_cast<UINT>(ERROR_INVALID_PARAMETER));
}

// ProductName is "Session Sample", 14 characters.
TEST_F(SessionProperties, GetPropertySizing) {
  open();
  struct Case {
    const char16_t* name;
    bool buffer;
    DWORD size;
    UINT code;
    DWORD sizeAfter;
    const char* text;
  } cases[] = {
      {u"ProductName", false, 0, ERROR_SUCCESS, 14, nullptr},
      {u"ProductName", true, 0, ERROR_MORE_DATA, 14, "untouched"},
      {u"ProductName", true, 14, ERROR_MORE_DATA, 14, "Session Sampl"},
      {u"ProductName", true, 15, ERROR_SUCCESS, 14, "Session Sample"},
      {u"NoSuchProperty", true, 1, ERROR_SUCCESS, 0, ""},
  };
  for (const Case& c : cases) {
    std::u16string buffer = u"untouched";
    buffer.resize(32, u'\0');
    DWORD size = c.size;
    EXPECT_EQ(MsiGetPropertyW(session_, c.name, c.buffer ? buffer.data() : nullptr, &size), c.code) << c.size;
    EXPECT_EQ(size, c.sizeAfter) << c.size;
    if (c.text != nullptr) {
      EXPECT_EQ(emulated::utf16ToUtf8(buffer.c_str()), c.text) << c.size;
    }
  }
  DWORD size = 4;
  WCHAR buffer[4];
  EXPECT_EQ(MsiGetPropertyW(0, u"ProductName", buffer, &size), static_cast<UINT>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(MsiGetPropertyW(session_, nullptr, buffer, &size), static_cast<UINT>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(MsiGetPropertyW(session_, u"ProductName", buffer, nullptr), static_cast<UINT>(ERROR_INVALID_PARAMETER));
}

TEST_F(SessionProperties, OpenGivesTheDocumentedCodes) {
  std::ofstream(hostPath("notes.txt")) << "not a package";
  Handle database;
  ASSERT_EQ(MsiOpenDatabaseW(packagePath().c_str(), MSIDBOPEN_READONLY, database.out()), ERROR_SUCCESS);
  const std::u16string byHandle = u"#" + emulated::utf8ToUtf16(std::to_string(database.value));
  struct Case {
    std::u16string path;
    UINT code;
  } cases[] = {
      {u"C:\\missing.msi", ERROR_INSTALL_PACKAGE_OPEN_FAILED},
      {u"C:\\", ERROR_INSTALL_PACKAGE_OPEN_FAILED},
      {u"#99999", ERROR_INSTALL_PACKAGE_OPEN_FAILED},
      {u"C:\\notes.txt", ERROR_INSTALL_PACKAGE_INVALID},
      {packagePath(), ERROR_SUCCESS},
      {byHandle, ERROR_SUCCESS},
  };
  for (const Case& c : cases) {
    Handle session;
    EXPECT_EQ(MsiOpenPackageW(c.path.c_str(), session.out()), c.code) << emulated::utf16ToUtf8(c.path);
  }
  MSIHANDLE handle = 0;
  EXPECT_EQ(MsiOpenPackageW(nullptr, &handle), static_cast<UINT>(ERROR_INVALID_PARAMETER));
}

TEST_F(SessionProperties, SessionsOnOnePackageAreIndependentUntilClosed) {
  Handle first, second;
  ASSERT_EQ(MsiOpenPackageW(packagePath().c_str(), first.out()), ERROR_SUCCESS);
  ASSERT_EQ(MsiOpenPackageW(packagePath().c_str(), second.out()), ERROR_SUCCESS);
  ASSERT_EQ(MsiSetPropertyW(first, u"ONLYFIRST", u"1"), ERROR_SUCCESS);
  DWORD size = 0;
  EXPECT_EQ(MsiGetPropertyW(second, u"ONLYFIRST", nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 0u);
  const MSIHANDLE closed = first.value;
  EXPECT_EQ(first.close(), ERROR_SUCCESS);
  EXPECT_EQ(MsiGetPropertyW(closed, u"ONLYFIRST", nullptr, &size), static_cast<UINT>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(MsiGetPropertyW(second, u"ProductName", nullptr, &size), ERROR_SUCCESS);
}

}  // namespace
