// The costing actions: the directory tree resolved from TARGETDIR and the folder properties, and the feature and
// component states chosen from INSTALLLEVEL, the feature levels, the Condition table, the preselecting properties and
// the store of installed products.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "platform/emulated/installer/session_handle.h"
#include "platform/emulated/installer/standard_actions.h"
#include "platform/emulated/products/installed_products.h"
#include "session_support.h"

namespace {

using emulated::installer::findSession;
using emulated::installer::runStandardAction;

class Costing : public session_test::SessionTest {
 protected:
  // Sets the properties ("NAME=VALUE" each) and runs the costing actions.
  UINT cost(const std::vector<std::u16string>& properties = {}) {
    open();
    for (const std::u16string& assignment : properties) {
      const size_t equals = assignment.find(u'=');
      set(assignment.substr(0, equals), assignment.substr(equals + 1));
    }
    auto& session = *findSession(session_);
    for (const char16_t* action : {u"CostInitialize", u"FileCost", u"CostFinalize"}) {
      const UINT code = runStandardAction(session, action);
      if (code != ERROR_SUCCESS) return code;
    }
    return ERROR_SUCCESS;
  }

  std::string targetPath(const char16_t* directory) const {
    WCHAR path[MAX_PATH];
    DWORD size = MAX_PATH;
    const UINT code = MsiGetTargetPathW(session_, directory, path, &size);
    return code == ERROR_SUCCESS ? emulated::utf16ToUtf8(path) : "<error " + std::to_string(code) + ">";
  }

