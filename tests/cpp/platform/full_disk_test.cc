// WriteFile when the disk fills up part way through a buffer: as on Windows it fails with
// ERROR_DISK_FULL, reports 0 bytes written and leaves the file as it was. The room runs out at
// the process's file size limit (each test runs in a process of its own under ctest).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <string>
#include <utility>

#include "../support/temp_machine.h"
#include "platform/windows.h"

namespace {

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
  const std::string first(60, 'a');
  const std::string second(60, 'b');
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

}  // namespace
