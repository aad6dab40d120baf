// The machine's configuration file and the functions that read it, and the mapping of Windows paths onto the host.
#include "platform/emulated/machine/machine_config.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "../support/temp_machine.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/windows.h"

namespace {

class MachineConfig : public test_support::TempMachineTest {
 protected:
  void writeFile(const std::string& text) { std::ofstream(root_ + "/machine.conf") << text; }
};

TEST_F(MachineConfig, ReadsKeysAndKeepsOtherLinesWhenOneIsSet) {
  writeFile("# scenario: beta installed\nhostExecutable = C:\\Setup\\setup.exe\nother=1\n");
  EXPECT_EQ(emulated::machineConfigValue("hostExecutable", ""), "C:\\Setup\\setup.exe");
  EXPECT_EQ(emulated::machineConfigValue("missing", "fallback"), "fallback");

  ASSERT_TRUE(emulated::writeMachineConfigValue("hostExecutable", "C:\\setup.exe"));
  ASSERT_TRUE(emulated::writeMachineConfigValue("programFilesFolder", "D:\\Apps"));
  EXPECT_EQ(read(root_ + "/machine.conf"),
            "# scenario: beta installed\nhostExecutable=C:\\setup.exe\nother=1\nprogramFilesFolder=D:\\Apps\n");
}

TEST_F(MachineConfig, TheHostExecutableIsTheRealOneUnlessConfigured) {
  WCHAR buffer[MAX_PATH];
  DWORD length = GetModuleFileNameW(nullptr, buffer, MAX_PATH);
  ASSERT_GT(length, 2u);
  EXPECT_EQ(std::u16string(buffer, 3), u"Z:\\");
  EXPECT_EQ(std::u16string(buffer).find(u"platform_tests"), length - 14);

  ASSERT_TRUE(emulated::writeMachineConfigValue("hostExecutable", "C:\\Setup\\setup.exe"));
  EXPECT_EQ(GetModuleFileNameW(nullptr, buffer, MAX_PATH), 18u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
  EXPECT_EQ(std::u16string(buffer), u"C:\\Setup\\setup.exe");
}

TEST_F(MachineConfig, AShortBufferGetsTheCutPathAndItsSize) {
  ASSERT_TRUE(emulated::writeMachineConfigValue("hostExecutable", "C:\\Setup\\setup.exe"));
  // Exactly the path's length (18) is still cut, since the terminator does not fit.
  WCHAR buffer[18];
  for (DWORD size : {8u, 18u}) {
    EXPECT_EQ(GetModuleFileNameW(nullptr, buffer, size), size);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(std::u16string(buffer), std::u16string(u"C:\\Setup\\setup.exe").substr(0, size - 1));
  }
  int module = 0;
  EXPECT_EQ(GetModuleFileNameW(reinterpret_cast<HMODULE>(&module), buffer, 8), 0u);
}

TEST_F(MachineConfig, TheProgramFilesFolderFollowsTheConfiguration) {
  WCHAR buffer[MAX_PATH];
  ASSERT_TRUE(SHGetSpecialFolderPathW(nullptr, buffer, CSIDL_PROGRAM_FILES, FALSE));
  EXPECT_EQ(std::u16string(buffer), u"C:\\Program Files");
  ASSERT_TRUE(emulated::writeMachineConfigValue("programFilesFolder", "C:\\Programme"));
  ASSERT_TRUE(SHGetSpecialFolderPathW(nullptr, buffer, CSIDL_PROGRAM_FILES | 0x8000, TRUE));  // CSIDL_FLAG_CREATE
  EXPECT_EQ(std::u16string(buffer), u"C:\\Programme");
  EXPECT_TRUE(exists(hostPath("Programme"))) << "created when asked to";
  EXPECT_FALSE(SHGetSpecialFolderPathW(nullptr, buffer, 0x7f, FALSE));
  EXPECT_FALSE(SHGetSpecialFolderPathW(nullptr, nullptr, CSIDL_PROGRAM_FILES, FALSE));
}

class MachinePaths : public test_support::TempMachineTest {
 protected:
  void SetUp() override {
    TempMachineTest::SetUp();
    ASSERT_EQ(emulated::machineRoot(), root_);
  }
};

TEST_F(MachinePaths, DrivesMapLikeWineAndExistingNamesMatchWithoutCase) {
  ASSERT_EQ(::mkdir((root_ + "/drive_c/Setup").c_str(), 0755), 0);
  const std::string c = root_ + "/drive_c";
  const struct { const char16_t* windows; std::string host; } cases[] = {
      {u"C:\\Program Files\\App", c + "/Program Files/App"}, {u"c:/Logs/", c + "/Logs"},
      {u"Z:\\etc\\hostname", "/etc/hostname"},            {u"Z:\\", "/"},
      {u"\\\\?\\C:\\x", c + "/x"},                     {u"C:\\a\\.\\b\\..\\c", c + "/a/c"},
      {u"C:\\..\\..\\x", c + "/x"},                      {u"C:\\SETUP\\New File.txt", c + "/Setup/New File.txt"},
      // UNC and empty paths do not map.
      {u"", ""},                                            {u"\\\\server\\share\\f", ""},
  };
  for (const auto& p : cases) EXPECT_EQ(emulated::toHostPath(p.windows), p.host) << p.host;
}

TEST_F(MachinePaths, RelativePathsFollowTheCurrentDirectoryUntilItIsGone) {
  char old[4096];
  ASSERT_NE(::getcwd(old, sizeof old), nullptr);
  ASSERT_EQ(::chdir(root_.c_str()), 0);
  EXPECT_EQ(emulated::toHostPath(u"drive_c\\x.txt"), root_ + "/drive_c/x.txt");
  EXPECT_EQ(emulated::toHostPath(u"..\\y"), root_.substr(0, root_.rfind('/')) + "/y");
  ASSERT_EQ(::mkdir("gone", 0755), 0);
  ASSERT_EQ(::chdir("gone"), 0);
  ASSERT_EQ(::rmdir((root_ + "/gone").c_str()), 0);
  EXPECT_EQ(emulated::toHostPath(u"trace.log"), "");
  EXPECT_EQ(emulated::toHostPath(u"C:\\trace.log"), root_ + "/drive_c/trace.log");
  ASSERT_EQ(::chdir(old), 0);
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
