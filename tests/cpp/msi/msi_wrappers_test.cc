// MsiDatabase, MsiView and MsiRecord over real packages: what the wrappers
// add to the Windows Installer calls (open modes, folded failures, sizing).
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
using test_packages::PackageCopy;

std::unique_ptr<MsiDatabase> openOrFail(const platform::wstring& path, std::int32_t mode) {
  std::uint32_t error = 12345;
  auto database = openMsiDatabase(path, mode, error);
  EXPECT_EQ(error, 0u);
  return database;
}

platform::wstring propertyOf(const platform::wstring& path, const platform::wstring& name) {
  std::unique_ptr<MsiView> view;
  if (openOrFail(path, 0)->openView(u"SELECT Value FROM Property WHERE Property='" + name + u"'", view) != 0)
    return u"<error>";
  std::unique_ptr<MsiRecord> row = view->fetch();
  return row ? row->getString(1) : u"<missing>";
}

TEST(OpenMsiDatabase, AFailedOpenStillGivesAnObject) {
  test_packages::MachineFile text("not-a-package.msi", "plain text\n");
  for (const platform::wstring& path : {text.path, platform::wstring(u"C:\\Packages\\missing.msi")}) {
    std::uint32_t error = 0;
    EXPECT_NE(openMsiDatabase(path, 0, error), nullptr);
    EXPECT_EQ(error, std::uint32_t(ERROR_OPEN_FAILED));
  }
}

// Only mode 1 opens for writing; it writes in place, and the row is in the
// file once the objects are gone, with no commit asked for.
TEST(OpenMsiDatabase, OnlyModeOneWritesAndItKeepsTheRow) {
  PackageCopy copy("product", "modes");
  auto insert = [&](std::int32_t mode, const char16_t* value) {
    auto database = openOrFail(copy.path, mode);
    std::unique_ptr<MsiView> view;
    EXPECT_EQ(database->openView(u"select * from Property", view), 0u);
    std::unique_ptr<MsiRecord> record = view->createRecord(2);
    EXPECT_EQ(record->setString(1, u"AGREETOEULA"), 0u);
    EXPECT_EQ(record->setString(2, value), 0u);
    return view->insertRecord(record);
  };
  for (std::int32_t mode : {0, 2, -1, 7}) EXPECT_EQ(insert(mode, u"1"), std::uint32_t(ERROR_ACCESS_DENIED)) << mode;
  EXPECT_EQ(propertyOf(copy.path, u"AGREETOEULA"), u"<missing>");
  EXPECT_EQ(insert(1, u"1"), 0u);
  EXPECT_EQ(propertyOf(copy.path, u"AGREETOEULA"), u"1");
  // The same key again fails, and the file is left byte for byte.
  const std::string before = copy.bytes();
  EXPECT_EQ(insert(1, u"2"), std::uint32_t(ERROR_FUNCTION_FAILED));
  EXPECT_EQ(copy.bytes(), before);

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
  EXPECT_EQ(view->fetch(), nullptr);
  EXPECT_EQ(view->fetch(), nullptr);
}

TEST(MsiRecordWrapper, FailedReadsFoldIntoEmptyText) {
  auto database = openOrFail(fixture("product"), 0);
  std::unique_ptr<MsiView> view;
  ASSERT_EQ(database->openView(u"SELECT Name, Text, Number FROM Fields WHERE Name='exact'", view), 0u);
  std::unique_ptr<MsiRecord> exact = view->fetch();
  ASSERT_NE(exact, nullptr);
  // Text of exactly the first guess's size comes back whole.
  EXPECT_EQ(exact->getFieldCount(), 3u);
  EXPECT_EQ(exact->getString(2), u"abcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(exact->getInteger(3), 26);
  // A stream field has no text: getString folds the code into "".
  ASSERT_EQ(database->openView(u"SELECT Name, Data FROM Binary", view), 0u);
  std::unique_ptr<MsiRecord> blob = view->fetch();
  ASSERT_NE(blob, nullptr);
  EXPECT_EQ(blob->getString(2), u"");
  EXPECT_EQ(blob->getString(1), u"Blob");
  platform::wstring value = u"stale";
  EXPECT_EQ(installer::msi_wrapper::readRecordString(0, 1, value), std::uint32_t(ERROR_INVALID_HANDLE));
  EXPECT_EQ(value, u"");
}

}  // namespace
