// The decoding of install messages, the parameter parser, the single
// setup manager, the progress receiver's interface ids and the
// walk of the execute sequence.
#include "install/msi/msi_setup_manager.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "../platform/msi_test_helpers.h"
#include "../support/throws.h"
#include "install/msi/msi_handle_holder.h"

namespace {

using namespace installer::msi_wrapper;

struct Step { UINT type; const char16_t* text; };

constexpr UINT P = INSTALLMESSAGE_PROGRESS, D = INSTALLMESSAGE_ACTIONDATA;

TEST(InstallProgress, DecodesTheProgressProtocol) {
  const struct { const char* name; std::vector<Step> steps; int percentage; } cases[] = {
      {"report after a forward reset", {{P, u"1: 0 2: 1000 3: 0 4: 0 "}, {P, u"1: 2 2: 250 "}}, 25},
      {"backward reset starts full", {{P, u"1: 0 2: 100 3: 1 4: 0 "}}, 100},
      {"backward report clamps to 0", {{P, u"1: 0 2: 100 3: 1 4: 0 "}, {P, u"1: 2 2: 100 "}}, 0},
      {"reset after a script reset starts full", {{P, u"1: 0 2: 100 3: 0 4: 1 "}, {P, u"1: 0 2: 200 3: 0 4: 0 "}}, 100},
      {"then a report sets the ticks",
       {{P, u"1: 0 2: 100 3: 0 4: 1 "}, {P, u"1: 0 2: 200 3: 0 4: 0 "}, {P, u"1: 2 2: 50 "}}, 25},
      {"action data steps",
       {{P, u"1: 0 2: 100 3: 0 4: 0 "}, {P, u"1: 1 2: 10 3: 1 "}, {D, u"a"}, {D, u"b"}, {D, u"c"}, {D, u"d"}, {D, u"e"}},
       50},
      {"action data without increments", {{P, u"1: 0 2: 100 3: 0 4: 0 "}, {P, u"1: 1 2: 10 3: 0 "}, {D, u"a"}}, 0},
      {"backward action data counts down",
       {{P, u"1: 0 2: 100 3: 1 4: 0 "}, {P, u"1: 1 2: 10 3: 1 "}, {D, u"a"}}, 90},
      {"action data before any reset", {{P, u"1: 1 2: 10 3: 1 "}, {D, u"a"}}, 0},
      {"a total of 0", {{P, u"1: 0 2: 0 3: 0 4: 0 "}, {P, u"1: 2 2: 5 "}, {D, u"a"}}, 0},
      {"field 1 not a digit", {{P, u"1: 0 2: 100 3: 0 4: 0 "}, {P, u"1: x 2: 50 "}}, 0},
      {"a report past the total", {{P, u"1: 0 2: 100 3: 0 4: 0 "}, {P, u"1: 2 2: 70 "}, {P, u"1: 2 2: 70 "}}, 100},
      {"an addition changes nothing", {{P, u"1: 0 2: 100 3: 0 4: 0 "}, {P, u"1: 3 2: 50 "}}, 0},
      {"an empty or cut message", {{P, u"1: 0 2: 100 3: 0 4: 0 "}, {P, u""}, {P, u"1: 2 2"}}, 0},
      {"a message without blanks at its end", {{P, u"1: 0 2: 8 3: 0 4: 0"}, {P, u"1: 2 2: 2"}}, 25},
      {"truncated toward zero", {{P, u"1: 0 2: 3 3: 0 4: 0 "}, {P, u"1: 2 2: 2 "}}, 66},
  };
  for (const auto& c : cases) {
    InstallProgressState state;
    for (const Step& step : c.steps) EXPECT_EQ(state.accept(step.type, step.text), 1) << c.name;
    EXPECT_EQ(state.percentage(), c.percentage) << c.name;
  }
}

TEST(InstallProgress, KeepsTheActionAndRefusesUnknownClasses) {
  InstallProgressState state;
  EXPECT_EQ(state.accept(INSTALLMESSAGE_ACTIONSTART, u"Action 9:05:03: InstallFiles. Copying"), 1);
  EXPECT_EQ(state.accept(INSTALLMESSAGE_ERROR | MB_ICONERROR, u"boom"), 1);
  EXPECT_EQ(state.accept(INSTALLMESSAGE_INFO, u"info"), 5);
  EXPECT_EQ(state.accept(INSTALLMESSAGE_COMMONDATA, u"1: 0"), 5);
  EXPECT_EQ(state.actionText(), u"Action 9:05:03: InstallFiles. Copying");
}

TEST(SetupParameters, ParsesTheScriptsPropertyText) {
  using List = std::vector<std::pair<platform::wstring, platform::wstring>>;
  const std::pair<const char16_t*, List> cases[] = {
      {u"A=1 B=\"x y\"", {{u"A", u"1"}, {u"B", u"x y"}}}, {u"no equals sign", {}}, {u"=5", {}},
      {u"A=\"open", {{u"A", u""}}}, {u"A=\"x=y\"", {{u"A", u"x=y"}, {u"A=\"x", u"y\""}}},
      {u"  INSTALLDIR=C:\\X\tY AGREE=1", {{u"INSTALLDIR", u"C:\\X\tY"}, {u"AGREE", u"1"}}},
  };
  for (const auto& [text, expected] : cases) {
    List got;
    for (const SetupParameter& p : parseSetupParameters(text)) got.emplace_back(p.name, p.value);
    EXPECT_EQ(got, expected);
  }
  for (const char16_t* text : {u"A=1 B=\"x y\" C=", u"A="})
    EXPECT_EQ(test_support::messageOf<std::out_of_range>([&] { parseSetupParameters(text); }),
              "invalid string position");
  EXPECT_EQ(SetupParameter(u"INSTALLDIR", u"C:\\a \"b\"").toString(), u"INSTALLDIR=\"C:\\a \"b\"\"");
}

// The log modes of each level: tests/js/setup.test.js, through getMsiLogFlags.
TEST(SetupManager, TheSingleInstance) {
  auto first = createMsiSetupManager(nullptr, u"", u"x.msi", {});
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(createMsiSetupManager(nullptr, u""), nullptr);
  EXPECT_EQ(installUiHandler(nullptr, INSTALLMESSAGE_PROGRESS, u"1: 2 2: 5 "), 0);  // no callback
  first.reset();
  EXPECT_NE(createMsiSetupManager(nullptr, u"", u"x.msi", {}), nullptr);
  EXPECT_EQ(installUiHandler(nullptr, INSTALLMESSAGE_PROGRESS, u"1: 2 2: 5 "), 0);  // none exists
}

std::vector<InstallMessage> received;
std::int32_t keep(const InstallMessage& message) {
  received.push_back(message);
  return 7;
}

TEST(SetupManager, TheHandlerHandsOnErrorsWarningsAndProgress) {
  auto manager = createMsiSetupManager(keep, u"", u"x.msi", {});
  const std::pair<UINT, const char16_t*> messages[] = {
      {INSTALLMESSAGE_ACTIONSTART, u"Action 1:02:03: A. "}, {INSTALLMESSAGE_ERROR | MB_ICONERROR, u"e"},
      {INSTALLMESSAGE_WARNING, u"w"}, {INSTALLMESSAGE_PROGRESS, u"1: 0 2: 4 3: 1 4: 0 "},
      {INSTALLMESSAGE_INFO, u"i"}, {INSTALLMESSAGE_PROGRESS, nullptr}};
  std::vector<int> answers;
  for (const auto& [type, text] : messages) answers.push_back(installUiHandler(nullptr, type, text));
  EXPECT_EQ(answers, (std::vector<int>{0, 7, 7, 7, 0, 0}));
  ASSERT_EQ(received.size(), 3u);
  EXPECT_EQ(received[0].kind, InstallMessageKind::error);
  EXPECT_EQ(received[1].kind, InstallMessageKind::warning);
  EXPECT_FALSE(received[1].progress.has_value());
  EXPECT_EQ(received[2].kind, InstallMessageKind::progress);
  EXPECT_EQ(received[2].progress, 100);  // a backward bar starts full
  EXPECT_FALSE(received[2].forward);
  for (const InstallMessage& message : received) EXPECT_EQ(message.action, u"Action 1:02:03: A. ");
}

class Counted final : public installer::ProgressCallbackBase {
 public:
  std::int32_t progressChanged(const installer::ProgressInfo&) override { return 0; }
  std::int32_t completed(std::uint32_t) override { return 0; }
};

TEST(ProgressCallback, AnswersItsNumericIds) {
  qor::objptr_t<installer::IProgressCallback> callback(new Counted);
  for (std::uint32_t id : {0u, 0x293FDF27u}) {
    void* out = nullptr;
    EXPECT_EQ(callback->queryInterface(id, &out), 0);
    EXPECT_EQ(out, callback.get());
    callback->release();
  }
  void* out = nullptr;
  EXPECT_EQ(callback->queryInterface(0x293FDF28u, &out), static_cast<qor::result_t>(0x80000001u));
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(callback->addRef(), 2u);
  EXPECT_EQ(callback->release(), 1u);
}

// Custom actions that set properties, in an order the sequence decides.
platform::wstring property(MSIHANDLE product, const char16_t* name) {
  WCHAR value[64] = {};
  DWORD size = 64;
  MsiGetPropertyW(product, name, value, &size);
  return value;
}

TEST(SequenceWalk, RunsInOrderUpToTheStopAction) {
  test_packages::PackageCopy copy("actions", "walk");
  {
    msi_test::Handle database = msi_test::openDatabase(copy.path, MSIDBOPEN_TRANSACT);
    ASSERT_EQ(msi_test::runSql(database, u"DELETE FROM `InstallExecuteSequence`"), 0u);
    const std::u16string action = u"INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) VALUES ";
    for (const char16_t* values : {u"('SetA', 51, 'A', '1')", u"('SetB', 51, 'B', '[A]')", u"('SetC', 51, 'C', '1')",
                                   u"('SetD', 51, 'D', '1')", u"('Stop', 51, 'STOP', '1')"})
      ASSERT_EQ(msi_test::runSql(database, action + values), 0u);
    const std::u16string step = u"INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) VALUES ";
    for (const char16_t* values : {u"('SetB', '', 10)", u"('SetA', '', -3)", u"('SetC', '', 20)", u"('SetD', '', 20)",
                                   u"('Stop', '1 = 0', 30)", u"('Refuse', '', 40)"})
      ASSERT_EQ(msi_test::runSql(database, step + values), 0u);
    ASSERT_EQ(MsiDatabaseCommit(database), 0u);
  }
  for (const auto& [stop, result] : {std::pair{u"Stop", 0u}, std::pair{u"Missing", 1603u}}) {
    MsiHandleHolder product;
    ASSERT_EQ(MsiOpenPackageW(copy.path.c_str(), product.receive()), 0u);
    EXPECT_EQ(runExecuteSequenceUntil(product.get(), copy.path, stop), result);
    EXPECT_EQ(property(product.get(), u"B"), u"1");  // the negative number ran first
    EXPECT_NE(property(product.get(), u"C"), property(product.get(), u"D"));  // one row per number
    EXPECT_EQ(property(product.get(), u"STOP"), u"");  // skipped, yet the walk stopped there
  }
  EXPECT_NE(runExecuteSequenceUntil(0, u"C:\\Packages\\none.msi", u"Stop"), 0u);  // no package
}

}  // namespace
