// MsiDatabase, MsiView and MsiRecord over real packages.
#include <gtest/gtest.h>

#include "../support/test_packages.h"
#include "install/msi/msi_database.h"
#include "install/msi/msi_strings.h"
#include "install/msi/package_readers.h"

namespace {

using installer::msi_wrapper::MsiDatabase;
using installer::msi_wrapper::MsiRecord;
using installer::msi_wrapper::MsiView;
using installer::msi_wrapper::openMsiDatabase;
using test_packages::fixture;
using test_packages::MachineFile;
using test_packages::PackageCopy;

std::unique_ptr<MsiDatabase> openOrFail(const platform::wstring& path, std::int32_t mode) {
  std::uint32_t error = 12345;
  auto database = openMsiDatabase(path, mode, error);
  EXPECT_EQ(error, 0u);
  return database;
}

platform::wstring propertyOf(const platform::wstring& path, const platform::wstring& name) {
  std::uint32_t error = 0;
  auto database = openMsiDatabase(path, 0, error);
  std::unique_ptr<MsiView> view;
  if (error != 0 || database->openView(u"SELECT Value FROM Property WHERE Property='" + name + u"'", view) != 0)
    return u"<error>";
  std::unique_ptr<MsiRecord> row = view->fetch();
  return row ? row->getString(1) : u"<missing>";
}

std::unique_ptr<MsiRecord> propertyRecord(MsiView& view, const platform::wstring& name, const platform::wstring& value) {
  std::unique_ptr<MsiRecord> record = view.createRecord(2);
  EXPECT_EQ(record->setString(1, name), 0u);
  EXPECT_EQ(record->setString(2, value), 0u);
  return record;
}

TEST(OpenMsiDatabase, AFailedOpenStillGivesAnObject) {
  MachineFile text("not-a-package.msi", "plain text\n");
  for (const platform::wstring& path : {text.path, platform::wstring(u"C:\\Packages\\missing.msi")}) {
    std::uint32_t error = 0;
    std::unique_ptr<MsiDatabase> database = openMsiDatabase(path, 0, error);
    ASSERT_NE(database, nullptr);
    EXPECT_EQ(error, std::uint32_t(ERROR_OPEN_FAILED));
  }
}

// Only mode 1 opens for writing; it writes in place, and the row is in the
// file once the objects are gone, with no commit asked for.
TEST(OpenMsiDatabase, OnlyModeOneWritesAndItKeepsTheRow) {
  PackageCopy copy("product", "modes");
  for (std::int32_t mode : {0, 2, -1, 7}) {
    auto database = openOrFail(copy.path, mode);
    std::unique_ptr<MsiView> view;
    ASSERT_EQ(database->openView(u"select * from Property", view), 0u);
    std::unique_ptr<MsiRecord> record = propertyRecord(*view, u"AGREETOEULA", u"1");
    EXPECT_EQ(view->insertRecord(record), std::uint32_t(ERROR_ACCESS_DENIED)) << "mode " << mode;
  }
  EXPECT_EQ(propertyOf(copy.path, u"AGREETOEULA"), u"<missing>");
  {
    auto database = openOrFail(copy.path, 1);
    std::unique_ptr<MsiView> view;
    ASSERT_EQ(database->openView(u"select * from Property", view), 0u);
    std::unique_ptr<MsiRecord> record = propertyRecord(*view, u"AGREETOEULA", u"1");
    EXPECT_EQ(view->insertRecord(record), 0u);
  }
  EXPECT_EQ(propertyOf(copy.path, u"AGREETOEULA"), u"1");

  // The same key again fails, and the file is left byte for byte.
  const std::string before = copy.bytes();
  {
    auto database = openOrFail(copy.path, 1);
    std::unique_ptr<MsiView> view;
    ASSERT_EQ(database->openView(u"select * from Property", view), 0u);
    std::unique_ptr<MsiRecord> record = propertyRecord(*view, u"AGREETOEULA", u"2");
    EXPECT_EQ(view->insertRecord(record), std::uint32_t(ERROR_FUNCTION_FAILED));
  }
  EXPECT_EQ(copy.bytes(), before);
  EXPECT_EQ(propertyOf(copy.path, u"AGREETOEULA"), u"1");
}

TEST(MsiViewWrapper, DeleteRecordRemovesAFetchedRow) {
  PackageCopy copy("product", "delete");
  {
    auto database = openOrFail(copy.path, 1);
    std::unique_ptr<MsiView> view;
    ASSERT_EQ(database->openView(u"SELECT * FROM Property WHERE Property='EXACT10'", view), 0u);
    std::unique_ptr<MsiRecord> row = view->fetch();
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(view->deleteRecord(row), 0u);
    std::unique_ptr<MsiRecord> none;
    EXPECT_EQ(view->insertRecord(none), std::uint32_t(ERROR_INVALID_HANDLE));
  }
  EXPECT_EQ(propertyOf(copy.path, u"EXACT10"), u"<missing>");
}

TEST(MsiDatabaseWrapper, AFailedQueryLeavesTheCallersView) {
  auto database = openOrFail(fixture("product"), 0);
  std::unique_ptr<MsiView> view;
  ASSERT_EQ(database->openView(u"SELECT Cabinet FROM Media WHERE DiskId=2", view), 0u);
  MsiView* before = view.get();
  EXPECT_EQ(database->openView(u"SELECT * FROM NoSuchTable", view), std::uint32_t(ERROR_BAD_QUERY_SYNTAX));
  EXPECT_EQ(view.get(), before);
  // Prepared but refused at execute: a write on a read-only database.
  EXPECT_EQ(database->openView(u"INSERT INTO Property (Property, Value) VALUES ('A', 'B')", view),
            std::uint32_t(ERROR_FUNCTION_FAILED));
  EXPECT_EQ(view.get(), before);
  std::unique_ptr<MsiRecord> row = view->fetch();
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->getString(1), u"disk1.cab");
}

