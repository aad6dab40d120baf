// CreateFileW, WriteFile, CloseHandle and the last error, through the facade; WriteFile on a full disk; and the C
// runtime's default-locale and time conversions, as the facade serves them.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <utility>

#include "../support/temp_machine.h"
#include "platform/windows.h"

namespace {

class Files : public test_support::TempMachineTest {
 protected:
  void SetUp() override {
    TempMachineTest::SetUp();
    ASSERT_EQ(::mkdir(hostPath("Logs").c_str(), 0755), 0);
  }

  std::string read(const std::string& relative) const { return TempMachineTest::read(hostPath(relative)); }

  static HANDLE open(const WCHAR* name, DWORD access, DWORD share, DWORD disposition, DWORD flags = 0) {
    return CreateFileW(name, access, share, nullptr, disposition, flags, nullptr);
  }
  // The last error of an open that must fail; 0 if it succeeded.
  static DWORD refusal(const WCHAR* name, DWORD access, DWORD share, DWORD disposition) {
    HANDLE file = open(name, access, share, disposition);
    if (file == INVALID_HANDLE_VALUE) return GetLastError();
    CloseHandle(file);
    return 0;
  }
  static bool write(HANDLE file, const std::string& text) {
    DWORD written = 0;
    return WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) && written == text.size();
  }
};

TEST_F(Files, CreateNewCreatesOnceThenReportsTheFileExistsWithoutRegardToCase) {
  SetLastError(1234);
  HANDLE file = open(u"C:\\Logs\\Trace.LOG", 0, FILE_SHARE_WRITE, CREATE_NEW);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(file) % 4, 0u);
  EXPECT_TRUE(CloseHandle(file));
  EXPECT_TRUE(exists(hostPath("Logs/Trace.LOG")));
  EXPECT_EQ(refusal(u"c:\\LOGS\\trace.log", GENERIC_WRITE, 0, CREATE_NEW), DWORD(ERROR_FILE_EXISTS));
}

