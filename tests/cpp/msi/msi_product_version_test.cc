#include "install/msi/msi_product_version.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

using installer::msi_wrapper::isVersionStringLess;
using installer::msi_wrapper::MsiProductVersion;

std::tuple<std::uint32_t, std::uint32_t, std::uint32_t> fields(const platform::wstring& text) {
  MsiProductVersion version(text);
  return {version.major(), version.minor(), version.build()};
}

TEST(MsiProductVersion, ParsesUpToThreeFields) {
  using T = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;
  EXPECT_EQ(fields(u"1.2.3"), T(1, 2, 3));
  EXPECT_EQ(fields(u"1.2.3.4"), T(1, 2, 3));
  EXPECT_EQ(fields(u"1.2"), T(1, 2, 0));
  EXPECT_EQ(fields(u"1.2."), T(1, 2, 0));
  EXPECT_EQ(fields(u""), T(0, 0, 0));
  EXPECT_EQ(fields(u"99999.99999.99999"), T(99999, 99999, 99999));
}

TEST(MsiProductVersion, ReadsEachPieceAsTheRuntimeReadsADecimal) {
  using T = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;
  // A piece that reads as 0 without being "0" ends the parse.
  EXPECT_EQ(fields(u"1.x.3"), T(1, 0, 0));
  EXPECT_EQ(fields(u"1.00.3"), T(1, 0, 0));
  EXPECT_EQ(fields(u"1.0.3"), T(1, 0, 3));
  EXPECT_EQ(fields(u"1.2a.3"), T(1, 2, 3));
  EXPECT_EQ(fields(u" 7.1"), T(7, 1, 0));
  EXPECT_EQ(fields(u"+7.\t8"), T(7, 8, 0));
  EXPECT_EQ(fields(u"-1.0.0"), T(4294967295u, 0, 0));
  EXPECT_EQ(fields(u"99999999999.1"), T(2147483647u, 1, 0));
  EXPECT_EQ(fields(u"-99999999999"), T(2147483648u, 0, 0));
}

TEST(MsiProductVersion, OrdersFieldByFieldAsNumbers) {
  EXPECT_TRUE(MsiProductVersion(u"1.2.3") < MsiProductVersion(u"1.10.0"));
  EXPECT_FALSE(MsiProductVersion(u"2.0.0") < MsiProductVersion(u"2.0.0"));
  EXPECT_TRUE(MsiProductVersion(u"2.0.0") == MsiProductVersion(u"2.0"));
  EXPECT_TRUE(MsiProductVersion(u"99999.99999.99999") > platform::wstring(u"255.255.65535"));
  EXPECT_TRUE(MsiProductVersion(u"-1.0.0") > platform::wstring(u"99999.0.0"));
  EXPECT_TRUE(MsiProductVersion(u"1.2.3") < platform::wstring(u"1.2.4"));
  EXPECT_FALSE(MsiProductVersion(u"1.2.3") > platform::wstring(u"1.2.3"));
  EXPECT_TRUE(MsiProductVersion(u"1.2.3") == platform::wstring(u"1.2.3.9"));
}

TEST(IsVersionStringLess, ComparesCharactersNotNumbers) {
  EXPECT_TRUE(isVersionStringLess(u"10.0.0", u"9.0.0"));
  EXPECT_FALSE(isVersionStringLess(u"9.0.0", u"10.0.0"));
  EXPECT_TRUE(isVersionStringLess(u"1.2.3", u"1.2.4"));
  EXPECT_FALSE(isVersionStringLess(u"1.2.3", u"1.2.3"));
  EXPECT_FALSE(isVersionStringLess(u"1.2", u"1.2.3"));
  EXPECT_FALSE(isVersionStringLess(u"1.2.3", u"1.2"));
  EXPECT_FALSE(isVersionStringLess(u"", u"1.0"));
  EXPECT_FALSE(isVersionStringLess(u"1.0", u""));
}

}  // namespace
