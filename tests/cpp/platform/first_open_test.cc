// The first package opens of a process, made from several threads at the
// same moment: GLib's type system meets libgsf's and libmsi's classes for
// the first time there, which crashed a good share of fresh processes. Each
// run is a fresh process (a death-test child that re-executes this binary),
// since only the first use in a process can race. Without the types
// registered up front, one process in about 25 crashed here.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "msi_test_helpers.h"

namespace {

constexpr int kThreads = 8;
constexpr int kProcesses = 200;

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
  std::atomic<int> waiting{kThreads};
  std::atomic<int> failures{0};
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
