// MsiGetSummaryInformationW and MsiSummaryInfoGetPropertyW.
#include <gtest/gtest.h>

#include "msi_test_helpers.h"

namespace {

using msi_test::Handle;
using test_packages::fixture;

const std::u16string kPackageCode = u"{3C8E5A1F-6B2D-4E7A-9F10-2A4B6C8D0E1F}";

class Summary : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(MsiGetSummaryInformationW(database, nullptr, 0, summary.out()), UINT(ERROR_SUCCESS));
  }
  Handle database = msi_test::openDatabase(fixture("product"));
  Handle summary;
};

TEST_F(Summary, PackageCodeWithTheSizingRule) {
  UINT type = 0;
  WCHAR empty[1] = {0};
  DWORD size = 0;
  EXPECT_EQ(MsiSummaryInfoGetPropertyW(summary, PID_REVNUMBER, &type, nullptr, nullptr, empty, &size),
            UINT(ERROR_MORE_DATA));
  EXPECT_EQ(type, UINT(VT_LPSTR));
  ASSERT_EQ(size, DWORD(kPackageCode.size()));
  std::u16string text(size, u'\0');
  DWORD capacity = size + 1;
  EXPECT_EQ(MsiSummaryInfoGetPropertyW(summary, PID_REVNUMBER, nullptr, nullptr, nullptr, &text[0], &capacity),
            UINT(ERROR_SUCCESS));
  EXPECT_EQ(text, kPackageCode);
  EXPECT_EQ(capacity, DWORD(kPackageCode.size()));
}

// libmsi's getters return garbage for a property of another type, so each
// property is read with the getter of its own type.
TEST_F(Summary, PropertiesComeWithWindowsTypes) {
  UINT type = 99;
  INT value = 0;
  FILETIME time = {0, 0};
  EXPECT_EQ(MsiSummaryInfoGetPropertyW(summary, PID_CODEPAGE, &type, &value, nullptr, nullptr, nullptr),
            UINT(ERROR_SUCCESS));
  EXPECT_EQ(type, UINT(VT_I2));
  EXPECT_EQ(MsiSummaryInfoGetPropertyW(summary, PID_PAGECOUNT, &type, &value, nullptr, nullptr, nullptr),
            UINT(ERROR_SUCCESS));
  EXPECT_EQ(type, UINT(VT_I4));
  EXPECT_EQ(value, 200);
  EXPECT_EQ(MsiSummaryInfoGetPropertyW(summary, PID_CREATE_DTM, &type, nullptr, &time, nullptr, nullptr),
            UINT(ERROR_SUCCESS));
  EXPECT_EQ(type, UINT(VT_FILETIME));
  EXPECT_NE(time.dwHighDateTime, DWORD(0));
  WCHAR buffer[8] = {u'q', 0};
  DWORD size = 8;
  EXPECT_EQ(MsiSummaryInfoGetPropertyW(summary, PID_LASTAUTHOR, &type, &value, nullptr, buffer, &size),
            UINT(ERROR_SUCCESS));
  EXPECT_EQ(type, UINT(VT_EMPTY));
  EXPECT_EQ(MsiSummaryInfoGetPropertyW(summary, 25, &type, nullptr, nullptr, nullptr, nullptr),
            UINT(ERROR_UNKNOWN_PROPERTY));
  EXPECT_EQ(MsiSummaryInfoGetPropertyW(database, PID_CODEPAGE, &type, nullptr, nullptr, nullptr, nullptr),
            UINT(ERROR_INVALID_HANDLE));
}

TEST(SummaryByPath, OpensThePackageItself) {
  Handle summary;
  ASSERT_EQ(MsiGetSummaryInformationW(0, fixture("product").c_str(), 0, summary.out()), UINT(ERROR_SUCCESS));
  WCHAR text[64];
  DWORD size = 64;
  EXPECT_EQ(MsiSummaryInfoGetPropertyW(summary, PID_REVNUMBER, nullptr, nullptr, nullptr, text, &size),
            UINT(ERROR_SUCCESS));
  EXPECT_EQ(std::u16string(text), kPackageCode);
  MSIHANDLE none = 0;
  EXPECT_EQ(MsiGetSummaryInformationW(0, nullptr, 0, &none), UINT(ERROR_INVALID_HANDLE));
  EXPECT_EQ(MsiGetSummaryInformationW(0, u"C:\\Packages\\missing.msi", 0, &none), UINT(ERROR_OPEN_FAILED));
  EXPECT_EQ(none, MSIHANDLE(0));
}

}  // namespace
