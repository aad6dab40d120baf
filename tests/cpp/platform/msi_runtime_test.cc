// The process-wide side of the emulated installer: GLib's messages and
// threads.
#include <gtest/gtest.h>
#include <libmsi.h>

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
        Handle view;
        Handle row;
        if (msi_test::openView(shared, tables[t], view) != ERROR_SUCCESS || MsiViewFetch(view, row.out()) != 0 ||
            fieldText(row, 1) != expected[t])
          ++failures[t];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
}

}  // namespace
