// The external UI and the log of the emulated Windows Installer: what
// reaches the handler and what it answers, the ACTIONSTART texts, and the
// log lines each mode selects.
#include "platform/emulated/installer/ui_messages.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "../support/temp_machine.h"
#include "platform/emulated/installer/ui_texts.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/windows.h"

namespace {

using emulated::utf16ToUtf8;
using namespace emulated::installer;

struct Received {
  UINT type;
  std::string text;
};

std::vector<Received> received;
int answer = IDOK;

INT recordingHandler(LPVOID context, UINT type, LPCWSTR text) {
  received.push_back({type, utf16ToUtf8(text)});
  *static_cast<int*>(context) += 1;
  return answer;
}

class UiTest : public test_support::TempMachineTest {
 protected:
  void SetUp() override {
    TempMachineTest::SetUp();
    received.clear();
    answer = IDOK;
  }
  void TearDown() override {
    MsiSetExternalUIW(nullptr, 0, nullptr);
    MsiEnableLogW(0, nullptr, 0);
    TempMachineTest::TearDown();
  }
  std::u16string logPath() const { return u"C:\\install.log"; }
  std::string logText() const { return read(hostPath("install.log")); }
  int calls_ = 0;
};

TEST_F(UiTest, SettingsReturnWhatWasThereBefore) {
  EXPECT_EQ(MsiSetExternalUIW(recordingHandler, INSTALLLOGMODE_ERROR, &calls_), nullptr);
  EXPECT_EQ(MsiSetExternalUIW(nullptr, 0, nullptr), &recordingHandler);
  EXPECT_EQ(MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr), INSTALLUILEVEL_DEFAULT);
  EXPECT_EQ(MsiSetInternalUI(static_cast<INSTALLUILEVEL>(9), nullptr), INSTALLUILEVEL_NOCHANGE);
  EXPECT_EQ(MsiSetInternalUI(INSTALLUILEVEL_NOCHANGE, nullptr), INSTALLUILEVEL_NONE);
  EXPECT_EQ(MsiSetInternalUI(static_cast<INSTALLUILEVEL>(INSTALLUILEVEL_BASIC | INSTALLUILEVEL_PROGRESSONLY), nullptr),
            INSTALLUILEVEL_NONE);
  EXPECT_EQ(MsiSetInternalUI(INSTALLUILEVEL_DEFAULT, nullptr), INSTALLUILEVEL_BASIC | INSTALLUILEVEL_PROGRESSONLY);
}

TEST_F(UiTest, FilterDecidesWhatReachesTheHandlerAndItsAnswerComesBack) {
  struct Case {
    DWORD filter;
    UINT type;
    int handlerAnswer;
    bool delivered;
    bool cancelled;
  };
  const Case cases[] = {
      {INSTALLLOGMODE_ERROR, INSTALLMESSAGE_ERROR | MB_OK | MB_ICONERROR, IDOK, true, false},
      {INSTALLLOGMODE_ERROR, INSTALLMESSAGE_WARNING, IDOK, false, false},
      {0x786, INSTALLMESSAGE_PROGRESS, IDCANCEL, true, true},
      {0x786, INSTALLMESSAGE_ACTIONDATA, IDCANCEL, true, true},
      {0x786, INSTALLMESSAGE_INFO, IDCANCEL, false, false},
      {INSTALLLOGMODE_INFO, INSTALLMESSAGE_INFO, IDCANCEL, true, true},
      {INSTALLLOGMODE_FATALEXIT, INSTALLMESSAGE_FATALEXIT, 0, true, false},
      {INSTALLLOGMODE_INSTALLEND, INSTALLMESSAGE_INSTALLEND, -1, true, false},
      {0, INSTALLMESSAGE_ERROR, IDCANCEL, false, false},
  };
  MessageChannel channel;
  for (const Case& c : cases) {
    received.clear();
    answer = c.handlerAnswer;
    MsiSetExternalUIW(recordingHandler, c.filter, &calls_);
    const UiAnswer got = channel.post(c.type, u"text");
    EXPECT_EQ(received.size(), c.delivered ? 1u : 0u) << std::hex << c.type;
    EXPECT_EQ(got.value(), c.delivered ? c.handlerAnswer : 0) << std::hex << c.type;
    EXPECT_EQ(got.cancelled(), c.cancelled) << std::hex << c.type;
    EXPECT_EQ(got.resultCode(), c.cancelled ? 1602u : 0u);
    if (c.delivered) {
      EXPECT_EQ(received[0].type, c.type);
    }
  }
  received.clear();
  MsiSetExternalUIW(recordingHandler, INSTALLLOGMODE_PROGRESS, &calls_);
  (void)channel.postProgress({0, 1520, 0, 0});
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].text, "1: 0 2: 1520 3: 0 4: 0 ");
  channel.end(ERROR_SUCCESS, {});
}

