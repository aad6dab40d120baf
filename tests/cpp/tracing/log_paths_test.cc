// The two log paths: names from the creation time and the log directory.
#include <typeinfo>

#include "install/tracing/runtime_text.h"
#include "install/tracing/tracer.h"
#include "machine_fixture.h"

namespace {

using installer::tracing::Tracer;

class LogPaths : public tracing_test::MachineTest {};

TEST_F(LogPaths, NamesComeFromTheCreationTimeAndNameFilesInTheCurrentDirectory) {
  Tracer tracer(creationTime());
  EXPECT_EQ(tracer.getInstLogPath(), kTraceName);
  EXPECT_EQ(tracer.getMsiLogPath(), kInstallerName);
  EXPECT_EQ(tracer.traceLevel(), 700u);
  EXPECT_FALSE(tracer.isLogFileOpen());

  char cwd[4096];
  ASSERT_NE(::getcwd(cwd, sizeof cwd), nullptr);
  ASSERT_EQ(::chdir(hostPath("Logs").c_str()), 0);
  EXPECT_EQ(tracer.openLogFile(), 0u);
  ASSERT_EQ(::chdir(cwd), 0);
  EXPECT_TRUE(exists(traceFile()));
}

TEST_F(LogPaths, ADirectoryIsPrefixedWithOneSeparator) {
  const std::string trace = std::string("C:\\Logs\\") + kTraceName;
  const std::string installer = std::string("C:\\Logs\\") + kInstallerName;
  for (const char16_t* directory : {u"C:\\Logs", u"C:\\Logs\\"}) {
    Tracer tracer(creationTime());
    EXPECT_EQ(tracer.setLogDirectory(directory), 0u);
    EXPECT_EQ(tracer.getInstLogPath(), trace);
    EXPECT_EQ(tracer.getMsiLogPath(), installer);
    EXPECT_EQ(tracer.openLogFile(), 0u);
    EXPECT_TRUE(exists(traceFile()));
  }
  Tracer slash(creationTime());
  slash.setLogDirectory(u"C:/Logs/");
  EXPECT_EQ(slash.getInstLogPath(), std::string("C:/Logs/") + kTraceName);
  Tracer empty(creationTime());
  empty.setLogDirectory(u"");
  EXPECT_EQ(empty.getInstLogPath(), kTraceName);
}

TEST_F(LogPaths, EachCallPrefixesAgain) {
  Tracer tracer(creationTime());
  tracer.setLogDirectory(u"C:\\Logs");
  tracer.setLogDirectory(u"C:\\Logs\\");
  EXPECT_EQ(tracer.getInstLogPath(), std::string("C:\\Logs\\C:\\Logs\\") + kTraceName);
  EXPECT_EQ(tracer.getMsiLogPath(), std::string("C:\\Logs\\C:\\Logs\\") + kInstallerName);
  tracer.setLogDirectory(u"D:");
  EXPECT_EQ(tracer.getInstLogPath(), std::string("D:\\C:\\Logs\\C:\\Logs\\") + kTraceName);
}

TEST_F(LogPaths, ADirectoryWithAUnitOf256OrMoreIsABadCastAndChangesNothing) {
  Tracer tracer(creationTime());
  tracer.setLogDirectory(u"C:\\Logs");
  const std::string trace = tracer.getInstLogPath();
  const std::string installer = tracer.getMsiLogPath();
  for (const char16_t* directory : {u"C:\\\u0100", u"C:\\Logs\\\u65e5\u672c", u"\U0001F600", u"C:\\\xff\u20ac"}) {
    try {
      tracer.setLogDirectory(directory);
      ADD_FAILURE() << "no exception";
    } catch (const std::bad_cast& error) {
      EXPECT_STREQ(error.what(), "bad cast");
    }
    EXPECT_EQ(tracer.getInstLogPath(), trace);
    EXPECT_EQ(tracer.getMsiLogPath(), installer);
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
  const std::string file = hostPath(std::string("Caf\xc3\xa9/") + kTraceName);
  ASSERT_EQ(traceLines(file), std::vector<std::string>{"caf\xc3\xa9"});
}

TEST(RuntimeText, ConvertsEachUnitOnItsOwn) {
  using installer::tracing::fromRuntimeMultibyte;
  using installer::tracing::toRuntimeMultibyte;
  std::u16string all;
  for (char16_t unit = 1; unit < 256; ++unit) all += unit;
  const std::string narrow = toRuntimeMultibyte(all);
  ASSERT_EQ(narrow.size(), 255u);
  EXPECT_EQ(static_cast<unsigned char>(narrow[254]), 255);
  EXPECT_EQ(fromRuntimeMultibyte(narrow), all);
  EXPECT_EQ(fromRuntimeMultibyte(std::string("a\0b", 3)), std::u16string(u"a\0b", 3));
  EXPECT_THROW(toRuntimeMultibyte(u"\xd800"), installer::tracing::BadCast);
}

}  // namespace
