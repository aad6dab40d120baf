// MsiDoActionW on the actions package (tests/fixtures/actions.sql): upgrade
// rules against the store, custom actions, searches over the registry and
// drive_c, and how the external UI and the log frame each action.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/emulated/products/installed_products.h"
#include "platform/emulated/registry/registry_store.h"
#include "session_support.h"

namespace {

using emulated::utf16ToUtf8;

std::vector<std::pair<UINT, std::string>> received;  // type and text of each message
int answerToActionStart = IDOK;

INT recorder(LPVOID, UINT type, LPCWSTR text) {
  received.push_back({type, utf16ToUtf8(text)});
  return (type & 0xFF000000) == INSTALLMESSAGE_ACTIONSTART ? answerToActionStart : IDOK;
}

class ActionsTest : public session_test::SessionTest {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    received.clear();
    answerToActionStart = IDOK;
    MsiSetExternalUIW(recorder, INSTALLLOGMODE_ERROR | INSTALLLOGMODE_ACTIONSTART, nullptr);
  }
  void TearDown() override {
    session_.close();
    MsiSetExternalUIW(nullptr, 0, nullptr);
    MsiEnableLogW(0, nullptr, 0);
    SessionTest::TearDown();
  }
  void openActions() { open(session_test::packagePath("actions")); }
  UINT run(const char16_t* action) { return MsiDoActionW(session_, action); }
  std::vector<std::string> texts(UINT type) const {
    std::vector<std::string> found;
    for (const auto& [messageType, text] : received) if (messageType == type) found.push_back(text);
    return found;
  }
  INSTALLSTATE requested(const char16_t* feature) {
    INSTALLSTATE installed, action;
    EXPECT_EQ(MsiGetFeatureStateW(session_, feature, &installed, &action), ERROR_SUCCESS);
    return action;
  }
};

// Code, name, version, package code, upgrade code, location, cached package, features, language, components.
void addProduct(const char16_t* code, const char16_t* upgradeCode, const char16_t* version, const char16_t* language) {
  const std::vector<emulated::InstalledFeature> features = {
      {u"Complete", u"", INSTALLSTATE_LOCAL}, {u"Tools", u"Complete", INSTALLSTATE_ABSENT},
      {u"Manuals", u"Complete", INSTALLSTATE_LOCAL}};
  ASSERT_TRUE(emulated::saveInstalledProduct({code, u"", version, u"", upgradeCode, u"", u"", features, language, {}}));
}

TEST_F(ActionsTest, FindRelatedProductsAppliesTheUpgradeAttributesAndMigratesFeatures) {
  const char16_t* related = u"{5D6E7F80-91A2-4B3C-8D4E-5F60718293A4}";
  addProduct(u"{A0000000-0000-4000-8000-000000000001}", related, u"1.5.0", u"1033");
  addProduct(u"{B0000000-0000-4000-8000-000000000002}", related, u"2.0.0.7", u"1033");  // the 4th field does not count
  addProduct(u"{C0000000-0000-4000-8000-000000000003}", related, u"3.0.1", u"1031");
  addProduct(u"{D0000000-0000-4000-8000-000000000004}", u"{11111111-2222-4333-8444-555555555555}", u"1.2.0", u"1031");
  openActions();
  ASSERT_EQ(run(u"FindRelatedProducts"), ERROR_SUCCESS);
  const std::string a = "{A0000000-0000-4000-8000-000000000001}", b = "{B0000000-0000-4000-8000-000000000002}",
                    c = "{C0000000-0000-4000-8000-000000000003}";
  const std::pair<const char16_t*, std::string> expected[] = {
      {u"OLDER", a},                // [1.0.0, 2.0.0)
      {u"INCLUSIVE", a + ";" + b},  // [1.0.0, 2.0.0]
      {u"NEWER", c},                // (2.0.0, ...), OnlyDetect
      {u"GERMANFRENCH", c},         // languages 1031, 1036
      {u"NOTGERMAN", a + ";" + b},  // every language but 1031
      {u"MIGRATED", a},             // up to 1.5.0 included, features migrated
  };
  for (const auto& [name, codes] : expected) EXPECT_EQ(property(name), codes) << utf16ToUtf8(name);

  // A's features: Manuals (level 3, not installed by default) comes in,
  // Tools (level 1) stays out.
  ASSERT_EQ(run(u"CostFinalize"), ERROR_SUCCESS);
  ASSERT_EQ(run(u"MigrateFeatureStates"), ERROR_SUCCESS);
  EXPECT_EQ(requested(u"Manuals"), INSTALLSTATE_LOCAL);
  EXPECT_EQ(requested(u"Tools"), INSTALLSTATE_UNKNOWN);
}

