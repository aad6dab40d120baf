// The C runtime's default-locale conversions, as the facade serves them.
// That every byte below 256 round-trips is tested through their user, the
// tracer's runtime text (tests/cpp/tracing/log_paths_test.cc).
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "platform/windows.h"

namespace {

TEST(RuntimeLocale, TheNullCharacterAndAnEmptyInput) {
  WCHAR unit = 7;
  std::mbstate_t state{};
  EXPECT_EQ(mbrtowc(&unit, "", 1, &state), 0u);
  EXPECT_EQ(unit, 0);
  EXPECT_EQ(mbrtowc(&unit, "a", 0, &state), static_cast<std::size_t>(-2));
  EXPECT_EQ(mbrtowc(&unit, nullptr, 0, &state), 0u);
}

TEST(RuntimeLocale, UnitsFrom256OnHaveNoMultibyteForm) {
  for (WCHAR unit : {WCHAR(0x100), WCHAR(0x20AC), WCHAR(0xD800), WCHAR(0xFFFF)}) {
    char byte = 'x';
    std::size_t written = 0;
    std::mbstate_t state{};
    errno = 0;
    EXPECT_EQ(wcrtomb_s(&written, &byte, 1, unit, &state), EILSEQ);
    EXPECT_EQ(errno, EILSEQ);
    EXPECT_EQ(written, static_cast<std::size_t>(-1));
    EXPECT_EQ(byte, 'x');
  }
  char byte;
  std::size_t written = 0;
  EXPECT_EQ(wcrtomb_s(&written, &byte, 0, u'a', nullptr), EINVAL);
}

TEST(RuntimeTime, LocaltimeTakesTheResultFirst) {
  std::time_t epoch = 0;
  std::tm local{};
  EXPECT_EQ(localtime_s(&local, &epoch), 0);
  EXPECT_TRUE(local.tm_year == 70 || local.tm_year == 69);
  EXPECT_EQ(localtime_s(nullptr, &epoch), EINVAL);
  EXPECT_EQ(localtime_s(&local, nullptr), EINVAL);
}

}  // namespace
