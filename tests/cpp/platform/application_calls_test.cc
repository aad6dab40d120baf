// Named events, file mappings, the token and restart requests, GetVersionExA and ShellExecuteW of the emulated
// machine, with their documented error codes. An event set from another process is tested end to end
// (inspection.test.js).
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "../support/temp_machine.h"
#include "platform/emulated/machine/machine_config.h"
#include "platform/emulated/machine/machine_records.h"
#include "platform/windows.h"

namespace {

class ApplicationCalls : public test_support::TempMachineTest {};
class Events : public test_support::TempMachineTest {};

DWORD errorOf(bool failed) { return failed ? GetLastError() : 0; }

constexpr const WCHAR* kName = u"Global\\Event_Package_Ready";

TEST_F(Events, AMissingEventCannotBeOpened) {
  SetLastError(0);
  EXPECT_EQ(OpenEventW(SYNCHRONIZE, FALSE, kName), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(WaitForSingleObject(nullptr, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST_F(Events, AManualResetEventStaysSignalledUntilReset) {
  HANDLE created = CreateEventW(nullptr, TRUE, FALSE, kName);
  ASSERT_NE(created, nullptr);
  // The namespace prefix names the same event.
  HANDLE waiter = OpenEventW(SYNCHRONIZE, FALSE, u"Event_Package_Ready");
  ASSERT_NE(waiter, nullptr);

  EXPECT_EQ(WaitForSingleObject(waiter, 20), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_FALSE(SetEvent(waiter)) << "a handle opened for waiting only cannot set";
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  ASSERT_TRUE(SetEvent(created));
  for (DWORD wait : {DWORD(INFINITE), DWORD(0)}) EXPECT_EQ(WaitForSingleObject(waiter, wait), WAIT_OBJECT_0);
  ASSERT_TRUE(ResetEvent(created));
  EXPECT_EQ(WaitForSingleObject(waiter, 0), static_cast<DWORD>(WAIT_TIMEOUT));

  // A second create opens the same event and keeps its state.
  HANDLE again = CreateEventW(nullptr, TRUE, TRUE, kName);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  EXPECT_EQ(WaitForSingleObject(again, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  for (HANDLE h : {created, waiter, again}) EXPECT_TRUE(CloseHandle(h));
  EXPECT_FALSE(CloseHandle(created));
}

TEST_F(Events, AutoResetAndUnnamedEventsAndInvalidNames) {
  HANDLE event = CreateEventW(nullptr, FALSE, TRUE, u"auto");
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(event, 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "an auto-reset event releases one wait";
  CloseHandle(event);
  event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  EXPECT_TRUE(SetEvent(event) && WaitForSingleObject(event, 0) == WAIT_OBJECT_0);
  CloseHandle(event);
  EXPECT_EQ(CreateEventW(nullptr, TRUE, FALSE, u"a\\b"), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_NAME));
  // A name with a slash is one event, not a path.
  HANDLE slashed = CreateEventW(nullptr, TRUE, FALSE, u"a/b%c");
  ASSERT_NE(slashed, nullptr);
  EXPECT_NE(OpenEventW(SYNCHRONIZE, FALSE, u"a/b%c"), nullptr);
  EXPECT_EQ(OpenEventW(SYNCHRONIZE, FALSE, u"a"), nullptr);
}

TEST_F(ApplicationCalls, MappingsAreSharedBetweenProcessesAndCheckTheirAccess) {
  EXPECT_EQ(errorOf(OpenFileMappingA(FILE_MAP_READ, FALSE, "Local\\missing") == nullptr), 2u);
  EXPECT_EQ(errorOf(OpenFileMappingW(FILE_MAP_READ, FALSE, u"missing") == nullptr), 2u);
  EXPECT_EQ(errorOf(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 0, u"m") == nullptr), 87u);
  HANDLE shared = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 2048, "Local\\shared");
  ASSERT_NE(shared, nullptr);
  auto* view = static_cast<char*>(MapViewOfFile(shared, FILE_MAP_ALL_ACCESS, 0, 0, 0));
  ASSERT_NE(view, nullptr);
  EXPECT_TRUE(inProcesses(1, [](int) {
    HANDLE opened = OpenFileMappingW(FILE_MAP_WRITE, FALSE, u"Global\\shared");
    auto* theirs = static_cast<char*>(MapViewOfFile(opened, FILE_MAP_WRITE, 0, 0, 2048));
    return theirs != nullptr && std::strcpy(theirs, "from the child") && UnmapViewOfFile(theirs);
  }));
  EXPECT_STREQ(view, "from the child");
  EXPECT_NE(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 2048, "shared"), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));

  HANDLE readOnly = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READONLY, 0, 100, u"ro");
  HANDLE readHandle = OpenFileMappingA(FILE_MAP_READ, FALSE, "ro");
  struct Case { HANDLE mapping; DWORD access; SIZE_T bytes; DWORD error; };
  const Case cases[] = {
      {readOnly, FILE_MAP_READ, 100, 0},   {readOnly, FILE_MAP_WRITE, 0, 5}, {readHandle, FILE_MAP_WRITE, 0, 5},
      {readOnly, FILE_MAP_READ, 101, 5},   {nullptr, FILE_MAP_READ, 0, 6},
  };
  for (const Case& c : cases) {
    void* v = MapViewOfFile(c.mapping, c.access, 0, 0, c.bytes);
    EXPECT_EQ(errorOf(v == nullptr), c.error) << c.access << " " << c.bytes;
    if (v != nullptr) EXPECT_TRUE(UnmapViewOfFile(v));
  }
  EXPECT_EQ(errorOf(!UnmapViewOfFile(view + 1)), 487u);
  EXPECT_TRUE(UnmapViewOfFile(view));
  for (HANDLE h : {shared, readOnly, readHandle}) EXPECT_TRUE(CloseHandle(h));
}

// The token's enabled privileges belong to the process, so each scenario runs in its own.
TEST_F(ApplicationCalls, ExitWindowsExNeedsTheEnabledShutdownPrivilegeAndRecordsTheRequest) {
  struct Case { bool admin; const char* privilege; DWORD lookupError; DWORD adjustError; DWORD exitError; };
  const Case cases[] = {
      {true, "SeShutdownPrivilege", 0, 0, 0}, {false, "seshutdownprivilege", 0, 0, 0},
      {false, "SeDebugPrivilege", 0, 1300, 1314}, {true, "SeNoSuchPrivilege", 1313, 0, 1314},
  };
  for (const Case& c : cases) {
    emulated::writeMachineConfigValue("userIsAdmin", c.admin ? "1" : "0");
    EXPECT_TRUE(inProcesses(1, [&](int) {
      HANDLE token = nullptr;
      if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token)) return false;
      if (ExitWindowsEx(EWX_REBOOT, 0) || GetLastError() != ERROR_PRIVILEGE_NOT_HELD) return false;
      TOKEN_PRIVILEGES state{1, {{{0, 0}, SE_PRIVILEGE_ENABLED}}};
      if (errorOf(!LookupPrivilegeValueA(nullptr, c.privilege, &state.Privileges[0].Luid)) != c.lookupError) return false;
      if (c.lookupError == 0 && (!AdjustTokenPrivileges(token, FALSE, &state, 0, nullptr, nullptr) ||
                                 GetLastError() != c.adjustError)) {
        return false;
      }
      const DWORD reason = SHTDN_REASON_MAJOR_APPLICATION | SHTDN_REASON_FLAG_PLANNED;
      return errorOf(!ExitWindowsEx(EWX_REBOOT | EWX_FORCE, reason)) == c.exitError && CloseHandle(token);
    })) << c.privilege;
  }
  const auto records = emulated::readMachineRecords("restarts");
  ASSERT_EQ(records.size(), 2u);
  EXPECT_NE(records[0].find("\t0x00000006\t0x80040000"), std::string::npos) << records[0];
}

TEST_F(ApplicationCalls, GetVersionExAReportsTheMachineInTheStructureOfItsSize) {
  emulated::writeMachineConfigValue("windowsServicePack", "1");
  for (DWORD size : {DWORD(sizeof(OSVERSIONINFOA)), DWORD(sizeof(OSVERSIONINFOEXA)), DWORD(0), DWORD(200)}) {
    OSVERSIONINFOEXA info{};
    info.dwOSVersionInfoSize = size;
    const bool ok = GetVersionExA(reinterpret_cast<LPOSVERSIONINFOA>(&info));
    const bool valid = size == sizeof(OSVERSIONINFOA) || size == sizeof(OSVERSIONINFOEXA);
    EXPECT_EQ(errorOf(!ok), valid ? 0u : 122u);
    if (!valid) continue;
    EXPECT_EQ(info.dwMajorVersion * 100000 + info.dwBuildNumber, 1019045u);
    EXPECT_STREQ(info.szCSDVersion, "Service Pack 1");
    EXPECT_EQ(info.wSuiteMask, size == sizeof(OSVERSIONINFOA) ? 0 : 0x100);
    EXPECT_EQ(info.wProductType, size == sizeof(OSVERSIONINFOA) ? 0 : VER_NT_WORKSTATION);
  }
}

TEST_F(ApplicationCalls, ShellExecuteStartsScriptsInTheWorkingDirectoryAndRecordsOtherFiles) {
  ::mkdir(hostPath("App").c_str(), 0755);
  std::ofstream(hostPath("App/run.sh")) << "#!/bin/sh\npwd > where.txt\necho \"$1\" >> where.txt\n";
  std::ofstream(hostPath("App/tool.exe")) << "MZ";
  ::chmod(hostPath("App/run.sh").c_str(), 0644);  // installed files carry no mode bits
  struct Case { const char16_t* file; const char16_t* directory; std::intptr_t result; };
  const Case cases[] = {
      {u"missing.sh", u"C:\\App", SE_ERR_FNF}, {u"run.sh", nullptr, SE_ERR_FNF},
      {u"run.sh", u"C:\\App", 33},             {u"C:\\App\\tool.exe", u"C:\\App", 33},
  };
  for (const Case& c : cases) {
    HINSTANCE result = ShellExecuteW(nullptr, nullptr, c.file, u"\"a b\"", c.directory, SW_SHOWNORMAL);
    EXPECT_EQ(std::min<std::intptr_t>(reinterpret_cast<std::intptr_t>(result), 33), c.result);
  }
  // The script runs detached: wait (without a time limit of the test's own) for its second line.
  const std::string expected = hostPath("App") + "\na b\n";
  for (int i = 0; i < 3000 && read(hostPath("App/where.txt")) != expected; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(read(hostPath("App/where.txt")), expected);
  const auto records = emulated::readMachineRecords("shell");
  ASSERT_EQ(records.size(), 2u);
  EXPECT_NE(records[0].find("\tstarted\topen\tC:\\App\\run.sh\t\"a b\"\tC:\\App"), std::string::npos) << records[0];
  EXPECT_NE(records[1].find("\topened\topen\tC:\\App\\tool.exe"), std::string::npos) << records[1];
}

}  // namespace