// Each open that fails, with the last error Windows sets for it.
TEST_F(Files, RefusedOpensSetTheirLastError) {
  ASSERT_TRUE(CloseHandle(open(u"C:\\Logs\\plain", GENERIC_WRITE, 0, CREATE_NEW)));
  const struct { const WCHAR* name; DWORD access, disposition, error; } cases[] = {
      {u"C:\\NoSuchDir\\a.log", GENERIC_WRITE, CREATE_NEW, ERROR_PATH_NOT_FOUND},
      {u"C:\\NoSuchDir\\a.log", GENERIC_READ, OPEN_EXISTING, ERROR_PATH_NOT_FOUND},
      {u"C:\\Logs\\none.log", GENERIC_READ, OPEN_EXISTING, ERROR_FILE_NOT_FOUND},
      {u"", GENERIC_READ, OPEN_EXISTING, ERROR_PATH_NOT_FOUND},
      {nullptr, GENERIC_READ, OPEN_EXISTING, ERROR_PATH_NOT_FOUND},
      {u"C:\\Logs\\plain\\x.log", GENERIC_WRITE, CREATE_NEW, ERROR_PATH_NOT_FOUND},  // a file as directory
      {u"\\\\server\\share\\a.log", GENERIC_READ, OPEN_EXISTING, ERROR_PATH_NOT_FOUND},
      {u"C:\\Logs\\a?b.log", GENERIC_WRITE, CREATE_ALWAYS, ERROR_INVALID_NAME},
      {u"C:\\Logs\\a:b.log", GENERIC_WRITE, CREATE_ALWAYS, ERROR_INVALID_NAME},
      {u"C:\\Logs\\a.log", GENERIC_WRITE, 0, ERROR_INVALID_PARAMETER},
      {u"C:\\Logs\\a.log", GENERIC_READ, TRUNCATE_EXISTING, ERROR_INVALID_PARAMETER},
      {u"C:\\Logs", 0, CREATE_NEW, ERROR_FILE_EXISTS},
      // A directory is no file without FILE_FLAG_BACKUP_SEMANTICS.
      {u"C:\\Logs", GENERIC_WRITE, OPEN_ALWAYS, ERROR_ACCESS_DENIED},
      {u"C:\\Logs", GENERIC_READ, OPEN_EXISTING, ERROR_ACCESS_DENIED},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name ? std::string(c.name, c.name + std::char_traits<WCHAR>::length(c.name)) : "null");
    EXPECT_EQ(refusal(c.name, c.access, FILE_SHARE_READ, c.disposition), c.error);
  }
  HANDLE dir = open(u"C:\\Logs", GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
  ASSERT_NE(dir, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(CloseHandle(dir));
  if (::geteuid() == 0) return;  // root passes every permission check
  ASSERT_EQ(::chmod(hostPath("Logs").c_str(), 0555), 0);
  EXPECT_EQ(refusal(u"C:\\Logs\\a.log", GENERIC_WRITE, 0, CREATE_NEW), DWORD(ERROR_ACCESS_DENIED));
  ASSERT_EQ(::chmod(hostPath("Logs").c_str(), 0755), 0);
}

TEST_F(Files, AlwaysDispositionsReportAnExistingFile) {
  HANDLE file = open(u"C:\\Logs\\a.log", GENERIC_WRITE, 0, OPEN_ALWAYS);
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  EXPECT_TRUE(write(file, "first") && CloseHandle(file));
  file = open(u"C:\\Logs\\a.log", GENERIC_WRITE, 0, OPEN_ALWAYS);
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_TRUE(write(file, "F") && CloseHandle(file));  // writes at the start: not an append handle
  EXPECT_EQ(read("Logs/a.log"), "First");
  file = open(u"C:\\Logs\\a.log", GENERIC_WRITE, 0, CREATE_ALWAYS);
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_TRUE(CloseHandle(file));
  EXPECT_EQ(read("Logs/a.log"), "");
}

TEST_F(Files, AppendHandlesWithDenyNoneSharingInterleaveWholeWrites) {
  const DWORD denyNone = FILE_SHARE_READ | FILE_SHARE_WRITE;
  HANDLE a = open(u"C:\\Logs\\shared.log", FILE_APPEND_DATA, denyNone, OPEN_ALWAYS);
  HANDLE b = open(u"C:\\Logs\\shared.log", FILE_APPEND_DATA, denyNone, OPEN_ALWAYS);
  ASSERT_NE(a, b);
  EXPECT_TRUE(write(a, "one\r\n") && write(b, "two\r\n") && write(a, "three\r\n"));
  EXPECT_TRUE(CloseHandle(a) && CloseHandle(b));
  EXPECT_EQ(read("Logs/shared.log"), "one\r\ntwo\r\nthree\r\n");
}

TEST_F(Files, ShareModesRefuseConflictingOpens) {
  const WCHAR* name = u"C:\\Logs\\locked.log";
  HANDLE exclusive = open(name, GENERIC_WRITE, 0, CREATE_NEW);
  ASSERT_TRUE(write(exclusive, "kept"));
  EXPECT_EQ(refusal(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING), DWORD(ERROR_SHARING_VIOLATION));
  // A refused open truncates nothing; an open that touches no data is not checked.
  EXPECT_EQ(refusal(name, GENERIC_WRITE, FILE_SHARE_WRITE, CREATE_ALWAYS), DWORD(ERROR_SHARING_VIOLATION));
  EXPECT_EQ(refusal(name, 0, 0, OPEN_EXISTING), 0u);
  EXPECT_TRUE(CloseHandle(exclusive));
  EXPECT_EQ(read("Logs/locked.log"), "kept");

  // A reader that shares reading only keeps writers out but lets readers in.
  HANDLE reader = open(name, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
  ASSERT_NE(reader, INVALID_HANDLE_VALUE);
  EXPECT_EQ(refusal(name, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING), 0u);
  EXPECT_EQ(refusal(name, FILE_APPEND_DATA, FILE_SHARE_READ, OPEN_EXISTING), DWORD(ERROR_SHARING_VIOLATION));
  EXPECT_TRUE(CloseHandle(reader));
}

TEST_F(Files, WriteFileAndCloseHandleCheckTheirHandle) {
  HANDLE file = open(u"C:\\Logs\\r.log", GENERIC_READ, FILE_SHARE_READ, CREATE_NEW);
  DWORD written = 99;
  EXPECT_FALSE(WriteFile(file, "x", 1, &written, nullptr));
  EXPECT_EQ(std::make_pair(GetLastError(), written), std::make_pair(DWORD(ERROR_ACCESS_DENIED), DWORD(0)));
  EXPECT_TRUE(CloseHandle(file));
  EXPECT_FALSE(WriteFile(file, "x", 1, &written, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_FALSE(CloseHandle(file));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_FALSE(CloseHandle(INVALID_HANDLE_VALUE) || CloseHandle(nullptr));
}

TEST(LastError, BelongsToEachThread) {
  SetLastError(ERROR_FILE_EXISTS);
  DWORD seen = 1;
  std::thread([&] { seen = GetLastError(), SetLastError(ERROR_ACCESS_DENIED); }).join();
  EXPECT_EQ(std::make_pair(seen, GetLastError()), std::make_pair(DWORD(ERROR_SUCCESS), DWORD(ERROR_FILE_EXISTS)));
}

// WriteFile when the disk fills up part way through a buffer: as on Windows it fails with
// ERROR_DISK_FULL, reports 0 bytes written and leaves the file as it was. The room runs out at
// the process's file size limit (each test runs in a process of its own under ctest).
class FullDisk : public test_support::TempMachineTest {
 protected:
  static constexpr rlim_t kRoom = 100;
  void SetUp() override {
    TempMachineTest::SetUp();
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved_), 0);
    // Beyond the limit the write fails with EFBIG instead of a signal.
    previous_ = ::signal(SIGXFSZ, SIG_IGN);
    rlimit limit = saved_;
    limit.rlim_cur = kRoom;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  void TearDown() override {
    ::setrlimit(RLIMIT_FSIZE, &saved_);
    ::signal(SIGXFSZ, previous_);
  }
  rlimit saved_{};
  void (*previous_)(int) = nullptr;
};

TEST_F(FullDisk, AWriteThatDoesNotFitWritesNothing) {
  const std::string first(60, 'a'), second(60, 'b');
  const std::pair<DWORD, DWORD> accessAndDisposition[] = {{FILE_APPEND_DATA, OPEN_ALWAYS}, {GENERIC_WRITE, CREATE_ALWAYS}};
  for (const auto& [access, disposition] : accessAndDisposition) {
    HANDLE file = CreateFileW(u"C:\\full.log", access, FILE_SHARE_READ, nullptr, disposition, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    DWORD written = 99;
    ASSERT_TRUE(WriteFile(file, first.data(), 60, &written, nullptr));
    EXPECT_EQ(written, 60u);
    EXPECT_FALSE(WriteFile(file, second.data(), 60, &written, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
    EXPECT_EQ(written, 0u);
    // What fits is written at the same place, after the failed write.
    ASSERT_TRUE(WriteFile(file, second.data(), 40, &written, nullptr));
    EXPECT_TRUE(CloseHandle(file));
    EXPECT_EQ(read(hostPath("full.log")), first + std::string(40, 'b'));
    ASSERT_EQ(::unlink(hostPath("full.log").c_str()), 0);
  }
}

// The C runtime's default-locale conversions, as the facade serves them. That every byte below 256 round-trips
// is tested through their user, the tracer's runtime text (tests/cpp/tracing/log_paths_test.cc).
TEST(RuntimeLocale, TheNullCharacterAndAnEmptyInput) {
  WCHAR unit = 7;
  std::mbstate_t state{};
  EXPECT_TRUE(mbrtowc(&unit, "", 1, &state) == 0 && unit == 0);
  EXPECT_EQ(mbrtowc(&unit, "a", 0, &state), static_cast<std::size_t>(-2));
  EXPECT_EQ(mbrtowc(&unit, nullptr, 0, &state), 0u);
}

TEST(RuntimeLocale, UnitsFrom256OnHaveNoMultibyteForm) {
  for (WCHAR unit : {WCHAR(0x100), WCHAR(0x20AC), WCHAR(0xD800), WCHAR(0xFFFF)}) {
    char byte = 'x';
    std::size_t written = 0;
    std::mbstate_t state{};
    errno = 0;
    EXPECT_EQ(wcrtomb_s(&written, &byte, 1, unit, &state), EILSEQ);
    EXPECT_TRUE(errno == EILSEQ && written == static_cast<std::size_t>(-1) && byte == 'x');
  }
  char byte;
  std::size_t written = 0;
  EXPECT_EQ(wcrtomb_s(&written, &byte, 0, u'a', nullptr), EINVAL);
}

TEST(RuntimeTime, LocaltimeTakesTheResultFirst) {
  std::time_t epoch = 0;
  std::tm local{};
  EXPECT_EQ(localtime_s(&local, &epoch), 0);
  EXPECT_TRUE(local.tm_year == 70 || local.tm_year == 69);
  EXPECT_EQ(std::make_pair(localtime_s(nullptr, &epoch), localtime_s(&local, nullptr)), std::make_pair(EINVAL, EINVAL));
}

}  // namespace
