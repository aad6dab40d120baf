// MsiViewExecute, MsiViewFetch, MsiViewClose and MsiViewModify of the
// emulated machine.
#include <gtest/gtest.h>

#include "msi_test_helpers.h"

namespace {

using msi_test::fieldText;
using msi_test::Handle;
using msi_test::propertyOf;
using msi_test::runSql;
using test_packages::fixture;
using test_packages::PackageCopy;

class ReadOnlyPackage : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(MsiOpenDatabaseW(fixture("product").c_str(), MSIDBOPEN_READONLY, database.out()), UINT(ERROR_SUCCESS));
  }
  Handle database;
};

TEST_F(ReadOnlyPackage, FetchNeedsAnExecuteFirst) {
  Handle view;
  ASSERT_EQ(MsiDatabaseOpenViewW(database, u"SELECT `Property` FROM `Property`", view.out()), UINT(ERROR_SUCCESS));
  MSIHANDLE record = 0;
  // libmsi itself hands out rows here.
  EXPECT_EQ(MsiViewFetch(view, &record), UINT(ERROR_FUNCTION_FAILED));
  EXPECT_EQ(record, MSIHANDLE(0));
  ASSERT_EQ(MsiViewExecute(view, 0), UINT(ERROR_SUCCESS));
  Handle row;
  EXPECT_EQ(MsiViewFetch(view, row.out()), UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewClose(view), UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewFetch(view, &record), UINT(ERROR_FUNCTION_FAILED));
  EXPECT_EQ(MsiViewFetch(view, nullptr), UINT(ERROR_INVALID_PARAMETER));
}

TEST_F(ReadOnlyPackage, TheEndOfTheRowsIsNoMoreItemsEveryTime) {
  Handle view;
  ASSERT_EQ(msi_test::openView(database, u"SELECT `Cabinet` FROM `Media` ORDER BY `DiskId`", view),
            UINT(ERROR_SUCCESS));
  std::u16string cabinets;
  for (;;) {
    Handle row;
    const UINT code = MsiViewFetch(view, row.out());
    if (code != ERROR_SUCCESS) {
      EXPECT_EQ(code, UINT(ERROR_NO_MORE_ITEMS));
      break;
    }
    cabinets += fieldText(row, 1) + u";";
  }
  EXPECT_EQ(cabinets, u"#product.cab;disk1.cab;;");
  MSIHANDLE row = 0;
  EXPECT_EQ(MsiViewFetch(view, &row), UINT(ERROR_NO_MORE_ITEMS));
  EXPECT_EQ(MsiViewFetch(view, &row), UINT(ERROR_NO_MORE_ITEMS));
  EXPECT_EQ(row, MSIHANDLE(0));
}

// libmsi crashes when a query with "?" runs without a parameter record.
TEST_F(ReadOnlyPackage, ParameterMarkersWithAndWithoutARecord) {
  Handle view;
  ASSERT_EQ(MsiDatabaseOpenViewW(database, u"SELECT `Value` FROM `Property` WHERE `Property` = ?", view.out()),
            UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewExecute(view, 0), UINT(ERROR_SUCCESS));
  MSIHANDLE none = 0;
  EXPECT_EQ(MsiViewFetch(view, &none), UINT(ERROR_NO_MORE_ITEMS));
  Handle params(MsiCreateRecord(1));
  MsiRecordSetStringW(params, 1, u"ProductName");
  ASSERT_EQ(MsiViewExecute(view, params), UINT(ERROR_SUCCESS));
  Handle row;
  ASSERT_EQ(MsiViewFetch(view, row.out()), UINT(ERROR_SUCCESS));
  EXPECT_EQ(fieldText(row, 1), u"Ornel Sample");
}

class WritablePackage : public ::testing::Test {
 protected:
  WritablePackage() : copy("product", ::testing::UnitTest::GetInstance()->current_test_info()->name()) {}
  void SetUp() override {
    before = copy.bytes();
    ASSERT_EQ(MsiOpenDatabaseW(copy.path.c_str(), MSIDBOPEN_DIRECT, database.out()), UINT(ERROR_SUCCESS));
    ASSERT_EQ(msi_test::openView(database, u"SELECT * FROM `Property`", view), UINT(ERROR_SUCCESS));
  }
  MSIHANDLE propertyRecord(const std::u16string& name, const std::u16string& value) {
    const MSIHANDLE record = MsiCreateRecord(2);
    MsiRecordSetStringW(record, 1, name.c_str());
    MsiRecordSetStringW(record, 2, value.c_str());
    return record;
  }
  void closeAll() {
    view.close();
    database.close();
  }
  PackageCopy copy;
  std::string before;
  Handle database;
  Handle view;
};

