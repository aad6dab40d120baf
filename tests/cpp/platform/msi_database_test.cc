// MsiOpenDatabaseW, MsiDatabaseCommit, MsiDatabaseOpenViewW, MsiCloseHandle and the summary information
// (MsiGetSummaryInformationW, MsiSummaryInfoGetPropertyW) of the emulated machine.
#include <gtest/gtest.h>

#include <thread>

#include "msi_test_helpers.h"

namespace {

using namespace msi_test;
using namespace test_packages;

const std::u16string kInsertRow = u"INSERT INTO `Property` (`Property`, `Value`) VALUES ('ADDED', 'yes')";

TEST(MsiOpenDatabase, FilesThatAreNotPackagesGiveOpenFailed) {
  MachineFile text("notes.msi", "This is not a package.\n"), empty("empty.msi", "");
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

// libmsi's direct mode deletes a file released without a commit; the emulation's must keep it, byte for
// byte, and commit only when the last handle closes.
TEST(MsiOpenDatabase, DirectModeCommitsWhenTheLastHandleCloses) {
  PackageCopy copy("product", "direct-commit");
  const std::string before = copy.bytes();
  Handle database = msi_test::openDatabase(copy.path, MSIDBOPEN_DIRECT);
  EXPECT_EQ(propertyOf(copy.path, u"ProductName"), u"Ornel Sample");
  EXPECT_EQ(database.close(), UINT(ERROR_SUCCESS));
  EXPECT_EQ(copy.bytes(), before);

  database = msi_test::openDatabase(copy.path, MSIDBOPEN_DIRECT);
  Handle view = msi_test::executedView(database, kInsertRow);
  // The view still holds the database: closing the database handle first must not write yet, nor lose the row.
  EXPECT_EQ(database.close(), UINT(ERROR_SUCCESS));
  EXPECT_EQ(copy.bytes(), before);
  EXPECT_EQ(view.close(), UINT(ERROR_SUCCESS));
  EXPECT_EQ(propertyOf(copy.path, u"ADDED"), u"yes");
  EXPECT_EQ(propertyOf(copy.path, u"ProductName"), u"Ornel Sample");
}

// A row with a stream still reads from its database, so it keeps the database open; the commit follows the
// row's close, on whichever thread.
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

// A read-only libmsi database takes writes in memory and drops them at commit; the emulation refuses them.
TEST(MsiOpenDatabase, ReadOnlyHandlesRefuseWrites) {
  PackageCopy copy("product", "read-only");
  const std::string before = copy.bytes();
  Handle database = msi_test::openDatabase(copy.path);
  for (const std::u16string& sql : {kInsertRow, std::u16string(u"DELETE FROM `Property` WHERE `Property` = 'ProductName'"),
                                    std::u16string(u"UPDATE `Property` SET `Value` = 'x' WHERE `Property` = 'ProductName'")})
    EXPECT_EQ(runSql(database, sql), UINT(ERROR_FUNCTION_FAILED));
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
  Handle view = msi_test::executedView(database, u"SELECT * FROM `Property`"), record(MsiCreateRecord(1));
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

const std::u16string kPackageCode = u"{3C8E5A1F-6B2D-4E7A-9F10-2A4B6C8D0E1F}";

class Summary : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(MsiGetSummaryInformationW(database, nullptr, 0, summary.out()), UINT(ERROR_SUCCESS)); }
  Handle database = msi_test::openDatabase(fixture("product")), summary;
};

TEST_F(Summary, PackageCodeWithTheSizingRule) {
  UINT type = 0;
  WCHAR empty[1] = {0};
  DWORD size = 0;
  EXPECT_EQ(MsiSummaryInfoGetPropertyW(summary, PID_REVNUMBER, &type, nullptr, nullptr, empty, &size), UINT(ERROR_MORE_DATA));
  EXPECT_EQ(type, UINT(VT_LPSTR));
  ASSERT_EQ(size, DWORD(kPackageCode.size()));
  std::u16string text(size, u'\0');
  DWORD capacity = size + 1;
  EXPECT_EQ(MsiSummaryInfoGetPropertyW(summary, PID_REVNUMBER, nullptr, nullptr, nullptr, &text[0], &capacity),
            UINT(ERROR_SUCCESS));
  EXPECT_EQ(std::make_pair(text, capacity), std::make_pair(kPackageCode, DWORD(kPackageCode.size())));
}

// libmsi's getters return garbage for a property of another type, so each is read with the getter of its type.
TEST_F(Summary, PropertiesComeWithWindowsTypes) {
  UINT type = 99;
  INT value = 0;
  FILETIME time = {0, 0};
  WCHAR buffer[8] = {u'q', 0};
  DWORD size = 8;
  // The code and the type of one property, read with the given outputs.
  auto get = [&](UINT pid, INT* number, FILETIME* when, WCHAR* text = nullptr, MSIHANDLE handle = 0) {
    const UINT code = MsiSummaryInfoGetPropertyW(handle ? handle : MSIHANDLE(summary), pid, &type, number, when, text,
                                                 text ? &size : nullptr);
    return std::make_pair(code, type);
  };
  using Got = std::pair<UINT, UINT>;
  EXPECT_EQ(get(PID_CODEPAGE, &value, nullptr), Got(ERROR_SUCCESS, VT_I2));
  EXPECT_EQ(get(PID_PAGECOUNT, &value, nullptr), Got(ERROR_SUCCESS, VT_I4));
  EXPECT_EQ(value, 200);
  EXPECT_EQ(get(PID_CREATE_DTM, nullptr, &time), Got(ERROR_SUCCESS, VT_FILETIME));
  EXPECT_NE(time.dwHighDateTime, DWORD(0));
  EXPECT_EQ(get(PID_LASTAUTHOR, &value, nullptr, buffer), Got(ERROR_SUCCESS, VT_EMPTY));
  EXPECT_EQ(get(25, nullptr, nullptr).first, UINT(ERROR_UNKNOWN_PROPERTY));
  EXPECT_EQ(get(PID_CODEPAGE, nullptr, nullptr, nullptr, database).first, UINT(ERROR_INVALID_HANDLE));
}

TEST(SummaryByPath, OpensThePackageItself) {
  Handle summary;
  ASSERT_EQ(MsiGetSummaryInformationW(0, fixture("product").c_str(), 0, summary.out()), UINT(ERROR_SUCCESS));
  WCHAR text[64];
  DWORD size = 64;
  EXPECT_EQ(MsiSummaryInfoGetPropertyW(summary, PID_REVNUMBER, nullptr, nullptr, nullptr, text, &size), UINT(ERROR_SUCCESS));
  EXPECT_EQ(std::u16string(text), kPackageCode);
  MSIHANDLE none = 0;
  EXPECT_EQ(MsiGetSummaryInformationW(0, nullptr, 0, &none), UINT(ERROR_INVALID_HANDLE));
  EXPECT_EQ(MsiGetSummaryInformationW(0, u"C:\\Packages\\missing.msi", 0, &none), UINT(ERROR_OPEN_FAILED));
  EXPECT_EQ(none, MSIHANDLE(0));
}

}  // namespace