TEST_F(UiTest, ActionStartTexts) {
  struct Case {
    const char16_t* action;
    const char16_t* description;
    int hour, minute, second;
    const char* expected;
  };
  const Case cases[] = {
      {u"CostFinalize", u"Computing the targets", 9, 5, 3, "Action 9:05:03: CostFinalize. Computing the targets"},
      {u"CostFinalize", u"", 23, 59, 59, "Action 23:59:59: CostFinalize. "},
      {u"AppSearch", u"", 0, 0, 0, "Action 0:00:00: AppSearch. "},
      {u"Rollback", u"Undoes actions.", 12, 30, 0, "Action 12:30:00: Rollback. Undoes actions."},
  };
  for (const Case& c : cases) {
    std::tm at{};
    at.tm_hour = c.hour;
    at.tm_min = c.minute;
    at.tm_sec = c.second;
    EXPECT_EQ(utf16ToUtf8(actionStartText(c.action, c.description, at)), c.expected);
  }
  std::tm at{};
  at.tm_hour = 7;
  at.tm_min = 1;
  EXPECT_EQ(utf16ToUtf8(actionEndedLogText(u"X", ERROR_INSTALL_USEREXIT, at)), "Action ended 7:01:00: X. Return value 2.");
  at.tm_mon = 5;
  at.tm_mday = 2;
  at.tm_year = 126;
  EXPECT_EQ(utf16ToUtf8(installerDate(at)), "6/2/2026");
}

TEST_F(UiTest, ActionStartTakesTheActionTextDescriptionElseTheDefault) {
  MsiSetExternalUIW(recordingHandler, INSTALLLOGMODE_ACTIONSTART | INSTALLLOGMODE_INFO, &calls_);
  MessageChannel channel;
  EXPECT_FALSE(channel.actionStart(u"CostFinalize", std::u16string(u"Resolving")).cancelled());
  EXPECT_FALSE(channel.actionStart(u"Rollback", std::nullopt).cancelled());
  EXPECT_FALSE(channel.actionStart(u"AppSearch", std::nullopt).cancelled());
  const std::vector<std::pair<UINT, std::string>> expected = {
      {INSTALLMESSAGE_ACTIONSTART, R"(Action \d{1,2}:\d\d:\d\d: CostFinalize\. Resolving)"},
      {INSTALLMESSAGE_INFO, R"(Action start \d{1,2}:\d\d:\d\d: CostFinalize\.)"},
      {INSTALLMESSAGE_ACTIONSTART, R"(Action \d{1,2}:\d\d:\d\d: Rollback\. Undoes actions\.)"},
      {INSTALLMESSAGE_INFO, R"(Action start \d{1,2}:\d\d:\d\d: Rollback\.)"},
      {INSTALLMESSAGE_ACTIONSTART, R"(Action \d{1,2}:\d\d:\d\d: AppSearch\. )"},
      {INSTALLMESSAGE_INFO, R"(Action start \d{1,2}:\d\d:\d\d: AppSearch\.)"},
  };
  ASSERT_EQ(received.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(received[i].type, expected[i].first);
    EXPECT_TRUE(std::regex_match(received[i].text, std::regex(expected[i].second))) << received[i].text;
  }
  answer = IDCANCEL;
  EXPECT_TRUE(channel.actionStart(u"FileCost", std::nullopt).cancelled());
  EXPECT_EQ(calls_, 7);  // the cancel of the ACTIONSTART stops the "Action start" message
}

// One operation that sends one message of each kind the log tells apart.
void runOperation(UINT result) {
  MessageChannel channel;
  (void)channel.actionStart(u"LaunchConditions", std::nullopt);
  (void)channel.post(INSTALLMESSAGE_ERROR | MB_OK, u"Error 1. Needs more.");
  (void)channel.post(INSTALLMESSAGE_WARNING, u"Warning text");
  (void)channel.post(INSTALLMESSAGE_ACTIONDATA, u"File: a.txt");
  (void)channel.postRecord(INSTALLMESSAGE_PROGRESS, {u"0", u"100", u"0", u"0"});
  channel.verbose(u"Skipping action");
  (void)channel.actionEnd(u"LaunchConditions", result);
  channel.end(result, {{u"ProductName", u"Widget"}});
}

