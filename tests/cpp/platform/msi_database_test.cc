// MsiOpenDatabaseW, MsiDatabaseCommit, MsiDatabaseOpenViewW and
// MsiCloseHandle of the emulated machine, on real packages.
#include <gtest/gtest.h>

#include <thread>

#include "msi_test_helpers.h"

namespace {

using msi_test::Handle;
using msi_test::propertyOf;
using msi_test::runSql;
using test_packages::fixture;
using test_packages::MachineFile;
using test_packages::PackageCopy;

const std::u16string kInsertRow = u"INSERT INTO `Property` (`Property`, `Value`) VALUES ('ADDED', 'yes')";

TEST(MsiOpenDatabase, FilesThatAreNotPackagesGiveOpenFailed) {
  MachineFile text("notes.msi", "This is not a package.\n");
  MachineFile empty("empty.msi", "");
  const std::string whole = test_packages::readBytes(test_packages::fixtureHostPath("product"));
  MachineFile truncated("truncated.msi", whole.substr(0, 1536));
  MachineFile garbled("garbled.msi", whole.substr(0, 512) + std::string(whole.size() - 512, '\x5a'));
  for (const std::u16string& path : {text.path, empty.path, truncated.path, garbled.path,
                                     std::u16string(u"C:\\Packages\\missing.msi"), std::u16string(u"C:\\Packages"),
                                     std::u16string(u"\\\\server\\share\\product.msi")}) {
    MSIHANDLE database = 12345;
    EXPECT_EQ(MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_READONLY, &database), UINT(ERROR_OPEN_FAILED));
    EXPECT_EQ(database, MSIHANDLE(12345)) << "a failed open leaves the out-parameter alone";
  }
}

