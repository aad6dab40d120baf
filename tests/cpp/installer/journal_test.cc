// The installation journal: every change taken back leaves the root byte for byte as before, in this
// process or after a process killed mid-way.
#include <dirent.h>
#include <signal.h>
#include <sys/wait.h>

#include <map>

#include "../support/temp_machine.h"
#include "root_snapshot.h"
#include "platform/emulated/installer/install_journal.h"

namespace {

using emulated::installer::InstallJournal;
using emulated::registry::KeyPath;
using test_support::snapshot;

const KeyPath kKey{u"HKEY_LOCAL_MACHINE", {u"Software", u"Maker", u"Product"}};
const KeyPath kOld{u"HKEY_LOCAL_MACHINE", {u"Software", u"Old"}};

emulated::InstalledProduct product(const std::u16string& name) {
  emulated::InstalledProduct p;
  p.productCode = u"{11111111-2222-3333-4444-555555555555}";
  p.productName = name;
  return p;
}

// One change of each kind, on a machine that has something of each to replace; `c` is the C: drive's host path.
using J = InstallJournal&;
using C = const std::string&;
const std::vector<std::pair<const char*, std::function<UINT(J, C)>>> kChanges = {
    {"folders", [](J j, C c) { return j.createFolder(c + "/App/bin/x"); }},
    {"new file", [](J j, C c) { return j.writeFile(c + "/App/bin/x/a.txt", "new"); }},
    {"replaced", [](J j, C c) { return j.writeFile(c + "/kept.txt", "changed"); }},
    {"placed", [](J j, C c) {
       const std::string staged = j.stagingPath();
       std::ofstream(staged) << "staged";
       return j.placeFile(c + "/App/b.txt", staged);
     }},
    {"replaced again", [](J j, C c) { return j.writeFile(c + "/kept.txt", "again"); }},
    {"removed", [](J j, C c) { return j.removeFile(c + "/gone.txt"); }},
    {"empty folder", [](J j, C c) { return j.removeFolder(c + "/Empty"); }},
    {"new value", [](J j, C) { return j.setValue(kKey, {u"Version", REG_SZ, std::string("1\0\0\0", 4)}); }},
    {"changed value", [](J j, C) { return j.setValue(kOld, {u"A", REG_DWORD, "zzzz"}); }},
    {"removed value", [](J j, C) { return j.deleteValue(kOld, u"A"); }},
    {"removed key", [](J j, C) { return j.deleteKey({u"HKEY_LOCAL_MACHINE", {u"Software", u"Old", u"Leaf"}}); }},
    {"new product", [](J j, C) { return j.saveProduct(product(u"New")); }},
    {"changed product", [](J j, C) { return j.saveProduct(product(u"Newer")); }},
    {"other product gone", [](J j, C) { return j.removeProduct(u"{AAAAAAAA-2222-3333-4444-555555555555}"); }},
};

class JournalTest : public test_support::TempMachineTest {
 protected:
  void SetUp() override {
    TempMachineTest::SetUp();
    std::ofstream(hostPath("kept.txt")) << "kept";
    std::ofstream(hostPath("gone.txt")) << "gone";
    ::mkdir(hostPath("Empty").c_str(), 0700);
    std::vector<KeyPath> made;
    emulated::registry::createKey({u"HKEY_LOCAL_MACHINE", {u"Software", u"Old", u"Leaf"}}, &made);
    emulated::registry::setValue({u"HKEY_LOCAL_MACHINE", {u"Software", u"Old", u"Leaf"}}, {u"L", REG_SZ, "x"});
    for (const char16_t* name : {u"A", u"B"}) emulated::registry::setValue(kOld, {name, REG_SZ, "ab"});
    emulated::InstalledProduct other = product(u"Other");
    other.productCode = u"{AAAAAAAA-2222-3333-4444-555555555555}";
    emulated::saveInstalledProduct(other);
    before_ = state();
  }

  std::map<std::string, std::string> state() const {
    std::map<std::string, std::string> out;
    snapshot(root_, "", out);
    return out;
  }

  // Runs the first `count` changes in a fresh journal.
  std::unique_ptr<InstallJournal> run(size_t count) {
    UINT code = 1;
    std::unique_ptr<InstallJournal> journal = InstallJournal::begin(&code);
    EXPECT_EQ(code, ERROR_SUCCESS);
    for (size_t i = 0; i < count; ++i)
      EXPECT_EQ(kChanges[i].second(*journal, root_ + "/drive_c"), 0u) << kChanges[i].first;
    return journal;
  }

  std::map<std::string, std::string> before_;
};

TEST_F(JournalTest, RollingBackAnyPrefixOfChangesRestoresTheRoot) {
  for (size_t count = 0; count <= kChanges.size(); ++count) {
    auto journal = run(count);
    EXPECT_NE(state(), before_);
    size_t undone = 0;
    const size_t entries = journal->entries();
    journal->rollBack([&] { ++undone; });
    EXPECT_EQ(undone, entries);
    EXPECT_EQ(state(), before_) << "after " << count << " changes";
  }
}

TEST_F(JournalTest, CommitKeepsTheChangesAndDropsTheJournal) {
  run(kChanges.size())->commit();
  EXPECT_EQ(read(hostPath("kept.txt")), "again");
  EXPECT_FALSE(exists(hostPath("gone.txt")));
  EXPECT_FALSE(exists(root_ + "/installer/journal"));
  EXPECT_EQ(emulated::findInstalledProduct(product(u"").productCode)->productName, u"Newer");
}

TEST_F(JournalTest, AJournalOfAKilledProcessIsRolledBack) {
  // The child makes every change in a loop until killed at a random point, over and over.
  for (int round = 0; round < 6; ++round) {
    const pid_t child = ::fork();
    if (child == 0) {
      for (;;) {
        auto journal = run(kChanges.size());
        journal->rollBack(nullptr);
      }
    }
    ::usleep(2000 + round * 3000);
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    emulated::installer::rollBackInterruptedOperations();
    ASSERT_EQ(state(), before_) << "round " << round;
  }
  // A journal whose last entry lost its line end, and one that names no change.
  auto journal = run(3);
  const std::string folder = root_ + "/installer/journal";
  journal.reset();
  const std::string torn =
      "for f in " + folder + "/*/entries; do printf 'new\\t/x' >> $f; done; mkdir " + folder + "/e";
  ASSERT_EQ(::system(torn.c_str()), 0);
  emulated::installer::rollBackInterruptedOperations();
  EXPECT_EQ(state(), before_);
}

}  // namespace
