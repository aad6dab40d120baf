// The actions that change the machine, driven directly: the script they write (ACTIONDATA texts, ticks), the machine
// after running it through a journal, rolled back, committed and removed; the file versioning rules; damaged cabinets.
#include <dirent.h>

#include <map>
#include <random>

#include "../support/temp_machine.h"
#include "root_snapshot.h"
#include "platform/emulated/installer/cabinet.h"
#include "platform/emulated/installer/file_versioning.h"
#include "platform/emulated/installer/install_journal.h"
#include "platform/emulated/installer/install_script.h"
#include "platform/emulated/installer/session.h"
#include "platform/emulated/installer/standard_actions.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/products/installed_products.h"

namespace {

using namespace emulated::installer;
using emulated::registry::KeyPath;
using test_support::Tree;
using test_support::snapshot;


const KeyPath kChanges{u"HKEY_LOCAL_MACHINE", {u"Software", u"Ornel", u"Changes"}};
const KeyPath kOld{u"HKEY_LOCAL_MACHINE", {u"Software", u"Ornel", u"Old"}};
const char* const kInstall[] = {"RemoveRegistryValues", "RemoveFiles",         "RemoveFolders",  "CreateFolders",
                                "InstallFiles",         "WriteRegistryValues", "CreateShortcuts"};
const char* const kRemove[] = {"RemoveShortcuts", "RemoveRegistryValues", "RemoveFiles", "RemoveFolders"};

std::string utf16(const std::string& ascii, bool terminated = true) {
  std::string out;
  for (char c : ascii) out += std::string{c, '\0'};
  return terminated ? out + std::string(2, '\0') : out;
}

class Changes : public test_support::TempMachineTest {
 protected:
  void SetUp() override {
    TempMachineTest::SetUp();
    for (const char* folder : {"Pkg", "Pkg/Ornel", "Pkg/Ornel/Changes", "Program Files"})
      ::mkdir(hostPath(folder).c_str(), 0755);
    const std::string package = read(std::string(MSI_FIXTURE_DIR) + "/changes.msi");
    std::ofstream(hostPath("Pkg/changes.msi"), std::ios::binary) << package;
    std::ofstream(hostPath("Pkg/Ornel/Changes/d.txt")) << "uncompressed d";
    // The external cabinet is the embedded one again: it holds c too.
    auto session = open();
    std::string cabinet;
    ASSERT_EQ(readCabinet(*session, u"#changes.cab", &cabinet), 0u);
    std::ofstream(hostPath("Pkg/external.cab"), std::ios::binary) << cabinet;
    std::vector<KeyPath> made;
    emulated::registry::createKey(kOld, &made);
    emulated::registry::setValue(kOld, {u"Stale", REG_SZ, utf16("x")});
    emulated::registry::setValue(kOld, {u"Paths", REG_MULTI_SZ, utf16("old") + std::string(2, '\0')});
  }

  std::shared_ptr<Session> open(INSTALLSTATE state = INSTALLSTATE_LOCAL) {
    UINT code = 1;
    auto session = Session::open(u"C:\\Pkg\\changes.msi", 2, code);
    EXPECT_EQ(code, 0u);
    EXPECT_EQ(session->costFinalize(), 0u);
    if (state == INSTALLSTATE_LOCAL) return session;
    // Removed: the product is installed, with its feature.
    emulated::InstalledProduct product;
    product.productCode = session->property(u"ProductCode");
    product.features = {{u"Complete", u"", INSTALLSTATE_LOCAL}};
    emulated::saveInstalledProduct(product);
    EXPECT_EQ(session->costFinalize(), 0u);
    session->migrateFeatureActions({{u"Complete", state}});
    return session;
  }

