// The emulated registry through the advapi32 functions: result codes, the
// two-call sizing, names without regard to case, the value types, and two
// processes writing one key at once.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "../support/temp_machine.h"
#include "platform/emulated/registry/registry_store.h"
#include "platform/windows.h"

namespace {

class RegistryTest : public test_support::TempMachineTest {
 protected:
  HKEY create(HKEY parent, const char16_t* path, REGSAM access = KEY_ALL_ACCESS, DWORD* disposition = nullptr) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(parent, path, 0, nullptr, 0, access, nullptr, &key, disposition), ERROR_SUCCESS);
    return key;
  }
  static LONG setString(HKEY key, const char16_t* name, const std::u16string& text, DWORD type = REG_SZ) {
    return RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
  }
  static std::u16string getString(HKEY key, const char16_t* name) {
    DWORD size = 0;
    if (RegQueryValueExW(key, name, nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS) return u"<missing>";
    std::u16string text(size / sizeof(WCHAR), u'\0');
    RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<LPBYTE>(text.data()), &size);
    return text.substr(0, text.find(u'\0'));
  }
};

TEST_F(RegistryTest, KeysOpenCreateAndDeleteWithTheDocumentedCodes) {
  DWORD disposition = 0;
  HKEY product = create(HKEY_LOCAL_MACHINE, u"Software\\Maker\\Product", KEY_ALL_ACCESS, &disposition);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  RegCloseKey(create(HKEY_LOCAL_MACHINE, u"SOFTWARE\\maker\\PRODUCT", KEY_ALL_ACCESS, &disposition));
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);

  HKEY opened = nullptr;
  struct Case {
    HKEY parent;
    const char16_t* path;
    LONG code;
  };
  const Case opens[] = {
      {HKEY_LOCAL_MACHINE, u"software\\MAKER", ERROR_SUCCESS},
      {HKEY_LOCAL_MACHINE, u"Software\\Other", ERROR_FILE_NOT_FOUND},
      {HKEY_CURRENT_USER, u"Software\\Maker", ERROR_FILE_NOT_FOUND},
      {HKEY_LOCAL_MACHINE, u"\\Software", ERROR_BAD_PATHNAME},
      {HKEY_LOCAL_MACHINE, u"Software\\\\Maker", ERROR_BAD_PATHNAME},
      {reinterpret_cast<HKEY>(0x1234), u"x", ERROR_INVALID_HANDLE},
  };
  for (const Case& c : opens) {
    EXPECT_EQ(RegOpenKeyExW(c.parent, c.path, 0, KEY_READ, &opened), c.code);
    if (c.code == ERROR_SUCCESS) RegCloseKey(opened);
  }

  EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, u"Software\\Maker"), ERROR_ACCESS_DENIED);  // has a subkey
  EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, u"Software\\Maker\\Nothing"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, u"software\\maker\\product"), ERROR_SUCCESS);
  EXPECT_EQ(setString(product, u"v", u"x"), ERROR_KEY_DELETED);
  EXPECT_EQ(RegCloseKey(product), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(product), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);

  // What an installation takes back: each key that a create made.
  std::vector<emulated::registry::KeyPath> made;
  ASSERT_EQ(emulated::registry::createKey(*emulated::registry::parseKeyPath(u"HKLM\\software\\MAKER\\A\\B"), &made),
            ERROR_SUCCESS);
  ASSERT_EQ(made.size(), 2u);
  EXPECT_EQ(made[0].names, (std::vector<std::u16string>{u"software", u"MAKER", u"A"}));
  EXPECT_EQ(made[1].names.back(), u"B");
}