TEST_F(WritablePackage, InsertAddsARowDeleteRemovesTheFetchedRowEachOnce) {
  Handle added(propertyRecord(u"ADDED", u"first"));
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, added), UINT(ERROR_SUCCESS));
  Handle again(propertyRecord(u"ADDED", u"second"));
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, again), UINT(ERROR_FUNCTION_FAILED));

  Handle one;
  ASSERT_EQ(msi_test::openView(database, u"SELECT * FROM `Property` WHERE `Property` = 'EXACT10'", one),
            UINT(ERROR_SUCCESS));
  Handle row;
  ASSERT_EQ(MsiViewFetch(one, row.out()), UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewModify(one, MSIMODIFY_DELETE, row), UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewModify(one, MSIMODIFY_DELETE, row), UINT(ERROR_FUNCTION_FAILED));
  // A view without the primary keys cannot delete.
  Handle values;
  ASSERT_EQ(msi_test::openView(database, u"SELECT `Value` FROM `Property`", values), UINT(ERROR_SUCCESS));
  Handle value;
  ASSERT_EQ(MsiViewFetch(values, value.out()), UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewModify(values, MSIMODIFY_DELETE, value), UINT(ERROR_FUNCTION_FAILED));
  one.close();
  values.close();
  closeAll();
  EXPECT_EQ(propertyOf(copy.path, u"ADDED"), u"first");
  EXPECT_EQ(propertyOf(copy.path, u"EXACT10"), u"<missing>");
  EXPECT_EQ(propertyOf(copy.path, u"ProductName"), u"Ornel Sample");
}

TEST_F(WritablePackage, ModifyRefusesWhatItCannotDo) {
  Handle record(propertyRecord(u"ADDED", u"x"));
  Handle shortRecord(MsiCreateRecord(1));
  MsiRecordSetStringW(shortRecord, 1, u"SHORT");
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, shortRecord), UINT(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY(42), record), UINT(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_UPDATE, record), UINT(ERROR_CALL_NOT_IMPLEMENTED));
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, 0), UINT(ERROR_INVALID_HANDLE));
  Handle join;
  ASSERT_EQ(msi_test::openView(database,
                               u"SELECT `Property`.`Property`, `Media`.`Cabinet` FROM `Property`, `Media`", join),
            UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewModify(join, MSIMODIFY_INSERT, record), UINT(ERROR_FUNCTION_FAILED));
  Handle unexecuted;
  ASSERT_EQ(MsiDatabaseOpenViewW(database, u"SELECT * FROM `Property`", unexecuted.out()), UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewModify(unexecuted, MSIMODIFY_INSERT, record), UINT(ERROR_FUNCTION_FAILED));
  join.close();
  unexecuted.close();
  closeAll();
  EXPECT_EQ(copy.bytes(), before);
}

// libmsi's temporary rows corrupt their table when it commits: they never
// reach libmsi, and the table survives the close.
TEST_F(WritablePackage, TemporaryRowsAreRefused) {
  Handle record(propertyRecord(u"TEMP", u"t"));
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT_TEMPORARY, record), UINT(ERROR_CALL_NOT_IMPLEMENTED));
  EXPECT_EQ(runSql(database, u"INSERT INTO `Property` (`Property`, `Value`) VALUES ('TEMP', 't') TEMPORARY"),
            UINT(ERROR_CALL_NOT_IMPLEMENTED));
  Handle added(propertyRecord(u"ADDED", u"kept"));
  ASSERT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, added), UINT(ERROR_SUCCESS));
  closeAll();
  EXPECT_EQ(propertyOf(copy.path, u"TEMP"), u"<missing>");
  EXPECT_EQ(propertyOf(copy.path, u"ADDED"), u"kept");
  EXPECT_EQ(propertyOf(copy.path, u"ProductName"), u"Ornel Sample");
  EXPECT_EQ(propertyOf(copy.path, u"EXACT10"), u"0123456789");
}

// Under the default codepage libmsi commits text it cannot convert as an
// empty string. The emulation refuses such writes.
TEST_F(WritablePackage, TextTheCodepageCannotHoldIsRefused) {
  Handle record(propertyRecord(u"JAPANESE", u"\u65e5\u672c\u8a9e"));
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, record), UINT(ERROR_FUNCTION_FAILED));
  EXPECT_EQ(runSql(database, u"INSERT INTO `Property` (`Property`, `Value`) VALUES ('JAPANESE', '\u65e5\u672c')"),
            UINT(ERROR_FUNCTION_FAILED));
  Handle insert;
  ASSERT_EQ(MsiDatabaseOpenViewW(database, u"INSERT INTO `Property` (`Property`, `Value`) VALUES (?, ?)", insert.out()),
            UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewExecute(insert, record), UINT(ERROR_FUNCTION_FAILED));
  insert.close();
  closeAll();
  EXPECT_EQ(copy.bytes(), before);
}

TEST(Utf8Package, KeepsTextOfAnyScript) {
  PackageCopy copy("unicode", "unicode-insert");
  EXPECT_EQ(propertyOf(copy.path, u"JAPANESE"), u"\u65e5\u672c\u8a9e\u306e\u30c6\u30ad\u30b9\u30c8");
  {
    Handle database;
    ASSERT_EQ(MsiOpenDatabaseW(copy.path.c_str(), MSIDBOPEN_DIRECT, database.out()), UINT(ERROR_SUCCESS));
    Handle view;
    ASSERT_EQ(msi_test::openView(database, u"SELECT * FROM `Property`", view), UINT(ERROR_SUCCESS));
    Handle record(MsiCreateRecord(2));
    MsiRecordSetStringW(record, 1, u"GREEK");
    MsiRecordSetStringW(record, 2, u"\u03b1\u03b2\u03b3 \U0001F600");
    EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, record), UINT(ERROR_SUCCESS));
  }
  EXPECT_EQ(propertyOf(copy.path, u"GREEK"), u"\u03b1\u03b2\u03b3 \U0001F600");
}

}  // namespace
