// MsiCreateRecord and the MsiRecord* functions of the emulated machine.
#include <gtest/gtest.h>

#include <set>

#include "msi_test_helpers.h"
#include "platform/emulated/msi_database/libmsi_runtime.h"

namespace {

using msi_test::fieldText;
using msi_test::Handle;
using test_packages::fixture;

TEST(MsiRecordGetString, FollowsTheSizingRule) {
  Handle record(MsiCreateRecord(1));
  ASSERT_EQ(MsiRecordSetStringW(record, 1, u"abcdefghij"), UINT(ERROR_SUCCESS));
  msi_test::expectSizingRule([&](WCHAR* buffer, DWORD* size) { return MsiRecordGetStringW(record, 1, buffer, size); },
                             u"abcdefghij");
}

TEST(MsiRecordGetString, NullEmptyAndAbsentFieldsReadAsEmpty) {
  Handle record(MsiCreateRecord(3));
  MsiRecordSetStringW(record, 2, u"");
  MsiRecordSetStringW(record, 3, u"x");
  MsiRecordSetStringW(record, 3, nullptr);
  for (UINT field : {1u, 2u, 3u, 4u, 100u}) {
    EXPECT_TRUE(MsiRecordIsNull(record, field)) << field;
    WCHAR buffer[4] = {u'z', u'z', u'z', 0};
    DWORD size = 4;
    EXPECT_EQ(MsiRecordGetStringW(record, field, buffer, &size), UINT(ERROR_SUCCESS)) << field;
    EXPECT_EQ(size, DWORD(0));
    EXPECT_EQ(buffer[0], u'\0');
  }
}

// libmsi warns when asked for the integer of a null field, and stores MSI_NULL_INTEGER as a number. Windows does neither.
TEST(MsiRecordInteger, NullIntegerIsANullField) {
  Handle record(MsiCreateRecord(2));
  const size_t warningsBefore = emulated::libmsiWarningCount();
  EXPECT_EQ(MsiRecordGetInteger(record, 1), int(MSI_NULL_INTEGER));
  EXPECT_EQ(MsiRecordGetInteger(record, 3), int(MSI_NULL_INTEGER));
  EXPECT_EQ(emulated::libmsiWarningCount(), warningsBefore);

  MsiRecordSetInteger(record, 1, 7);
  EXPECT_FALSE(MsiRecordIsNull(record, 1));
  EXPECT_EQ(MsiRecordSetInteger(record, 1, int(MSI_NULL_INTEGER)), UINT(ERROR_SUCCESS));
  EXPECT_TRUE(MsiRecordIsNull(record, 1));
  EXPECT_EQ(fieldText(record, 1), u"");

  MsiRecordSetInteger(record, 1, -2147483647);
  EXPECT_EQ(fieldText(record, 1), u"-2147483647");
  MsiRecordSetStringW(record, 2, u"-42");
  EXPECT_EQ(MsiRecordGetInteger(record, 2), -42);
  MsiRecordSetStringW(record, 2, u"4x2");
  EXPECT_EQ(MsiRecordGetInteger(record, 2), int(MSI_NULL_INTEGER));
}

TEST(MsiRecord, FieldCountAndBounds) {
  Handle record(MsiCreateRecord(2));
  EXPECT_EQ(MsiRecordGetFieldCount(record), UINT(2));
  EXPECT_EQ(MsiRecordSetStringW(record, 3, u"x"), UINT(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(MsiRecordSetInteger(record, 3, 1), UINT(ERROR_INVALID_PARAMETER));
  // Field 0 exists in every record.
  EXPECT_EQ(MsiRecordSetStringW(record, 0, u"[1]"), UINT(ERROR_SUCCESS));
  EXPECT_EQ(fieldText(record, 0), u"[1]");
  // libmsi's limit, one below Windows', fails cleanly.
  const size_t warningsBefore = emulated::libmsiWarningCount();
  EXPECT_EQ(MsiCreateRecord(65535), MSIHANDLE(0));
  EXPECT_EQ(emulated::libmsiWarningCount(), warningsBefore);
  Handle largest(MsiCreateRecord(65534));
  EXPECT_EQ(MsiRecordGetFieldCount(largest), UINT(65534));
}

TEST(MsiRecord, FetchedRowsKeepTheirTypes) {
  Handle database = msi_test::openDatabase(fixture("product"));
  Handle view = msi_test::executedView(database, u"SELECT `Name`, `Text`, `Number` FROM `Fields`");
  std::set<std::u16string> rows;
  while (Handle row = msi_test::nextRow(view)) {
    rows.insert(fieldText(row, 1) + u"|" + fieldText(row, 2) + u"|" + fieldText(row, 3) + u"|" +
                (MsiRecordIsNull(row, 2) ? u"null" : u"set") + u"|" +
                (MsiRecordGetInteger(row, 3) == int(MSI_NULL_INTEGER) ? u"nullint" : u"int"));
  }
  EXPECT_EQ(rows, (std::set<std::u16string>{u"exact|abcdefghijklmnopqrstuvwxyz|26|set|int", u"null|||null|nullint",
                                            u"numeric|-42|-42|set|int"}));
}

// A binary column reads as a stream, which has no text: Windows answers 1804 where libmsi answers a null string.
TEST(MsiRecord, StreamFieldsHaveNoText) {
  Handle database = msi_test::openDatabase(fixture("product"));
  Handle view = msi_test::executedView(database, u"SELECT `Name`, `Data` FROM `Binary`"), row = msi_test::nextRow(view);
  EXPECT_EQ(fieldText(row, 1), u"Blob");
  EXPECT_FALSE(MsiRecordIsNull(row, 2));
  DWORD size = 0;
  EXPECT_EQ(MsiRecordGetStringW(row, 2, nullptr, &size), UINT(ERROR_INVALID_DATATYPE));
  EXPECT_EQ(MsiRecordGetInteger(row, 2), int(MSI_NULL_INTEGER));
  // The row outlives its view and database handles.
  view.close(); database.close();
  EXPECT_EQ(fieldText(row, 1), u"Blob");
}

}  // namespace