TEST_F(RegistryTest, QueryValueSizesInTwoCalls) {
  HKEY key = create(HKEY_CURRENT_USER, u"Software\\Maker");
  ASSERT_EQ(setString(key, u"InstallDir", u"C:\\Apps\\"), ERROR_SUCCESS);
  const DWORD needed = 9 * sizeof(WCHAR);

  DWORD type = 0, size = 0;
  EXPECT_EQ(RegQueryValueExW(key, u"installdir", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(size, needed);
  BYTE buffer[64];
  size = needed - 1;
  EXPECT_EQ(RegQueryValueExW(key, u"InstallDir", nullptr, nullptr, buffer, &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, needed);
  EXPECT_EQ(RegQueryValueExW(key, u"InstallDir", nullptr, nullptr, buffer, &size), ERROR_SUCCESS);
  EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t*>(buffer)), u"C:\\Apps\\");
  EXPECT_EQ(RegQueryValueExW(key, u"InstallDir", nullptr, nullptr, buffer, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegQueryValueExW(key, u"Missing", nullptr, nullptr, nullptr, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegQueryValueExW(key, nullptr, nullptr, nullptr, nullptr, &size), ERROR_FILE_NOT_FOUND);

  EXPECT_EQ(RegDeleteValueW(key, u"INSTALLDIR"), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteValueW(key, u"InstallDir"), ERROR_FILE_NOT_FOUND);
  RegCloseKey(key);
}

TEST_F(RegistryTest, EveryTypeComesBackAsWritten) {
  const DWORD dword = 0x01020304;
  const std::uint64_t qword = 0x1122334455667788ULL;
  const char16_t multi[] = u"one\0two\0";
  const BYTE binary[] = {0, 1, 0xFE, 0xFF, '\n', '\t'};
  struct Case {
    const char16_t* name;
    DWORD type;
    const void* data;
    DWORD size;
  };
  const Case cases[] = {
      {u"", REG_SZ, u"default", 16},
      {u"Path", REG_EXPAND_SZ, u"%ProgramFiles%\\X", 34},
      {u"List", REG_MULTI_SZ, multi, sizeof multi},
      {u"Count", REG_DWORD, &dword, 4},
      {u"Big", REG_QWORD, &qword, 8},
      {u"Blob\twith\\tab", REG_BINARY, binary, sizeof binary},
      {u"Empty", REG_BINARY, nullptr, 0},
  };
  HKEY key = create(HKEY_LOCAL_MACHINE, u"Software\\Types");
  for (const Case& c : cases) {
    ASSERT_EQ(RegSetValueExW(key, c.name, 0, c.type, static_cast<const BYTE*>(c.data), c.size), ERROR_SUCCESS);
  }
  for (DWORD i = 0; i < std::size(cases); ++i) {
    const Case& c = cases[i];
    WCHAR name[32];
    DWORD nameSize = 32, type = 0, size = 64;
    BYTE data[64];
    ASSERT_EQ(RegEnumValueW(key, i, name, &nameSize, nullptr, &type, data, &size), ERROR_SUCCESS);
    EXPECT_EQ(std::u16string(name, nameSize), c.name);
    EXPECT_EQ(type, c.type);
    ASSERT_EQ(size, c.size);
    // memcmp may not be given the null data of the empty value, even for 0 bytes.
    EXPECT_TRUE(c.size == 0 || std::memcmp(data, c.data, c.size) == 0) << i;
  }
  WCHAR name[4];
  DWORD nameSize = 4;
  EXPECT_EQ(RegEnumValueW(key, 1, name, &nameSize, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
  nameSize = 4;
  EXPECT_EQ(RegEnumValueW(key, std::size(cases), name, &nameSize, nullptr, nullptr, nullptr, nullptr),
            ERROR_NO_MORE_ITEMS);
  RegCloseKey(key);
}

TEST_F(RegistryTest, SubkeysEnumerateInOrderWithTheirOwnCase) {
  for (const char16_t* path : {u"Software\\Classes\\.txt", u"Software\\Classes\\text/plain", u"Software\\Classes\\Abc",
                               u"Software\\Classes\\zed", u"Software\\Classes\\50%"}) {
    RegCloseKey(create(HKEY_LOCAL_MACHINE, path));
  }
  HKEY classes = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, u"", 0, KEY_READ, &classes), ERROR_SUCCESS);
  std::vector<std::u16string> names;
  WCHAR name[32];
  DWORD size = 32;
  for (DWORD i = 0; RegEnumKeyExW(classes, i, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS; ++i) {
    names.emplace_back(name, size);
    size = 32;
  }
  EXPECT_EQ(names, (std::vector<std::u16string>{u".txt", u"50%", u"Abc", u"text/plain", u"zed"}));
  size = 3;
  EXPECT_EQ(RegEnumKeyExW(classes, 3, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
  RegCloseKey(classes);
}

TEST_F(RegistryTest, AccessRightsOfTheHandleAreEnforced) {
  RegCloseKey(create(HKEY_LOCAL_MACHINE, u"Software\\Locked"));
  HKEY reader = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Locked", 0, KEY_READ, &reader), ERROR_SUCCESS);
  EXPECT_EQ(setString(reader, u"v", u"x"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteValueW(reader, u"v"), ERROR_ACCESS_DENIED);
  HKEY child = nullptr;
  EXPECT_EQ(RegCreateKeyExW(reader, u"Child", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &child, nullptr),
            ERROR_ACCESS_DENIED);
  RegCloseKey(reader);
  HKEY writer = create(HKEY_LOCAL_MACHINE, u"Software\\Locked", KEY_SET_VALUE);
  EXPECT_EQ(setString(writer, u"v", u"x"), ERROR_SUCCESS);
  DWORD size = 0;
  EXPECT_EQ(RegQueryValueExW(writer, u"v", nullptr, nullptr, nullptr, &size), ERROR_ACCESS_DENIED);
  RegCloseKey(writer);
}

// Each process sets its own values in one key, one call at a time: every
// value of both must be there at the end.
TEST_F(RegistryTest, TwoProcessesWritingOneKeyLoseNothing) {
  constexpr int kValues = 60;
  RegCloseKey(create(HKEY_LOCAL_MACHINE, u"Software\\Shared"));
  ASSERT_TRUE(inProcesses(2, [](int p) {
    bool ok = true;
    for (int i = 0; i < kValues; ++i) {
      HKEY key = nullptr, own = nullptr;
      const std::u16string sub = u"Software\\Shared\\" + std::u16string(1, static_cast<char16_t>(u'A' + p));
      const std::string name = std::to_string(p) + "-" + std::to_string(i);
      ok = ok && RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Shared", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                 &key, nullptr) == ERROR_SUCCESS;
      ok = ok && setString(key, std::u16string(name.begin(), name.end()).c_str(), u"value") == ERROR_SUCCESS;
      ok = ok && RegCreateKeyExW(HKEY_LOCAL_MACHINE, sub.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &own,
                                 nullptr) == ERROR_SUCCESS;
      RegCloseKey(key);
      RegCloseKey(own);
    }
    return ok;
  }));
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Shared", 0, KEY_READ, &key), ERROR_SUCCESS);
  DWORD count = 0;
  WCHAR name[16];
  DWORD size = 16;
  while (RegEnumValueW(key, count, name, &size, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS) {
    ++count;
    size = 16;
  }
  EXPECT_EQ(count, 2u * kValues);
  size = 16;
  EXPECT_EQ(RegEnumKeyExW(key, 1, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(RegEnumKeyExW(key, 2, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_NO_MORE_ITEMS);
  RegCloseKey(key);
}

}  // namespace
