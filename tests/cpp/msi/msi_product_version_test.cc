#include "install/msi/msi_product_version.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

using installer::msi_wrapper::isVersionStringLess;
using installer::msi_wrapper::MsiProductVersion;

TEST(MsiProductVersion, ReadsUpToThreePiecesAsTheRuntimeReadsADecimal) {
  const struct { const char16_t* text; std::uint32_t major, minor, build; } cases[] = {
      {u"1.2.3", 1, 2, 3}, {u"1.2.3.4", 1, 2, 3}, {u"1.2", 1, 2, 0}, {u"1.2.", 1, 2, 0}, {u"", 0, 0, 0},
      {u"99999.99999.99999", 99999, 99999, 99999},
      // A piece that reads as 0 without being "0" ends the parse.
      {u"1.x.3", 1, 0, 0}, {u"1.00.3", 1, 0, 0}, {u"1.0.3", 1, 0, 3}, {u"1.2a.3", 1, 2, 3},
      {u" 7.1", 7, 1, 0}, {u"+7.\t8", 7, 8, 0}, {u"-1.0.0", 4294967295u, 0, 0},
      {u"99999999999.1", 2147483647u, 1, 0}, {u"-99999999999", 2147483648u, 0, 0},
  };
  for (const auto& c : cases) {
    MsiProductVersion version(c.text);
    EXPECT_EQ(std::make_tuple(version.major(), version.minor(), version.build()),
              std::make_tuple(c.major, c.minor, c.build))
        << std::string(c.text, c.text + std::char_traits<char16_t>::length(c.text));
  }
}

TEST(MsiProductVersion, OrdersFieldByFieldAsNumbers) {
  EXPECT_TRUE(MsiProductVersion(u"1.2.3") < MsiProductVersion(u"1.10.0"));
  EXPECT_FALSE(MsiProductVersion(u"2.0.0") < MsiProductVersion(u"2.0.0"));
  EXPECT_TRUE(MsiProductVersion(u"2.0.0") == MsiProductVersion(u"2.0"));
  EXPECT_TRUE(MsiProductVersion(u"99999.99999.99999") > platform::wstring(u"255.255.65535"));
  EXPECT_TRUE(MsiProductVersion(u"-1.0.0") > platform::wstring(u"99999.0.0"));
  EXPECT_FALSE(MsiProductVersion(u"1.2.3") > platform::wstring(u"1.2.3"));
  EXPECT_TRUE(MsiProductVersion(u"1.2.3") == platform::wstring(u"1.2.3.9"));
}

TEST(IsVersionStringLess, ComparesCharactersNotNumbers) {
  const struct { const char16_t *left, *right; bool less; } cases[] = {
      {u"10.0.0", u"9.0.0", true}, {u"9.0.0", u"10.0.0", false}, {u"1.2.3", u"1.2.4", true},
      {u"1.2.3", u"1.2.3", false}, {u"1.2", u"1.2.3", false},    {u"1.2.3", u"1.2", false},
      {u"", u"1.0", false},        {u"1.0", u"", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(isVersionStringLess(c.left, c.right), c.less)
        << std::string(c.left, c.left + std::char_traits<char16_t>::length(c.left)) << " < "
        << std::string(c.right, c.right + std::char_traits<char16_t>::length(c.right));
  }
}

}  // namespace