  // The installed and action state of each name as two letters, blank-separated: V advertised (1), A absent (2), L
  // local (3), S source (4), - none.
  static char letter(INSTALLSTATE state) { return state >= 1 && state <= 4 ? "VALS"[state - 1] : '-'; }
  template <class Query>
  std::string states(std::initializer_list<const char16_t*> names, Query query) const {
    std::string text;
    for (const char16_t* name : names) {
      INSTALLSTATE installed = INSTALLSTATE_UNKNOWN, action = INSTALLSTATE_UNKNOWN;
      if (query(session_, name, &installed, &action) != ERROR_SUCCESS) return "<unknown>";
      text += std::string(text.empty() ? "" : " ") + letter(installed) + letter(action);
    }
    return text;
  }
  std::string featureStates() const {
    return states({u"Complete", u"Tools", u"Manuals", u"Expert", u"Disabled", u"Lifted", u"Dropped", u"ExpertHelp"},
                  MsiGetFeatureStateW);
  }
  std::string componentStates() const { return states({u"Main", u"Bin", u"Docs"}, MsiGetComponentStateW); }

};

constexpr const char* kApp = "C:\\Program Files\\Some Vendor\\Some App\\";

TEST_F(Costing, ResolvesTheNestedDirectoryTree) {
  struct Case { std::vector<std::u16string> properties; const char16_t* directory; std::string path; } cases[] = {
      {{}, u"TARGETDIR", "C:\\"}, {{}, u"ProgramFilesFolder", "C:\\Program Files\\"},
      {{}, u"VendorDir", "C:\\Program Files\\Some Vendor\\"}, {{}, u"INSTALLDIR", kApp},
      {{}, u"BinDir", std::string(kApp) + "bin\\"}, {{}, u"SameDir", kApp},
      {{}, u"DocsDir", std::string(kApp) + "Documentation\\"}, {{}, u"DataDir", std::string(kApp) + "App Data\\"},
      {{}, u"NoSuchDir", "<error 267>"},
      {{u"SHORTFILENAMES=1"}, u"DocsDir", "C:\\Program Files\\VENDOR\\APPDIR\\DOCS\\"},
      {{u"SHORTFILENAMES=1"}, u"DataDir", "C:\\Program Files\\VENDOR\\APPDIR\\DATA\\"},
      {{u"INSTALLDIR=D:\\Apps\\X"}, u"DocsDir", "D:\\Apps\\X\\Documentation\\"},
      {{u"INSTALLDIR=D:\\Apps\\X"}, u"VendorDir", "C:\\Program Files\\Some Vendor\\"},
      {{u"ProgramFilesFolder=E:\\"}, u"BinDir", "E:\\Some Vendor\\Some App\\bin\\"},
      {{u"TARGETDIR=F:\\Root"}, u"TARGETDIR", "F:\\Root\\"}, {{u"ROOTDRIVE=G:\\"}, u"TARGETDIR", "G:\\"}};
  for (const Case& c : cases) {
    session_.close();
    ASSERT_EQ(cost(c.properties), ERROR_SUCCESS);
    EXPECT_EQ(targetPath(c.directory), c.path) << emulated::utf16ToUtf8(c.directory);
  }
  // The directory properties hold the same paths, and the files lie in them.
  EXPECT_EQ(property(u"DocsDir"), targetPath(u"DocsDir"));
  const auto& session = *findSession(session_);
  EXPECT_EQ(emulated::utf16ToUtf8(session.filePath(u"readme", false)), std::string(kApp) + "Read Me.txt");
  EXPECT_EQ(emulated::utf16ToUtf8(session.filePath(u"readme", true)), std::string(kApp) + "README.TXT");
}

TEST_F(Costing, ComponentsFollowTheirFeaturesAndASecondCostingKeepsADirectorySetBeforeIt) {
  ASSERT_EQ(cost(), ERROR_SUCCESS);
  EXPECT_EQ(componentStates(), "AL AL A-");
  INSTALLSTATE installed, action;
  EXPECT_EQ(MsiGetFeatureStateW(session_, u"Nope", &installed, &action), static_cast<UINT>(ERROR_UNKNOWN_FEATURE));
  EXPECT_EQ(MsiGetComponentStateW(session_, u"Nope", &installed, &action), static_cast<UINT>(ERROR_UNKNOWN_COMPONENT));
  set(u"VendorDir", u"H:\\Vendor");
  ASSERT_EQ(runStandardAction(*findSession(session_), u"CostFinalize"), ERROR_SUCCESS);
  EXPECT_EQ(targetPath(u"INSTALLDIR"), "H:\\Vendor\\Some App\\");
  EXPECT_EQ(targetPath(u"ProgramFilesFolder"), "C:\\Program Files\\");
}

TEST_F(Costing, ATreeThatCannotBeResolvedFailsCostFinalize) {
  for (const char* fixture : {"install_loop", "install_missing_parent"}) {
    session_.close();
    open(session_test::packagePath(fixture));
    auto& session = *findSession(session_);
    EXPECT_EQ(runStandardAction(session, u"CostInitialize"), ERROR_SUCCESS);
    EXPECT_EQ(runStandardAction(session, u"CostFinalize"), static_cast<UINT>(ERROR_INSTALL_FAILURE)) << fixture;
  }
}

// Features in the order Complete, Tools (1), Manuals (3), Expert (1000), Disabled (0), Lifted (500, 1 when VersionNT
// >= 600), Dropped (1, 0 when DROPIT), ExpertHelp (1, under Expert).
TEST_F(Costing, ChoosesFeatureStates) {
  struct Case { const char* config; std::vector<std::u16string> properties; std::string features; } cases[] = {
      {"", {}, "AL AL A- A- A- AL AL A-"}, {"", {u"INSTALLLEVEL=3"}, "AL AL AL A- A- AL AL A-"},
      {"", {u"INSTALLLEVEL=1000"}, "AL AL AL AL A- AL AL AL"}, {"", {u"DROPIT=1"}, "AL AL A- A- A- AL A- A-"},
      {"windowsMajor=5\n", {}, "AL AL A- A- A- A- AL A-"}, {"", {u"ADDLOCAL=ExpertHelp"}, "AL A- A- AL A- A- A- AL"},
      {"", {u"ADDLOCAL=ALL"}, "AL AL AL AL A- AL AL AL"},
      {"", {u"ADDLOCAL=ALL", u"REMOVE=Tools,Manuals"}, "AL A- A- AL A- AL AL AL"},
      {"", {u"ADDSOURCE=Manuals"}, "AS A- AS A- A- A- A- A-"}, {"", {u"REMOVE=ALL"}, "A- A- A- A- A- A- A- A-"}};
  for (const Case& c : cases) {
    session_.close();
    configure(c.config);
    ASSERT_EQ(cost(c.properties), ERROR_SUCCESS);
    EXPECT_EQ(featureStates(), c.features) << c.config << (c.properties.empty() ? "" : "with properties");
    std::remove((root_ + "/machine.conf").c_str());
  }
  EXPECT_EQ(property(u"Preselected"), "1");
  session_.close();
  EXPECT_EQ(cost({u"ADDLOCAL=NoSuchFeature"}), static_cast<UINT>(ERROR_INSTALL_FAILURE));
}

TEST_F(Costing, KeepsOrRemovesAnInstalledProduct) {
  emulated::InstalledProduct product;
  product.productCode = u"{7A2E4C10-5B3D-4F6E-8A91-B2C3D4E5F607}";
  product.features = {{u"Complete", u"", INSTALLSTATE_LOCAL}, {u"Tools", u"Complete", INSTALLSTATE_LOCAL}};
  ASSERT_TRUE(emulated::saveInstalledProduct(product));
  struct Case { std::vector<std::u16string> properties; std::string features, components; } cases[] = {
      {{}, "L- L- A- A- A- A- A- A-", "L- L- A-"}, {{u"REMOVE=ALL"}, "LA LA A- A- A- A- A- A-", "LA LA A-"},
      {{u"ADDLOCAL=Manuals"}, "L- L- AL A- A- A- A- A-", "L- L- AL"}};
  for (const Case& c : cases) {
    session_.close();
    ASSERT_EQ(cost(c.properties), ERROR_SUCCESS);
    EXPECT_EQ(featureStates(), c.features);
    EXPECT_EQ(componentStates(), c.components);
  }
}

}  // namespace