TEST_F(UiTest, EachLogModeSelectsItsLines) {
  struct Case {
    DWORD mode;
    std::vector<const char*> present;
    std::vector<const char*> absent;
  };
  const char* kHeader = "=== Logging started: ";
  const char* kVerboseHeader = "=== Verbose logging started: ";
  const char* kFooter = "=== Logging stopped: ";
  const char* kActionStart = ": LaunchConditions. \r\n";
  const char* kActionInfo = "Action start ";
  const char* kEnded = "Action ended ";
  const char* kError = "Error 1. Needs more.";
  const char* kWarning = "Warning text";
  const char* kData = "File: a.txt";
  const char* kProperty = "Property(S): ProductName = Widget";
  const char* kVerbose = "]: Skipping action";
  const char* kDoing = "]: Doing action: LaunchConditions";
  const char* kProgress = "1: 0 2: 100";
  const Case cases[] = {
      {INSTALLLOGMODE_ERROR,
       {kHeader, kError, kFooter},
       {kVerboseHeader, kWarning, kActionStart, kActionInfo, kData, kProperty, kVerbose, kProgress}},
      {INSTALLLOGMODE_ACTIONSTART | INSTALLLOGMODE_INFO,
       {kActionStart, kActionInfo, kEnded},
       {kError, kData, kProperty, kVerbose}},
      {INSTALLLOGMODE_WARNING | INSTALLLOGMODE_ACTIONDATA, {kWarning, kData}, {kError, kActionInfo}},
      {INSTALLLOGMODE_PROPERTYDUMP, {kHeader, kProperty, kFooter}, {kError, kEnded, kVerbose, kProgress}},
      {INSTALLLOGMODE_VERBOSE,
       {kVerboseHeader, kActionStart, kActionInfo, kEnded, kError, kWarning, kData, kProperty, kVerbose, kDoing,
        kFooter},
       {kProgress}},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(MsiEnableLogW(c.mode, logPath().c_str(), 0), ERROR_SUCCESS);
    runOperation(ERROR_SUCCESS);
    const std::string log = logText();
    for (const char* line : c.present) EXPECT_NE(log.find(line), std::string::npos) << c.mode << " lacks " << line;
    for (const char* line : c.absent) EXPECT_EQ(log.find(line), std::string::npos) << c.mode << " has " << line;
  }
}

TEST_F(UiTest, AppendKeepsEarlierOperationsAndAFreshLogReplacesThem) {
  auto headers = [&] {
    const std::string log = logText();
    size_t count = 0;
    for (size_t at = log.find("=== Logging started"); at != std::string::npos; at = log.find("=== Logging started", at + 1)) {
      ++count;
    }
    return count;
  };
  ASSERT_EQ(MsiEnableLogW(INSTALLLOGMODE_INFO, logPath().c_str(), INSTALLLOGATTRIBUTES_APPEND), ERROR_SUCCESS);
  runOperation(ERROR_SUCCESS);
  runOperation(ERROR_SUCCESS);
  EXPECT_EQ(headers(), 2u);
  EXPECT_NE(logText().find("Return value 1."), std::string::npos);
  ASSERT_EQ(MsiEnableLogW(INSTALLLOGMODE_INFO, logPath().c_str(), 0), ERROR_SUCCESS);
  runOperation(ERROR_INSTALL_FAILURE);
  EXPECT_EQ(headers(), 1u);
  EXPECT_NE(logText().find("Return value 3."), std::string::npos);
}

TEST_F(UiTest, LogOnlyOnErrorKeepsTheLogOfAFailureOnly) {
  const DWORD mode = INSTALLLOGMODE_LOGONLYONERROR | INSTALLLOGMODE_INFO;
  ASSERT_EQ(MsiEnableLogW(mode, logPath().c_str(), 0), ERROR_SUCCESS);
  runOperation(ERROR_SUCCESS);
  EXPECT_FALSE(exists(hostPath("install.log")));
  runOperation(ERROR_INSTALL_USEREXIT);
  EXPECT_NE(logText().find("Return value 2."), std::string::npos);
  // A session whose action failed keeps its log, though it closes cleanly.
  {
    MessageChannel session;
    (void)session.actionEnd(u"LaunchConditions", ERROR_INSTALL_FAILURE);
  }
  EXPECT_NE(logText().find("Return value 3."), std::string::npos);
  // Appending to a log that is there: a success leaves it as it was.
  const std::string before = logText();
  ASSERT_EQ(MsiEnableLogW(mode, logPath().c_str(), INSTALLLOGATTRIBUTES_APPEND), ERROR_SUCCESS);
  runOperation(ERROR_SUCCESS);
  EXPECT_EQ(logText(), before);
}

TEST_F(UiTest, AnUnwritablePathRunsWithoutALog) {
  EXPECT_EQ(MsiEnableLogW(0, logPath().c_str(), 0), static_cast<UINT>(ERROR_INVALID_PARAMETER));
  ASSERT_EQ(MsiEnableLogW(INSTALLLOGMODE_VERBOSE, u"C:\\missing\\folder\\install.log", 0), ERROR_SUCCESS);
  MsiSetExternalUIW(recordingHandler, INSTALLLOGMODE_ERROR, &calls_);
  runOperation(ERROR_INSTALL_FAILURE);
  EXPECT_FALSE(exists(hostPath("missing")));
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].text, "Error 1. Needs more.");
}

}  // namespace
