// MsiViewExecute, MsiViewFetch, MsiViewClose and MsiViewModify of the emulated machine.
#include <gtest/gtest.h>

#include "msi_test_helpers.h"

namespace {

using namespace msi_test;
using namespace test_packages;

TEST(MsiViewFetch, NeedsAnExecuteFirstAndEndsWithNoMoreItemsEveryTime) {
  Handle database = msi_test::openDatabase(fixture("product")), view;
  ASSERT_EQ(MsiDatabaseOpenViewW(database, u"SELECT `Cabinet` FROM `Media` ORDER BY `DiskId`", view.out()),
            UINT(ERROR_SUCCESS));
  MSIHANDLE row = 0;
  // libmsi itself hands out rows here.
  EXPECT_EQ(MsiViewFetch(view, &row), UINT(ERROR_FUNCTION_FAILED));
  EXPECT_EQ(row, MSIHANDLE(0));
  EXPECT_EQ(MsiViewFetch(view, nullptr), UINT(ERROR_INVALID_PARAMETER));
  ASSERT_EQ(MsiViewExecute(view, 0), UINT(ERROR_SUCCESS));
  std::u16string cabinets;
  while (Handle next = nextRow(view)) cabinets += fieldText(next, 1) + u";";
  EXPECT_EQ(cabinets, u"#product.cab;disk1.cab;;");
  EXPECT_EQ(MsiViewFetch(view, &row), UINT(ERROR_NO_MORE_ITEMS));
  EXPECT_EQ(MsiViewFetch(view, &row), UINT(ERROR_NO_MORE_ITEMS));
  EXPECT_EQ(row, MSIHANDLE(0));
  EXPECT_EQ(MsiViewClose(view), UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewFetch(view, &row), UINT(ERROR_FUNCTION_FAILED));
}

// libmsi crashes when a query with "?" runs without a parameter record.
TEST(MsiViewExecute, ParameterMarkersWithAndWithoutARecord) {
  Handle database = msi_test::openDatabase(fixture("product")), view;
  ASSERT_EQ(MsiDatabaseOpenViewW(database, u"SELECT `Value` FROM `Property` WHERE `Property` = ?", view.out()),
            UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewExecute(view, 0), UINT(ERROR_SUCCESS));
  MSIHANDLE none = 0;
  EXPECT_EQ(MsiViewFetch(view, &none), UINT(ERROR_NO_MORE_ITEMS));
  ASSERT_EQ(MsiViewExecute(view, textRecord({u"ProductName"})), UINT(ERROR_SUCCESS));
  EXPECT_EQ(fieldText(nextRow(view), 1), u"Ornel Sample");
}

// A copy of the product package open for writing, with a view of its Property table; each test checks what
// reached the file once all is closed.
class WritablePackage : public ::testing::Test {
 protected:
  WritablePackage() : copy("product", ::testing::UnitTest::GetInstance()->current_test_info()->name()) {}
  void closeAll() { view.close(), database.close(); }
  PackageCopy copy;
  std::string before = copy.bytes();
  Handle database = msi_test::openDatabase(copy.path, MSIDBOPEN_DIRECT);
  Handle view = executedView(database, u"SELECT * FROM `Property`");
};

TEST_F(WritablePackage, InsertAddsARowDeleteRemovesTheFetchedRowEachOnce) {
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, textRecord({u"ADDED", u"first"})), UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, textRecord({u"ADDED", u"second"})), UINT(ERROR_FUNCTION_FAILED));
  Handle one = executedView(database, u"SELECT * FROM `Property` WHERE `Property` = 'EXACT10'"), row = nextRow(one);
  EXPECT_EQ(MsiViewModify(one, MSIMODIFY_DELETE, row), UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewModify(one, MSIMODIFY_DELETE, row), UINT(ERROR_FUNCTION_FAILED));
  // A view without the primary keys cannot delete.
  Handle values = executedView(database, u"SELECT `Value` FROM `Property`");
  EXPECT_EQ(MsiViewModify(values, MSIMODIFY_DELETE, nextRow(values)), UINT(ERROR_FUNCTION_FAILED));
  one.close(); values.close(); closeAll();
  EXPECT_EQ(propertyOf(copy.path, u"ADDED"), u"first");
  EXPECT_EQ(propertyOf(copy.path, u"EXACT10"), u"<missing>");
  EXPECT_EQ(propertyOf(copy.path, u"ProductName"), u"Ornel Sample");
}