  // Writes the actions' script; "ACTION|ticks|text" per operation with a text.
  std::vector<std::string> write(Session& session, InstallScript& script, const std::vector<const char*>& actions) {
    session.setScript(&script);
    for (const char* action : actions) EXPECT_EQ(runStandardAction(session, emulated::utf8ToUtf16(action)), 0u);
    std::vector<std::string> texts;
    for (const ScriptAction& action : script.actions()) {
      for (const ScriptOperation& op : action.operations) {
        if (!op.actionData.empty())
          texts.push_back(emulated::utf16ToUtf8(action.name + u"|" + emulated::utf8ToUtf16(std::to_string(op.ticks)) +
                                                u"|" + op.actionData));
      }
    }
    return texts;
  }

  UINT run(const std::vector<const char*>& actions, INSTALLSTATE state, bool commit) {
    auto session = open(state);
    InstallScript script;
    write(*session, script, actions);
    UINT code = 1;
    auto journal = InstallJournal::begin(&code);
    for (const ScriptAction& action : script.actions()) {
      for (const ScriptOperation& op : action.operations) if (code == 0) code = op.run(*session, *journal);
    }
    if (commit && code == 0) journal->commit();
    else journal->rollBack(nullptr);
    return code;
  }

  Tree state() const {
    Tree tree;
    snapshot(root_ + "/drive_c", "", tree);
    snapshot(root_ + "/registry", "", tree);
    return tree;
  }

