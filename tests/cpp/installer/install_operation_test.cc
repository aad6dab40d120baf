// Installations and removals through MsiInstallProductW and
// MsiConfigureProductExW, watched by an external UI handler that records
// their messages and can cancel at one of them.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/emulated/installer/command_line.h"
#include "platform/emulated/installer/install_operation.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/msi_products.h"
#include "platform/emulated/msi_ui.h"
#include "platform/emulated/registry/registry_store.h"
#include "root_snapshot.h"
#include "session_support.h"

namespace {

using emulated::utf16ToUtf8;
using emulated::utf8ToUtf16;

constexpr const char16_t* kProduct = u"{5E1A7C3B-2D4F-4A68-9B0C-1D2E3F405161}";
constexpr const char16_t* kUpgrade = u"{5E1A7C3B-2D4F-4A68-9B0C-1D2E3F405162}";
constexpr const char16_t* kUninstallKey = u"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";

// Every message, whether a reset announced a rollback (a backward bar),
// and when to cancel. The bar itself, as the add-on reads it, is checked
// end to end by tests/js/install.test.js.
struct Watcher {
  std::vector<std::pair<UINT, std::string>> messages;
  size_t cancelAt = SIZE_MAX;
  std::function<void()> onFirstReport;
  bool sawBackwardReset = false;

  void progress(const std::string& text) {
    long long f[3] = {0, 0, 0};
    std::sscanf(text.c_str(), "1: %lld 2: %lld 3: %lld", &f[0], &f[1], &f[2]);
    if (f[0] == 0) sawBackwardReset = sawBackwardReset || f[2] == 1;
    if (f[0] == 2 && onFirstReport) std::exchange(onFirstReport, nullptr)();
  }
};

INT handler(LPVOID context, UINT type, LPCWSTR text) {
  auto* watcher = static_cast<Watcher*>(context);
  const std::string message = text ? utf16ToUtf8(text) : "";
  watcher->messages.emplace_back(type & 0xFF000000u, message);
  if ((type & 0xFF000000u) == INSTALLMESSAGE_PROGRESS) watcher->progress(message);
  return watcher->messages.size() - 1 == watcher->cancelAt ? IDCANCEL : IDOK;
}

class InstallOperationTest : public session_test::SessionTest {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    // What every Windows has.
    for (const char* folder : {"Program Files", "Windows", "Windows/Installer"})
      ::mkdir(hostPath(folder).c_str(), 0755);
    std::vector<emulated::registry::KeyPath> made;
    emulated::registry::createKey(*emulated::registry::parseKeyPath(kUninstallKey), &made);
    MsiSetExternalUIW(handler, 0xFFFFFFFF, &watcher_);
  }
  void TearDown() override {
    MsiSetExternalUIW(nullptr, 0, nullptr);
    SessionTest::TearDown();
  }

  // Every file under the root with its bytes, and every folder of the
  // drives and the registry; not the stores' lock files, nor machine.conf.
  test_support::Tree machine() const {
    test_support::Tree tree, kept;
    test_support::snapshot(root_, "", tree);
    for (const auto& [name, bytes] : tree) {
      const bool folder = name.back() == '/', lock = name.size() > 5 && name.substr(name.size() - 5) == ".lock";
      const bool drives = name.rfind("/drive_", 0) == 0 || name.rfind("/registry", 0) == 0;
      if (!lock && name != "/machine.conf" && (!folder || drives)) kept.emplace(name, bytes);
    }
    return kept;
  }

  // The watcher starts afresh, keeping when to cancel.
  void restart() {
    Watcher fresh;
    fresh.cancelAt = watcher_.cancelAt;
    fresh.onFirstReport = watcher_.onFirstReport;
    watcher_ = std::move(fresh);
  }
  UINT install(const std::string& package = "engine", const char16_t* commandLine = u"") {
    restart();
    return MsiInstallProductW(session_test::packagePath(package).c_str(), commandLine);
  }
  UINT remove(const char16_t* product = kProduct) {
    restart();
    return MsiConfigureProductExW(product, INSTALLLEVEL_DEFAULT, INSTALLSTATE_ABSENT, u"");
  }

  static std::string productInfo(const char16_t* product, const char16_t* property) {
    WCHAR value[300] = {0};
    DWORD size = 300;
    const UINT code = MsiGetProductInfoW(product, property, value, &size);
    return code == ERROR_SUCCESS ? utf16ToUtf8(std::u16string(value, size)) : "error " + std::to_string(code);
  }

  size_t count(UINT type) const {
    size_t n = 0;
    for (const auto& message : watcher_.messages) n += message.first == type;
    return n;
  }

  Watcher watcher_;
};

