#include "platform/emulated/machine/machine_paths.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "../support/temp_machine.h"

namespace {

class MachinePaths : public test_support::TempMachineTest {
 protected:
  void SetUp() override {
    TempMachineTest::SetUp();
    ASSERT_EQ(emulated::machineRoot(), root_);
  }
};

TEST_F(MachinePaths, DrivesMapLikeWine) {
  EXPECT_EQ(emulated::toHostPath(u"C:\\Program Files\\App"), root_ + "/drive_c/Program Files/App");
  EXPECT_EQ(emulated::toHostPath(u"c:/Logs/"), root_ + "/drive_c/Logs");
  EXPECT_EQ(emulated::toHostPath(u"Z:\\etc\\hostname"), "/etc/hostname");
  EXPECT_EQ(emulated::toHostPath(u"Z:\\"), "/");
  EXPECT_EQ(emulated::toHostPath(u"\\\\?\\C:\\x"), root_ + "/drive_c/x");
  EXPECT_EQ(emulated::toHostPath(u"C:\\a\\.\\b\\..\\c"), root_ + "/drive_c/a/c");
  EXPECT_EQ(emulated::toHostPath(u"C:\\..\\..\\x"), root_ + "/drive_c/x");
}

TEST_F(MachinePaths, UncAndEmptyPathsDoNotMap) {
  EXPECT_EQ(emulated::toHostPath(u""), "");
  EXPECT_EQ(emulated::toHostPath(u"\\\\server\\share\\f"), "");
}

TEST_F(MachinePaths, RelativePathsFollowTheCurrentDirectory) {
  char buffer[4096];
  ASSERT_NE(::getcwd(buffer, sizeof buffer), nullptr);
  std::string old = buffer;
  ASSERT_EQ(::chdir(root_.c_str()), 0);
  EXPECT_EQ(emulated::toHostPath(u"drive_c\\x.txt"), root_ + "/drive_c/x.txt");
  EXPECT_EQ(emulated::toHostPath(u"..\\y"), root_.substr(0, root_.rfind('/')) + "/y");
  ASSERT_EQ(::chdir(old.c_str()), 0);
}

TEST_F(MachinePaths, RelativePathsFailOnceTheCurrentDirectoryIsGone) {
  char buffer[4096];
  ASSERT_NE(::getcwd(buffer, sizeof buffer), nullptr);
  std::string old = buffer;
  std::string gone = root_ + "/gone";
  ASSERT_EQ(::mkdir(gone.c_str(), 0755), 0);
  ASSERT_EQ(::chdir(gone.c_str()), 0);
  ASSERT_EQ(::rmdir(gone.c_str()), 0);
  EXPECT_EQ(emulated::toHostPath(u"trace.log"), "");
  EXPECT_EQ(emulated::toHostPath(u"C:\\trace.log"), root_ + "/drive_c/trace.log");
  ASSERT_EQ(::chdir(old.c_str()), 0);
}

TEST_F(MachinePaths, ExistingNamesMatchWithoutCase) {
  ASSERT_EQ(::mkdir((root_ + "/drive_c/Setup").c_str(), 0755), 0);
  EXPECT_EQ(emulated::toHostPath(u"C:\\SETUP\\New File.txt"), root_ + "/drive_c/Setup/New File.txt");
}

TEST_F(MachinePaths, HostPathsReadBackAsWindowsPaths) {
  EXPECT_EQ(emulated::toWindowsPath(root_ + "/drive_c/Setup/setup.exe"), u"C:\\Setup\\setup.exe");
  EXPECT_EQ(emulated::toWindowsPath(root_ + "/drive_c"), u"C:\\");
  EXPECT_EQ(emulated::toWindowsPath("/usr/bin/node"), u"Z:\\usr\\bin\\node");
  std::u16string windowsRoot(root_.begin(), root_.end());
  for (char16_t& c : windowsRoot) c = c == u'/' ? u'\\' : c;
  EXPECT_EQ(emulated::toWindowsPath(root_ + "/drive_cx"), u"Z:" + windowsRoot + u"\\drive_cx");
}

TEST_F(MachinePaths, NonAsciiNamesRoundTrip) {
  std::u16string name = u"C:\\\u65e5\u672c\\\xe9t\xe9";
  std::string host = emulated::toHostPath(name);
  EXPECT_EQ(host, root_ + "/drive_c/\xe6\x97\xa5\xe6\x9c\xac/\xc3\xa9t\xc3\xa9");
  EXPECT_EQ(emulated::toWindowsPath(host), name);
}

}  // namespace