TEST(MsiViewWrapper, FetchAfterTheLastRowGivesNothing) {
  auto database = openOrFail(fixture("product"), 0);
  std::unique_ptr<MsiView> view;
  ASSERT_EQ(database->openView(u"SELECT Property FROM Property WHERE Property='ProductName'", view), 0u);
  EXPECT_NE(view->fetch(), nullptr);
  EXPECT_EQ(view->fetch(), nullptr);
  EXPECT_EQ(view->fetch(), nullptr);
}

class FieldsRows : public ::testing::Test {
 protected:
  std::unique_ptr<MsiRecord> row(const char16_t* name) {
    std::unique_ptr<MsiView> view;
    EXPECT_EQ(database->openView(platform::wstring(u"SELECT Name, Text, Number FROM Fields WHERE Name='") + name + u"'",
                                 view),
              0u);
    return view->fetch();
  }
  std::unique_ptr<MsiDatabase> database = openOrFail(fixture("product"), 0);
};

TEST_F(FieldsRows, TextOfExactlyNCharactersComesBackWhole) {
  std::unique_ptr<MsiRecord> exact = row(u"exact");
  ASSERT_NE(exact, nullptr);
  EXPECT_EQ(exact->getFieldCount(), 3u);
  EXPECT_EQ(exact->getString(2), u"abcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(exact->getInteger(3), 26);
  EXPECT_EQ(exact->getString(3), u"26");
  EXPECT_FALSE(exact->isNull(2));
}

TEST_F(FieldsRows, NullAndEmptyFieldsBothReadAsEmpty) {
  std::unique_ptr<MsiRecord> null = row(u"null");
  ASSERT_NE(null, nullptr);
  EXPECT_TRUE(null->isNull(2));
  EXPECT_EQ(null->getString(2), u"");
  EXPECT_EQ(null->getInteger(3), INT32_MIN);
  platform::wstring value = u"stale";
  EXPECT_EQ(installer::msi_wrapper::readRecordString(0, 1, value), std::uint32_t(ERROR_INVALID_HANDLE));
  EXPECT_EQ(value, u"");

  std::unique_ptr<MsiView> view;
  ASSERT_EQ(database->openView(u"SELECT Name FROM Fields", view), 0u);
  std::unique_ptr<MsiRecord> made = view->createRecord(2);
  EXPECT_EQ(made->setString(1, u""), 0u);
  EXPECT_EQ(made->setInteger(2, 5), 0u);
  EXPECT_TRUE(made->isNull(1));
  EXPECT_EQ(made->getString(1), u"");
  EXPECT_EQ(made->getInteger(2), 5);
  EXPECT_EQ(made->setString(3, u"x"), std::uint32_t(ERROR_INVALID_PARAMETER));
}

TEST_F(FieldsRows, ReadRecordStringCodes) {
  std::unique_ptr<MsiView> view;
  ASSERT_EQ(database->openView(u"SELECT Name, Data FROM Binary", view), 0u);
  std::unique_ptr<MsiRecord> blob = view->fetch();
  ASSERT_NE(blob, nullptr);
  // A stream field has no text: the code reaches readRecordString's caller,
  // getString folds it into "".
  EXPECT_EQ(blob->getString(2), u"");
  EXPECT_EQ(blob->getString(1), u"Blob");
}

TEST(Utf8Text, SurvivesTheWrappers) {
  auto database = openOrFail(fixture("unicode"), 0);
  std::unique_ptr<MsiView> view;
  ASSERT_EQ(database->openView(u"SELECT Value FROM Property WHERE Property='JAPANESE'", view), 0u);
  std::unique_ptr<MsiRecord> row = view->fetch();
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->getString(1), u"\u65e5\u672c\u8a9e\u306e\u30c6\u30ad\u30b9\u30c8");
}

// The rows that msi_fixture adds to what wixl wrote.
TEST(TestPackages, CarryWhatWixlCannotWrite) {
  auto database = openOrFail(fixture("product"), 0);
  std::unique_ptr<MsiView> view;
  ASSERT_EQ(database->openView(u"SELECT Attributes FROM Upgrade ORDER BY Attributes", view), 0u);
  std::vector<std::int32_t> attributes;
  while (std::unique_ptr<MsiRecord> row = view->fetch()) attributes.push_back(row->getInteger(1));
  EXPECT_EQ(attributes, (std::vector<std::int32_t>{257, 768}));
  ASSERT_EQ(database->openView(u"SELECT Feature_, Level, Condition FROM Condition", view), 0u);
  std::unique_ptr<MsiRecord> condition = view->fetch();
  ASSERT_NE(condition, nullptr);
  EXPECT_EQ(condition->getString(1), u"Complete");
  EXPECT_EQ(condition->getInteger(2), 0);
  EXPECT_EQ(condition->getString(3), u"VersionNT < 601");
}

}  // namespace