TEST(CommandLine, ParsesTheDocumentedFormsAndRefusesTheRest) {
  struct Case { const char16_t* text; UINT code; const char* settings; } cases[] = {  // settings: "NAME=value|..."
      {u"", ERROR_SUCCESS, ""}, {u"  INSTALLDIR=C:\\Apps\\X  ", ERROR_SUCCESS, "INSTALLDIR=C:\\Apps\\X|"},
      {u"A=1 B=\"two words\"\tC=\"\"", ERROR_SUCCESS, "A=1|B=two words|C=|"},
      {u"MYPROP=\"Embedded \"\"Quotes\"\" White Space\"", ERROR_SUCCESS, "MYPROP=Embedded \"Quotes\" White Space|"},
      {u"PROPERTY = \"string\"", ERROR_SUCCESS, "PROPERTY=string|"},
      {u"P=a\"b c\" _x.1=2", ERROR_SUCCESS, "P=ab c|_x.1=2|"}, {u"NOVALUE", ERROR_INVALID_COMMAND_LINE, ""},
      {u"A=", ERROR_INVALID_COMMAND_LINE, ""}, {u"=1", ERROR_INVALID_COMMAND_LINE, ""},
      {u"1A=1", ERROR_INVALID_COMMAND_LINE, ""}, {u"A=\"open", ERROR_INVALID_COMMAND_LINE, ""},
      {u"A=\"x\"B=1", ERROR_INVALID_COMMAND_LINE, ""}, {u"A=1 B", ERROR_INVALID_COMMAND_LINE, ""},
  };
  for (const Case& c : cases) {
    emulated::installer::PropertySettings settings;
    EXPECT_EQ(emulated::installer::parseCommandLine(c.text, &settings), c.code) << utf16ToUtf8(c.text);
    std::string text;
    for (const auto& [name, value] : settings) text += utf16ToUtf8(name) + "=" + utf16ToUtf8(value) + "|";
    EXPECT_EQ(text, c.settings) << utf16ToUtf8(c.text);
  }
}

// The features and files an installation leaves, and the product an upgrade leaves, are asserted through the
// scenario tool by tests/js/install.test.js; here, what Windows Installer answers about the product.
TEST_F(InstallOperationTest, InstallsRegistersAndRemovesLeavingNothing) {
  const auto before = machine();
  ASSERT_EQ(install(), ERROR_SUCCESS);
  EXPECT_EQ(productInfo(kProduct, INSTALLPROPERTY_VERSIONSTRING), "1.0.0");
  EXPECT_EQ(productInfo(kProduct, INSTALLPROPERTY_INSTALLLOCATION), "C:\\Program Files\\Engine Sample\\");
  const std::string cached = productInfo(kProduct, INSTALLPROPERTY_LOCALPACKAGE);
  EXPECT_EQ(cached.rfind("C:\\Windows\\Installer\\", 0), 0u) << cached;
  EXPECT_EQ(read(emulated::toHostPath(utf8ToUtf16(cached))),
            read(emulated::toHostPath(session_test::packagePath("engine"))));
  EXPECT_TRUE(exists(root_ + "/registry/HKEY_LOCAL_MACHINE/Software/Microsoft/Windows/CurrentVersion/Uninstall/" +
                     utf16ToUtf8(kProduct) + "/.values"));

  ASSERT_EQ(remove(), ERROR_SUCCESS);
  EXPECT_EQ(productInfo(kProduct, INSTALLPROPERTY_VERSIONSTRING), "error 1605");
  EXPECT_EQ(machine(), before);
}

// A cancel at each message of an installation and of a removal is swept
// by tests/js/cancel_sweep.test.js; here, failures of an action that runs
// at once and of one that the script runs.
TEST_F(InstallOperationTest, AFailingActionRollsBackToTheSameMachine) {
  const auto before = machine();
  for (const auto& [failAction, rollsBack] : {std::pair{"CostFinalize", false}, std::pair{"PublishProduct", true}}) {
    SCOPED_TRACE(failAction);
    configure(std::string("failAction=") + failAction + "\n");
    EXPECT_EQ(install(), ERROR_INSTALL_FAILURE);
    EXPECT_EQ(machine(), before);
    EXPECT_EQ(watcher_.sawBackwardReset, rollsBack);
    EXPECT_EQ(count(INSTALLMESSAGE_ERROR), 1u);
  }
}

// The codes that the scenario tool's install and uninstall reach are in
// tests/js/install.test.js; these are the ones no installer UI can send.
TEST_F(InstallOperationTest, ResultCodesOfTheDocumentedCases) {
  EXPECT_EQ(MsiConfigureProductExW(nullptr, 0, INSTALLSTATE_ABSENT, u""), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(MsiConfigureProductExW(kProduct, 0, INSTALLSTATE_ADVERTISED, u""), ERROR_CALL_NOT_IMPLEMENTED);

  // Same version again: maintenance, which REMOVE=ALL ends.
  ASSERT_EQ(install(), ERROR_SUCCESS);
  EXPECT_EQ(install("engine", u"REMOVE=ALL"), ERROR_SUCCESS);
  EXPECT_EQ(productInfo(kProduct, INSTALLPROPERTY_VERSIONSTRING), "error 1605");
}

TEST_F(InstallOperationTest, ASecondInstallationWhileOneRunsGets1618) {
  UINT second = 0;
  watcher_.onFirstReport = [&] {
    std::thread other([&] { second = MsiInstallProductW(session_test::packagePath("engine").c_str(), u""); });
    other.join();
  };
  EXPECT_EQ(install(), ERROR_SUCCESS);
  EXPECT_EQ(second, ERROR_INSTALL_ALREADY_RUNNING);
}

TEST_F(InstallOperationTest, AMajorUpgradeRemovesTheOlderProductAndACancelBringsItBack) {
  ASSERT_EQ(install(), ERROR_SUCCESS);
  watcher_.cancelAt = SIZE_MAX;
  ASSERT_EQ(install("engine_upgrade"), ERROR_SUCCESS);
  const size_t messages = watcher_.messages.size();
  ASSERT_EQ(remove(kUpgrade), ERROR_SUCCESS);
  ASSERT_EQ(install(), ERROR_SUCCESS);
  watcher_.cancelAt = messages - 2;
  EXPECT_EQ(install("engine_upgrade"), ERROR_INSTALL_USEREXIT);
  EXPECT_EQ(productInfo(kProduct, INSTALLPROPERTY_VERSIONSTRING), "1.0.0");
  EXPECT_EQ(productInfo(kUpgrade, INSTALLPROPERTY_VERSIONSTRING), "error 1605");
}

}  // namespace