TEST_F(WritablePackage, ModifyRefusesWhatItCannotDo) {
  Handle record = textRecord({u"ADDED", u"x"});
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, textRecord({u"SHORT"})), UINT(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY(42), record), UINT(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_UPDATE, record), UINT(ERROR_CALL_NOT_IMPLEMENTED));
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, 0), UINT(ERROR_INVALID_HANDLE));
  Handle join = executedView(database, u"SELECT `Property`.`Property`, `Media`.`Cabinet` FROM `Property`, `Media`");
  EXPECT_EQ(MsiViewModify(join, MSIMODIFY_INSERT, record), UINT(ERROR_FUNCTION_FAILED));
  Handle unexecuted;
  ASSERT_EQ(MsiDatabaseOpenViewW(database, u"SELECT * FROM `Property`", unexecuted.out()), UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewModify(unexecuted, MSIMODIFY_INSERT, record), UINT(ERROR_FUNCTION_FAILED));
  join.close(); unexecuted.close(); closeAll();
  EXPECT_EQ(copy.bytes(), before);
}

// libmsi's temporary rows corrupt their table when it commits: they never reach libmsi; the table survives.
TEST_F(WritablePackage, TemporaryRowsAreRefused) {
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT_TEMPORARY, textRecord({u"TEMP", u"t"})), UINT(ERROR_CALL_NOT_IMPLEMENTED));
  EXPECT_EQ(runSql(database, u"INSERT INTO `Property` (`Property`, `Value`) VALUES ('TEMP', 't') TEMPORARY"),
            UINT(ERROR_CALL_NOT_IMPLEMENTED));
  ASSERT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, textRecord({u"ADDED", u"kept"})), UINT(ERROR_SUCCESS));
  closeAll();
  for (const auto& [name, value] : {std::pair{u"TEMP", u"<missing>"}, {u"ADDED", u"kept"}, {u"ProductName", u"Ornel Sample"},
                                    {u"EXACT10", u"0123456789"}})
    EXPECT_EQ(propertyOf(copy.path, name), value);
}

// Under the default codepage libmsi commits text it cannot convert as an empty string; the emulation refuses it.
TEST_F(WritablePackage, TextTheCodepageCannotHoldIsRefused) {
  Handle record = textRecord({u"JAPANESE", u"\u65e5\u672c\u8a9e"});
  EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, record), UINT(ERROR_FUNCTION_FAILED));
  EXPECT_EQ(runSql(database, u"INSERT INTO `Property` (`Property`, `Value`) VALUES ('JAPANESE', '\u65e5\u672c')"),
            UINT(ERROR_FUNCTION_FAILED));
  Handle insert;
  ASSERT_EQ(MsiDatabaseOpenViewW(database, u"INSERT INTO `Property` (`Property`, `Value`) VALUES (?, ?)", insert.out()),
            UINT(ERROR_SUCCESS));
  EXPECT_EQ(MsiViewExecute(insert, record), UINT(ERROR_FUNCTION_FAILED));
  insert.close(); closeAll();
  EXPECT_EQ(copy.bytes(), before);
}

TEST(Utf8Package, KeepsTextOfAnyScript) {
  PackageCopy copy("unicode", "unicode-insert");
  EXPECT_EQ(propertyOf(copy.path, u"JAPANESE"), u"\u65e5\u672c\u8a9e\u306e\u30c6\u30ad\u30b9\u30c8");
  {
    Handle database = msi_test::openDatabase(copy.path, MSIDBOPEN_DIRECT);
    Handle view = executedView(database, u"SELECT * FROM `Property`");
    EXPECT_EQ(MsiViewModify(view, MSIMODIFY_INSERT, textRecord({u"GREEK", u"\u03b1\u03b2\u03b3 \U0001F600"})),
              UINT(ERROR_SUCCESS));
  }
  EXPECT_EQ(propertyOf(copy.path, u"GREEK"), u"\u03b1\u03b2\u03b3 \U0001F600");
}

}  // namespace
