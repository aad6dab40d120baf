// The "/log" switch of the bootstrapper's command line: the first lower-case switch, quoted or plain.
#include "install/tracing/log_switch.h"

#include <gtest/gtest.h>

TEST(LogSwitch, FirstLowerCaseSwitchWithAQuotedOrPlainValue) {
  const struct {
    const char16_t* commandLine;
    const char16_t* directory;  // null: no switch
  } cases[] = {
      {u"/log \"C:\\My Logs\"", u"C:\\My Logs"}, {u"setup.exe /log C:\\Logs /quiet", u"C:\\Logs"},
      {u"/log\t\t D:\\x\"y", u"D:\\x"}, {u"/log C:\\First /log C:\\Second", u"C:\\First"},
      {u"x/log  \"\u00e9t\u00e9 \u4e2d\"", u"\u00e9t\u00e9 \u4e2d"}, {u"/LOG C:\\Logs", nullptr},
      {u"/log \"\"", nullptr}, {u"/logC:\\x", nullptr}, {u"/log \"C:\\unterminated", nullptr}, {u"/log", nullptr},
  };
  for (const auto& c : cases) {
    const auto directory = installer::tracing::logDirectoryFromCommandLine(c.commandLine);
    EXPECT_EQ(directory.value_or(u"(none)"), c.directory ? c.directory : u"(none)");
  }
}