  std::string value(const KeyPath& key, const char16_t* name) {
    emulated::registry::RegistryValue v;
    if (emulated::registry::queryValue(key, name, &v) != 0) return "<none>";
    return std::to_string(v.type) + ":" + v.data;
  }
};

TEST_F(Changes, TheScriptCarriesTheDocumentedTextsAndTicks) {
  auto session = open();
  InstallScript script;
  const auto texts = write(*session, script, {std::begin(kInstall), std::end(kInstall)});
  const std::vector<std::string> expected = {
      "RemoveRegistryValues|4096|Key: HKEY_LOCAL_MACHINE\\Software\\Ornel\\Old, Name: Stale",
      "CreateFolders|4096|Folder: C:\\Program Files\\Ornel\\Changes\\Data\\",
      "InstallFiles|39|File: a.txt,  Directory: C:\\Program Files\\Ornel\\Changes\\,  Size: 39",
      "InstallFiles|4|File: b.bin,  Directory: C:\\Program Files\\Ornel\\Changes\\,  Size: 4",
      "InstallFiles|39|File: c.txt,  Directory: C:\\Program Files\\Ornel\\Changes\\,  Size: 39",
      "InstallFiles|39|File: d.txt,  Directory: C:\\Program Files\\Ornel\\Changes\\,  Size: 39",
      "WriteRegistryValues|4096|Key: HKEY_LOCAL_MACHINE\\Software\\Ornel\\Changes, Name: Path, Value: C:\\Program "
      "Files\\Ornel\\Changes\\",
      "WriteRegistryValues|4096|Key: HKEY_LOCAL_MACHINE\\Software\\Ornel\\Changes, Name: Count, Value: #42",
      "CreateShortcuts|4096|Shortcut: Read me"};
  for (const std::string& text : expected) EXPECT_NE(std::find(texts.begin(), texts.end(), text), texts.end()) << text;
  EXPECT_EQ(texts.size(), 15u);
  long long total = 0;
  for (const auto& action : script.actions()) for (const auto& op : action.operations) total += op.ticks;
  EXPECT_EQ(script.totalTicks(), total);

  // A package session has no script: the actions change nothing.
  auto plain = open();
  for (const char* action : kInstall) EXPECT_EQ(runStandardAction(*plain, emulated::utf8ToUtf16(action)), 0u);
}

TEST_F(Changes, InstallRollBackCommitAndRemove) {
  const Tree before = state();
  ASSERT_EQ(run({std::begin(kInstall), std::end(kInstall)}, INSTALLSTATE_LOCAL, false), 0u);
  EXPECT_TRUE(state() == before);

  ASSERT_EQ(run({std::begin(kInstall), std::end(kInstall)}, INSTALLSTATE_LOCAL, true), 0u);
  const std::string app = "Program Files/Ornel/Changes/";
  const std::string readme = read(std::string(INSTALLER_FIXTURE_SOURCE_DIR) + "/files/readme.txt");
  EXPECT_EQ(read(hostPath(app + "a.txt")), readme);
  EXPECT_EQ(read(hostPath(app + "c.txt")), readme);
  EXPECT_EQ(read(hostPath(app + "d.txt")), "uncompressed d");
  EXPECT_EQ(read(hostPath(app + "b.bin")), read(std::string(INSTALLER_FIXTURE_SOURCE_DIR) + "/files/blob.bin"));
  EXPECT_TRUE(exists(hostPath(app + "Data")));
  EXPECT_EQ(read(hostPath("ProgramData/Microsoft/Windows/Start Menu/Programs/Ornel Changes/Read me.lnk")),
            "Target=C:\\Program Files\\Ornel\\Changes\\a.txt\r\nArguments=/view\r\n"
            "WorkingDirectory=C:\\Program Files\\Ornel\\Changes\\\r\nDescription=The notes\r\n");
  const std::map<const char16_t*, std::string> values = {
      {u"Count", "4:" + std::string("\x2a\0\0\0", 4)}, {u"Bytes", "3:" + std::string("\x00\xaf\xf1", 3)},
      {u"Expand", "2:" + utf16("%TEMP%\\x")}, {u"Hash", "1:" + utf16("#1")},
      {u"List", "7:" + utf16("a") + utf16("b") + std::string(2, '\0')},
  };
  for (const auto& [name, bytes] : values) EXPECT_EQ(value(kChanges, name), bytes) << emulated::utf16ToUtf8(name);
  EXPECT_EQ(value(kOld, u"Paths"), "7:" + utf16("old") + utf16("new") + std::string(2, '\0'));
  EXPECT_EQ(value(kOld, u"Stale"), "<none>");
  EXPECT_TRUE(emulated::registry::keyExists({u"HKEY_LOCAL_MACHINE", {u"Software", u"Ornel", u"Changes", u"Empty"}}));

  // Removed: the files (and the logs the RemoveFile table names), folders, shortcut and the package's own keys go.
  std::ofstream(hostPath(app + "run.LOG")) << "written by the product";
  ASSERT_EQ(run({std::begin(kRemove), std::end(kRemove)}, INSTALLSTATE_ABSENT, true), 0u);
  EXPECT_FALSE(exists(hostPath("Program Files/Ornel")));
  EXPECT_FALSE(exists(hostPath("ProgramData/Microsoft/Windows/Start Menu/Programs/Ornel Changes")));
  EXPECT_TRUE(exists(hostPath("ProgramData/Microsoft/Windows/Start Menu/Programs")));
  std::vector<std::u16string> left;
  emulated::registry::subkeyNames({u"HKEY_LOCAL_MACHINE", {u"Software", u"Ornel"}}, &left);
  EXPECT_EQ(left, std::vector<std::u16string>{u"Old"});
  EXPECT_EQ(value(kOld, u"Paths"), "7:" + utf16("old") + std::string(2, '\0'));
}

TEST_F(Changes, AFailureOrADamagedCabinetLeavesTheMachineAsItWas) {
  const std::string cabinet = read(hostPath("Pkg/external.cab"));
  std::ofstream(hostPath("Pkg/external.cab"), std::ios::binary) << cabinet.substr(0, 60);
  const Tree before = state();
  EXPECT_EQ(run({std::begin(kInstall), std::end(kInstall)}, INSTALLSTATE_LOCAL, true), unsigned(ERROR_INSTALL_FAILURE));
  EXPECT_TRUE(state() == before);
}

TEST_F(Changes, DamagedCabinetsAreRefusedOrReadSafely) {
  const std::string good = read(hostPath("Pkg/external.cab"));
  std::string problem;
  ASSERT_TRUE(checkCabinet(good, &problem)) << problem;
  const auto patched = [&](size_t at, std::string bytes) { return std::string(good).replace(at, bytes.size(), bytes); };
  for (const std::string& bytes : {std::string(), good.substr(0, 40), good.substr(0, good.size() - 1),
                                   patched(0, "MSCE"), patched(26, std::string(2, '\0')), patched(30, "\x02"),
                                   patched(8, "\xff\xff\xff\x7f")}) {
    EXPECT_FALSE(checkCabinet(bytes, &problem));
  }
  // Whatever passes the check, libgcab reads without harm.
  std::mt19937 random(11);
  for (int round = 0; round < 300; ++round) {
    std::string bytes = good;
    for (int flips = 0; flips < 3; ++flips) bytes[random() % std::min<size_t>(bytes.size(), 160)] = char(random());
    std::map<std::string, CabinetMember> wanted{{"a", {hostPath("Pkg/x"), false, 0}}};
    if (checkCabinet(bytes, &problem)) extractCabinet(bytes, hostPath("Pkg"), wanted, &problem);
  }
}

TEST(FileVersioning, TheDocumentedRules) {
  // The file being installed, then the one on the machine: whether it exists, its version, language and whether it
  // was modified; the REINSTALLMODE and whether the file is replaced.
  struct Case { const char16_t *version, *language; bool exists; const char16_t *onVersion, *onLanguage; bool modified;
                const char16_t* mode; bool replaced; };
  const Case cases[] = {
      {u"2.0", u"1033", false, u"", u"", false, u"omus", true},          // nothing there
      {u"2.0", u"1033", true, u"1.0", u"1033", false, u"omus", true},    // highest version wins
      {u"1.0", u"1033", true, u"2.0", u"1033", false, u"omus", false},
      {u"1.0", u"1033", true, u"2.0", u"1033", false, u"amus", true},    // a: always
      {u"2.0", u"1033", true, u"1.0", u"1033", false, u"pmus", false},   // p: only a missing file
      {u"1.0", u"1033", true, u"1.0", u"1033", false, u"omus", false},   // equal: kept
      {u"1.0", u"1033", true, u"1.0", u"1033", false, u"emus", true},    // e: equal replaced
      {u"1.0", u"1033", true, u"2.0", u"1033", false, u"dmus", true},    // d: any different version
      {u"1.0", u"1033", true, u"1.0", u"", false, u"omus", true},        // a language beats none
      {u"1.0", u"", true, u"1.0", u"1033", false, u"omus", false},
      {u"1.0", u"1033", true, u"1.0", u"1033,1031", false, u"omus", false},  // a superset is kept
      {u"1.0", u"1033,1031", true, u"1.0", u"1033", false, u"omus", true},
      {u"1.0", u"1033", true, u"1.0", u"1031", false, u"omus", true},    // the product's language wins
      {u"1.0", u"1031", true, u"1.0", u"1033", false, u"omus", false},
      {u"1.0", u"", true, u"", u"", true, u"omus", true},                // versioned wins over unversioned
      {u"", u"", true, u"1.0", u"1033", false, u"omus", false},
      {u"", u"", true, u"", u"", false, u"omus", true},                  // unversioned, not modified
      {u"", u"", true, u"", u"", true, u"omus", false},                  // user data is kept
  };
  for (const Case& c : cases) {
    ExistingFile existing{c.exists, {c.onVersion, c.onLanguage}, c.modified};
    EXPECT_EQ(replacesExistingFile({c.version, c.language}, existing, c.mode, u"1033"), c.replaced)
        << emulated::utf16ToUtf8(std::u16string(c.version) + u" over " + c.onVersion + u" " + c.mode);
  }
  EXPECT_LT(compareVersions(u"1.2", u"1.10"), 0);
  EXPECT_EQ(compareVersions(u"1.0.0.0", u"1"), 0);
}

}  // namespace
