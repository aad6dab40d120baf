// The machine's configuration file and the functions that read it.
#include "platform/emulated/machine/machine_config.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "../support/temp_machine.h"
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
  EXPECT_EQ(std::u16string(buffer), u"C:\\Setup\\setup.exe");
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
}

TEST_F(MachineConfig, AShortBufferGetsTheCutPathAndItsSize) {
  ASSERT_TRUE(emulated::writeMachineConfigValue("hostExecutable", "C:\\Setup\\setup.exe"));
  WCHAR buffer[8];
  EXPECT_EQ(GetModuleFileNameW(nullptr, buffer, 8), 8u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  EXPECT_EQ(std::u16string(buffer), u"C:\\Setu");
  // Exactly the path's length: still cut, since the terminator does not fit.
  WCHAR exact[18];
  EXPECT_EQ(GetModuleFileNameW(nullptr, exact, 18), 18u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
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

}  // namespace