TEST_F(ActionsTest, CustomActionsByType) {
  // The action, its result, and the property it sets (or nullptr) with its value.
  const std::tuple<const char16_t*, UINT, const char16_t*, const char*> cases[] = {
      {u"SetGreeting", ERROR_SUCCESS, u"GREETING", "Hello Session Sample"},  // 51
      {u"SetVersionCopy", ERROR_SUCCESS, u"VERSIONCOPY", "2.0.1"},           // 51 + continue
      {u"SetLater", ERROR_SUCCESS, u"LATER", ""},                            // deferred: skipped
      {u"RunTool", ERROR_SUCCESS, nullptr, ""},                              // an executable: skipped
      {u"Refuse", ERROR_INSTALL_FAILURE, nullptr, ""},                       // 19
      {u"NoSuchAction", ERROR_FUNCTION_NOT_CALLED, nullptr, ""},
  };
  openActions();
  for (const auto& [action, code, name, value] : cases) {
    EXPECT_EQ(run(action), code) << utf16ToUtf8(action);
    if (name != nullptr) EXPECT_EQ(property(name), value) << utf16ToUtf8(action);
  }
  EXPECT_EQ(texts(INSTALLMESSAGE_ERROR), std::vector<std::string>{"Cannot go on: Session Sample"});
  EXPECT_EQ(texts(INSTALLMESSAGE_ACTIONSTART).size(), 5u);  // none for the unknown name

  // 35: the directory and everything below it move.
  ASSERT_EQ(run(u"CostFinalize"), ERROR_SUCCESS);
  ASSERT_EQ(run(u"SetAppDir"), ERROR_SUCCESS);
  EXPECT_EQ(property(u"INSTALLDIR"), "C:\\Apps\\Session Sample\\");
  EXPECT_EQ(property(u"BinDir"), "C:\\Apps\\Session Sample\\bin\\");
}

TEST_F(ActionsTest, FalseLaunchConditionFailsWithItsTextAndCancelEndsTheAction) {
  ASSERT_EQ(MsiEnableLogW(INSTALLLOGMODE_INFO, u"C:\\actions.log", 0), ERROR_SUCCESS);
  openActions();
  EXPECT_EQ(run(u"LaunchConditions"), ERROR_SUCCESS);
  set(u"BLOCKED", u"1");
  EXPECT_EQ(run(u"LaunchConditions"), ERROR_INSTALL_FAILURE);
  EXPECT_EQ(texts(INSTALLMESSAGE_ERROR), std::vector<std::string>{"Blocked on ORNEL-PC"});

  // The ActionText description, then the user's cancel.
  ASSERT_EQ(run(u"SetGreeting"), ERROR_SUCCESS);
  EXPECT_TRUE(std::regex_match(texts(INSTALLMESSAGE_ACTIONSTART).back(),
                               std::regex(R"(Action \d{1,2}:\d\d:\d\d: SetGreeting\. Greeting Session Sample)")));
  answerToActionStart = IDCANCEL;
  EXPECT_EQ(run(u"CostInitialize"), ERROR_INSTALL_USEREXIT);
  EXPECT_EQ(property(u"GREETING"), "Hello Session Sample");

  session_.close();
  const std::string log = read(hostPath("actions.log"));
  for (const char* line : {"LaunchConditions. Return value 1.", "LaunchConditions. Return value 3.",
                            "CostInitialize. Return value 2."}) {
    EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
  }
}

TEST_F(ActionsTest, AppSearchFindsRegistryValuesFilesAndDirectories) {
  namespace reg = emulated::registry;
  const auto key = reg::parseKeyPath(u"HKLM\\Software\\Ornel\\Session Sample");
  std::vector<reg::KeyPath> made;
  ASSERT_TRUE(key && reg::createKey(*key, &made) == ERROR_SUCCESS);
  const std::u16string directory = u"C:\\Apps\\Found";
  const std::string text(reinterpret_cast<const char*>(directory.c_str()), (directory.size() + 1) * 2);
  ASSERT_EQ(reg::setValue(*key, {u"InstallDir", REG_SZ, text}), ERROR_SUCCESS);
  ASSERT_EQ(reg::setValue(*key, {u"Build", REG_DWORD, std::string("\xF0\x05\0\0", 4)}), ERROR_SUCCESS);
  ASSERT_EQ(::system(("mkdir -p '" + hostPath("Apps/Found/data") + "' '" + hostPath("Tools/sub/deep") + "'").c_str()),
            0);
  std::ofstream(hostPath("Tools/TOOL.EXE")) << "x";  // below MinSize
  std::ofstream(hostPath("Tools/sub/deep/tool.exe")) << "a tool";

  openActions();
  set(u"GONE", u"kept");
  ASSERT_EQ(run(u"AppSearch"), ERROR_SUCCESS);
  const std::pair<const char16_t*, const char*> expected[] = {
      {u"FOUNDDIR", "C:\\Apps\\Found\\"},      {u"BUILD", "#1520"}, {u"TOOL", "C:\\Tools\\sub\\deep\\tool.exe"},
      {u"DATADIR", "C:\\Apps\\Found\\data\\"}, {u"GONE", "kept"},
  };
  for (const auto& [name, value] : expected) EXPECT_EQ(property(name), value) << utf16ToUtf8(name);
}

}  // namespace