TEST(MsiOpenDatabase, RefusesWhatItCannotDo) {
  MSIHANDLE database = 0;
  const std::u16string path = fixture("product");
  EXPECT_EQ(MsiOpenDatabaseW(nullptr, MSIDBOPEN_READONLY, &database), UINT(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(MsiOpenDatabaseW(path.c_str(), MSIDBOPEN_READONLY, nullptr), UINT(ERROR_INVALID_PARAMETER));
  // An output file and a patch file are beyond the emulated machine.
  EXPECT_EQ(MsiOpenDatabaseW(path.c_str(), u"C:\\out.msi", &database), UINT(ERROR_INVALID_PARAMETER));
  const auto patch = reinterpret_cast<LPCWSTR>(std::uintptr_t(MSIDBOPEN_PATCHFILE));
  EXPECT_EQ(MsiOpenDatabaseW(path.c_str(), patch, &database), UINT(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(database, MSIHANDLE(0));
}

// libmsi's own direct mode deletes a file that is released without a
// commit; the emulation's direct mode must keep it, byte for byte, and
// commit only when the last handle closes.
TEST(MsiOpenDatabase, DirectModeCommitsWhenTheLastHandleCloses) {
  PackageCopy copy("product", "direct-commit");
  const std::string before = copy.bytes();
  Handle database = msi_test::openDatabase(copy.path, MSIDBOPEN_DIRECT);
  EXPECT_EQ(propertyOf(copy.path, u"ProductName"), u"Ornel Sample");
  EXPECT_EQ(database.close(), UINT(ERROR_SUCCESS));
  EXPECT_EQ(copy.bytes(), before);

  database = msi_test::openDatabase(copy.path, MSIDBOPEN_DIRECT);
  Handle view = msi_test::executedView(database, kInsertRow);
  // The view still holds the database: closing the database handle first
  // must not write yet, nor lose the row.
  EXPECT_EQ(database.close(), UINT(ERROR_SUCCESS));
  EXPECT_EQ(copy.bytes(), before);
  EXPECT_EQ(view.close(), UINT(ERROR_SUCCESS));
  EXPECT_EQ(propertyOf(copy.path, u"ADDED"), u"yes");
  EXPECT_EQ(propertyOf(copy.path, u"ProductName"), u"Ornel Sample");
}

// A row with a stream still reads from its database, so it keeps the
// database open; the commit follows the row's close, on whichever thread.
TEST(MsiOpenDatabase, ARowWithAStreamIsTheLastHandle) {
  PackageCopy copy("product", "stream-row");
  Handle database = msi_test::openDatabase(copy.path, MSIDBOPEN_DIRECT);
  ASSERT_EQ(runSql(database, kInsertRow), UINT(ERROR_SUCCESS));
  Handle view = msi_test::executedView(database, u"SELECT `Name`, `Data` FROM `Binary`");
  MSIHANDLE row = 0;
  ASSERT_EQ(MsiViewFetch(view, &row), UINT(ERROR_SUCCESS));
  EXPECT_EQ(msi_test::fieldText(row, 1), u"Blob");
  view.close();
  database.close();
  EXPECT_EQ(propertyOf(copy.path, u"ADDED"), u"<missing>");
  UINT closed = 99;
  std::thread([&] { closed = MsiCloseHandle(row); }).join();
  EXPECT_EQ(closed, UINT(ERROR_SUCCESS));
  EXPECT_EQ(propertyOf(copy.path, u"ADDED"), u"yes");
}

TEST(MsiOpenDatabase, TransactModeWritesOnlyOnCommit) {
  PackageCopy copy("product", "transact");
  EXPECT_EQ(runSql(msi_test::openDatabase(copy.path, MSIDBOPEN_TRANSACT), kInsertRow), UINT(ERROR_SUCCESS));
  EXPECT_EQ(propertyOf(copy.path, u"ADDED"), u"<missing>");
  Handle database = msi_test::openDatabase(copy.path, MSIDBOPEN_TRANSACT);
  ASSERT_EQ(runSql(database, kInsertRow), UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiDatabaseCommit(database), UINT(ERROR_SUCCESS));
  EXPECT_EQ(propertyOf(copy.path, u"ADDED"), u"yes");
  // The database stays usable after a commit.
  EXPECT_EQ(runSql(database, u"DELETE FROM `Property` WHERE `Property` = 'ADDED'"), UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiDatabaseCommit(database), UINT(ERROR_SUCCESS));
  EXPECT_EQ(propertyOf(copy.path, u"ADDED"), u"<missing>");
}

TEST(MsiOpenDatabase, CreateDirectMakesANewDatabase) {
  const std::u16string path = u"C:\\Packages\\created.msi";
  {
    Handle database = msi_test::openDatabase(path, MSIDBOPEN_CREATEDIRECT);
    ASSERT_EQ(runSql(database, u"CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` CHAR(0) NOT NULL "
                               u"LOCALIZABLE PRIMARY KEY `Property`)"),
              UINT(ERROR_SUCCESS));
    ASSERT_EQ(runSql(database, kInsertRow), UINT(ERROR_SUCCESS));
  }
  EXPECT_EQ(propertyOf(path, u"ADDED"), u"yes");
}

// A read-only libmsi database takes writes in memory and drops them at
// commit; the emulation refuses them with Windows' codes instead.
TEST(MsiOpenDatabase, ReadOnlyHandlesRefuseWrites) {
  PackageCopy copy("product", "read-only");
  const std::string before = copy.bytes();
  Handle database = msi_test::openDatabase(copy.path);
  EXPECT_EQ(runSql(database, kInsertRow), UINT(ERROR_FUNCTION_FAILED));
  EXPECT_EQ(runSql(database, u"DELETE FROM `Property` WHERE `Property` = 'ProductName'"), UINT(ERROR_FUNCTION_FAILED));
  EXPECT_EQ(runSql(database, u"UPDATE `Property` SET `Value` = 'x' WHERE `Property` = 'ProductName'"),
            UINT(ERROR_FUNCTION_FAILED));
  Handle view = msi_test::executedView(database, u"SELECT * FROM `Property`");
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, msi_test::textRecord({u"ADDED", u"yes"})), UINT(ERROR_ACCESS_DENIED));
  EXPECT_EQ(MsiDatabaseCommit(database), UINT(ERROR_SUCCESS));
  view.close();
  database.close();
  EXPECT_EQ(copy.bytes(), before);
  EXPECT_EQ(propertyOf(copy.path, u"ProductName"), u"Ornel Sample");
}

TEST(MsiDatabaseOpenView, BadQueriesGiveBadQuerySyntax) {
  Handle database;
  ASSERT_EQ(MsiOpenDatabaseW(fixture("product").c_str(), MSIDBOPEN_READONLY, database.out()), UINT(ERROR_SUCCESS));
  for (const char16_t* sql : {u"SELEC * FROM `Property`", u"SELECT * FROM `NoSuchTable`",
                              u"SELECT `NoSuchColumn` FROM `Property`", u"SELECT * FROM `Property` WHERE"}) {
    MSIHANDLE view = 777;
    EXPECT_EQ(MsiDatabaseOpenViewW(database, sql, &view), UINT(ERROR_BAD_QUERY_SYNTAX));
    EXPECT_EQ(view, MSIHANDLE(777));
  }
  MSIHANDLE view = 0;
  EXPECT_EQ(MsiDatabaseOpenViewW(database, nullptr, &view), UINT(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(MsiDatabaseOpenViewW(database, u"SELECT * FROM `Property`", nullptr), UINT(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(MsiDatabaseOpenViewW(0, u"SELECT * FROM `Property`", &view), UINT(ERROR_INVALID_HANDLE));
}

TEST(MsiHandles, ZeroClosedAndWrongKindHandlesAnswerAsWindowsDoes) {
  EXPECT_EQ(MsiCloseHandle(0), UINT(ERROR_SUCCESS));
  const MSIHANDLE closed = MsiCreateRecord(1);
  EXPECT_EQ(MsiCloseHandle(closed), UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiCloseHandle(closed), UINT(ERROR_INVALID_HANDLE));
  Handle database = msi_test::openDatabase(fixture("product"));
  Handle view = msi_test::executedView(database, u"SELECT * FROM `Property`");
  Handle record(MsiCreateRecord(1));
  MSIHANDLE none = 0;
  DWORD size = 0;
  for (MSIHANDLE bad : {MSIHANDLE(0), closed, MSIHANDLE(database)}) {
    EXPECT_EQ(MsiRecordGetFieldCount(bad), UINT(-1));
    EXPECT_EQ(MsiRecordIsNull(bad, 1), BOOL(ERROR_INVALID_HANDLE));
    EXPECT_EQ(MsiRecordGetInteger(bad, 1), int(MSI_NULL_INTEGER));
    EXPECT_EQ(MsiRecordGetStringW(bad, 1, nullptr, &size), UINT(ERROR_INVALID_HANDLE));
    EXPECT_EQ(MsiRecordSetStringW(bad, 1, u"x"), UINT(ERROR_INVALID_HANDLE));
    EXPECT_EQ(MsiRecordSetInteger(bad, 1, 1), UINT(ERROR_INVALID_HANDLE));
  }
  EXPECT_EQ(MsiDatabaseOpenViewW(record, u"SELECT * FROM `Property`", &none), UINT(ERROR_INVALID_HANDLE));
  EXPECT_EQ(MsiViewExecute(database, 0), UINT(ERROR_INVALID_HANDLE));
  EXPECT_EQ(MsiViewExecute(view, database), UINT(ERROR_INVALID_HANDLE));
}

}  // namespace
