// The "/log" switch of the bootstrapper's command line.
#include "install/tracing/log_switch.h"

#include <gtest/gtest.h>

namespace {

using installer::tracing::logDirectoryFromCommandLine;

TEST(LogSwitch, FirstLowerCaseSwitchWithAQuotedOrPlainValue) {
  const struct {
    const char16_t* commandLine;
    const char16_t* directory;  // null: no switch
  } cases[] = {
      {u"/log \"C:\\My Logs\"", u"C:\\My Logs"},
      {u"setup.exe /log C:\\Logs /quiet", u"C:\\Logs"},
      {u"/log\t\t D:\\x\"y", u"D:\\x"},
      {u"/log C:\\First /log C:\\Second", u"C:\\First"},
      {u"/LOG C:\\Logs", nullptr},
      {u"/log \"\"", nullptr},
      {u"/logC:\\x", nullptr},
      {u"/log", nullptr},
      {u"", nullptr},
      {u"/log \"C:\\unterminated", nullptr},
      {u"x/log  \"\u00e9t\u00e9 \u4e2d\"", u"\u00e9t\u00e9 \u4e2d"},
  };
  for (const auto& c : cases) {
    const auto directory = logDirectoryFromCommandLine(c.commandLine);
    SCOPED_TRACE(std::string(directory ? "match" : "none"));
    ASSERT_EQ(directory.has_value(), c.directory != nullptr);
    if (directory) {
      EXPECT_EQ(*directory, c.directory);
    }
  }
}

}  // namespace
