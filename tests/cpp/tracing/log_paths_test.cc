// The two log paths: names from the creation time and the log directory, which the first lower-case "/log" switch of
// the bootstrapper's command line names, quoted or plain.
#include <typeinfo>

#include "install/tracing/log_switch.h"
#include "install/tracing/runtime_text.h"
#include "install/tracing/tracer.h"
#include "../support/throws.h"
#include "machine_fixture.h"

namespace {

using installer::tracing::Tracer;

class LogPaths : public tracing_test::MachineTest {};

// Each call prefixes the paths again, with one separator unless the directory ends in "\" or "/".
TEST_F(LogPaths, EachDirectoryIsPrefixedWithOneSeparator) {
  const struct { std::vector<const char16_t*> directories; const char* prefix; } cases[] = {
      {{u"C:\\Logs"}, "C:\\Logs\\"}, {{u"C:\\Logs\\"}, "C:\\Logs\\"}, {{u"C:/Logs/"}, "C:/Logs/"}, {{u""}, ""},
      {{u"C:\\Logs", u"C:\\Logs\\", u"D:"}, "D:\\C:\\Logs\\C:\\Logs\\"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.prefix);
    Tracer tracer(creationTime());
    for (const char16_t* directory : c.directories) EXPECT_EQ(tracer.setLogDirectory(directory), 0u);
    EXPECT_EQ(tracer.getInstLogPath(), c.prefix + std::string(kTraceName));
    EXPECT_EQ(tracer.getMsiLogPath(), c.prefix + std::string(kInstallerName));
  }
  Tracer tracer(creationTime());
  tracer.setLogDirectory(u"C:\\Logs\\");
  EXPECT_EQ(tracer.openLogFile(), 0u);
  EXPECT_TRUE(exists(traceFile()));
}

TEST_F(LogPaths, ADirectoryWithAUnitOf256OrMoreIsABadCastAndChangesNothing) {
  Tracer tracer(creationTime());
  tracer.setLogDirectory(u"C:\\Logs");
  const std::string paths = tracer.getInstLogPath() + "|" + tracer.getMsiLogPath();
  for (const char16_t* directory : {u"C:\\\u0100", u"C:\\Logs\\\u65e5\u672c", u"\U0001F600", u"C:\\\xff\u20ac"}) {
    EXPECT_EQ(test_support::messageOf<std::bad_cast>([&] { tracer.setLogDirectory(directory); }), "bad cast");
    EXPECT_EQ(tracer.getInstLogPath() + "|" + tracer.getMsiLogPath(), paths);
  }
}

TEST_F(LogPaths, UnitsBelow256RoundTripToTheSameFile) {
  // U+00E9 is one narrow byte (0xE9) in the path and UTF-8 on the host.
  ASSERT_EQ(::mkdir(hostPath("Caf\xc3\xa9").c_str(), 0755), 0);
  Tracer tracer(creationTime());
  tracer.setLogDirectory(u"C:\\Caf\u00e9");
  EXPECT_EQ(tracer.getInstLogPath(), std::string("C:\\Caf\xe9\\") + kTraceName);
  EXPECT_EQ(tracer.openLogFile(), 0u);
  tracer.traceText(u"caf\u00e9", 700);
  tracer.closeLogFile();
  ASSERT_EQ(traceLines(hostPath(std::string("Caf\xc3\xa9/") + kTraceName)), std::vector<std::string>{"caf\xc3\xa9"});

  std::u16string all;
  for (char16_t unit = 1; unit < 256; ++unit) all += unit;
  const std::string narrow = installer::tracing::toRuntimeMultibyte(all);
  ASSERT_EQ(narrow.size(), 255u);
  EXPECT_EQ(installer::tracing::fromRuntimeMultibyte(narrow), all);
  EXPECT_EQ(installer::tracing::fromRuntimeMultibyte(std::string("a\0b", 3)), std::u16string(u"a\0b", 3));
  EXPECT_THROW(installer::tracing::toRuntimeMultibyte(u"\xd800"), installer::tracing::BadCast);
}

TEST(LogSwitch, FirstLowerCaseSwitchWithAQuotedOrPlainValue) {
  const std::pair<const char16_t*, const char16_t*> cases[] = {  // command line, directory or "-"
      {u"/log \"C:\\My Logs\"", u"C:\\My Logs"}, {u"setup.exe /log C:\\Logs /quiet", u"C:\\Logs"},
      {u"/log\t\t D:\\x\"y", u"D:\\x"}, {u"/log C:\\First /log C:\\Second", u"C:\\First"},
      {u"x/log  \"\u00e9t\u00e9 \u4e2d\"", u"\u00e9t\u00e9 \u4e2d"}, {u"/LOG C:\\Logs", u"-"}, {u"/log \"\"", u"-"},
      {u"/logC:\\x", u"-"}, {u"/log \"C:\\unterminated", u"-"}, {u"/log", u"-"}};
  for (const auto& [commandLine, directory] : cases)
    EXPECT_EQ(installer::tracing::logDirectoryFromCommandLine(commandLine).value_or(u"-"), directory);
}

}  // namespace
