// The process-wide side of the emulated installer: GLib's messages and
// threads, and the first package opens of a process.
#include <gtest/gtest.h>
#include <libmsi.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "msi_test_helpers.h"
#include "platform/emulated/msi_database/libmsi_runtime.h"

namespace {

using msi_test::fieldText;
using msi_test::Handle;
using test_packages::fixture;

TEST(LibmsiRuntime, GLibWarningsNeverReachTheConsole) {
  emulated::ensureLibmsiRuntime();
  const size_t before = emulated::libmsiWarningCount();
  ::testing::internal::CaptureStderr();
  // libmsi warns about a file it cannot open.
  LibmsiDatabase* database = libmsi_database_new("/nonexistent/package.msi", LIBMSI_DB_FLAGS_READONLY, nullptr, nullptr);
  MSIHANDLE handle = 0;
  MsiOpenDatabaseW(u"C:\\Packages\\nonexistent.msi", MSIDBOPEN_READONLY, &handle);
  const std::string printed = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(database, nullptr);
  EXPECT_EQ(printed, "");
  EXPECT_GT(emulated::libmsiWarningCount(), before);
}

// One database handle shared by threads, each with its own views: the
// database's lock keeps libmsi's table caches consistent.
TEST(LibmsiRuntime, ThreadsShareADatabaseHandle) {
  Handle database = msi_test::openDatabase(fixture("product"));
  const MSIHANDLE shared = database;
  std::vector<std::thread> threads;
  std::vector<int> failures(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([shared, t, &failures] {
      const char16_t* tables[] = {u"SELECT `Value` FROM `Property` WHERE `Property` = 'ProductName'",
                                  u"SELECT `DefaultDir` FROM `Directory` WHERE `Directory` = 'INSTALLDIR'",
                                  u"SELECT `Cabinet` FROM `Media` WHERE `DiskId` = 2",
                                  u"SELECT `Text` FROM `Fields` WHERE `Name` = 'exact'"};
      const char16_t* expected[] = {u"Ornel Sample", u"APPDIR|Some App", u"disk1.cab", u"abcdefghijklmnopqrstuvwxyz"};
      for (int i = 0; i < 200; ++i) {
        Handle view, row;
        if (msi_test::openView(shared, tables[t], view) != ERROR_SUCCESS || MsiViewFetch(view, row.out()) != 0 ||
            fieldText(row, 1) != expected[t])
          ++failures[t];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

// The first package opens of a process, made from several threads at the
// same moment: GLib's type system meets libgsf's and libmsi's classes for
// the first time there, which crashed a good share of fresh processes. Each
// run is a fresh process (a death-test child that re-executes this binary),
// since only the first use in a process can race. Without the types
// registered up front, one process in about 25 crashed here.
constexpr int kThreads = 8, kProcesses = 200;

// What isValid and getProductName do at once on the first use of the
// default package: open it and read its summary information.
bool openAndReadSummary(const platform::wstring& path) {
  msi_test::Handle database;
  if (MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_READONLY, database.out()) != ERROR_SUCCESS) return false;
  msi_test::Handle summary;
  return MsiGetSummaryInformationW(database, nullptr, 0, summary.out()) == ERROR_SUCCESS;
}

[[noreturn]] void openFromThreadsAtOnce() {
  const platform::wstring path = test_packages::fixture("product");
  std::atomic<int> waiting{kThreads}, failures{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      // All threads leave this line together, so their opens overlap.
      for (waiting.fetch_sub(1); waiting.load() > 0;) std::this_thread::yield();
      if (!openAndReadSummary(path)) failures.fetch_add(1);
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::exit(failures.load() == 0 ? 0 : 1);
}

TEST(FirstOpen, ThreadsOpeningAtOnceInAFreshProcessAllSucceed) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (int run = 0; run < kProcesses && !HasFailure(); ++run) {
    EXPECT_EXIT(openFromThreadsAtOnce(), ::testing::ExitedWithCode(0), "") << "process " << run;
  }
}

}  // namespace
