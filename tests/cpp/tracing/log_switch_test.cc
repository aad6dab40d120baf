// The "/log" switch of the bootstrapper's command line: the first lower-case switch, quoted or plain.
#include "install/tracing/log_switch.h"

#include <gtest/gtest.h>

TEST(LogSwitch, FirstLowerCaseSwitchWithAQuotedOrPlainValue) {
  const std::pair<const char16_t*, const char16_t*> cases[] = {  // command line, directory or "-"
      {u"/log \"C:\\My Logs\"", u"C:\\My Logs"}, {u"setup.exe /log C:\\Logs /quiet", u"C:\\Logs"},
      {u"/log\t\t D:\\x\"y", u"D:\\x"}, {u"/log C:\\First /log C:\\Second", u"C:\\First"},
      {u"x/log  \"\u00e9t\u00e9 \u4e2d\"", u"\u00e9t\u00e9 \u4e2d"}, {u"/LOG C:\\Logs", u"-"}, {u"/log \"\"", u"-"},
      {u"/logC:\\x", u"-"}, {u"/log \"C:\\unterminated", u"-"}, {u"/log", u"-"}};
  for (const auto& [commandLine, directory] : cases)
    EXPECT_EQ(installer::tracing::logDirectoryFromCommandLine(commandLine).value_or(u"-"), directory);
}
