// Conditions and formatted text, against the session facts and the documented table of tests/fixtures/conditions.tsv
// (its condition rows, and the format rows for "Formatted" and MsiFormatRecord); and texts built to be too deep or too
// long for a recursive parser.
#include <gtest/gtest.h>

#include <string>

#include "facts_table.h"
#include "platform/emulated/installer/condition_evaluator.h"
#include "platform/emulated/installer/formatted_text.h"

namespace {

using emulated::utf8ToUtf16;
using emulated::installer::evaluateCondition;
using emulated::installer::FormatOptions;
using emulated::installer::formatRecord;
using emulated::installer::formatText;
using emulated::installer::kMaxConditionDepth;
using emulated::installer::LogOnlyText;
using emulated::installer::RecordFields;

// MSICONDITION_FALSE, _TRUE, _NONE and _ERROR are 0 to 3.
const char* const kResults[] = {"false", "true", "none", "error"};
std::string resultName(MSICONDITION result) { return result >= 0 && result <= 3 ? kResults[result] : "?"; }

// Read at first use, so a bad file fails the tests, not the start-up.
const facts_table::FactsTable& facts() {
  static const facts_table::FactsTable table;
  return table;
}
std::string evaluate(const std::u16string& text) { return resultName(evaluateCondition(text, facts())); }

std::u16string repeat(std::u16string_view piece, int times) {
  std::u16string out;
  for (int i = 0; i < times; ++i) out += piece;
  return out;
}

TEST(ConditionTable, EveryRowGivesItsDocumentedResult) {
  ASSERT_GE(facts().rows("condition").size(), 100u);
  for (const facts_table::TableRow& row : facts().rows("condition")) {
    EXPECT_EQ(evaluate(emulated::utf8ToUtf16(row.text)), row.result) << "conditions.tsv line " << row.line << ": " << row.text;
  }
}

TEST(ConditionDepth, NestingUpToTheLimitEvaluatesDeeperIsAnErrorAndFlatChainsNeedNoDepth) {
  const int limit = kMaxConditionDepth;
  EXPECT_EQ(evaluate(repeat(u"(", limit) + u"ProductName" + repeat(u")", limit)), "true");
  EXPECT_EQ(evaluate(repeat(u"(", limit + 1) + u"ProductName" + repeat(u")", limit + 1)), "error");
  EXPECT_EQ(evaluate(repeat(u"NOT ", limit) + u"1"), "true");
  EXPECT_EQ(evaluate(repeat(u"NOT ", 100000) + u"1"), "error");
  EXPECT_EQ(evaluate(repeat(u"(", 100000)), "error");
  EXPECT_EQ(evaluate(repeat(u"(NOT ", limit / 2) + u"1" + repeat(u")", limit / 2)), "true");
  // Long flat chains need no depth.
  EXPECT_EQ(evaluate(u"1" + repeat(u" AND 1", 100000)), "true");
  EXPECT_EQ(evaluate(u"0" + repeat(u" OR 0 XOR 0 EQV 0 IMP 0", 20000)), "false");
}

// The record fields that conditions.tsv describes.
const RecordFields kFields = {std::nullopt, u"one", std::nullopt, u"[ProductName]", u"", u"PropA"};

TEST(FormattedText, EveryRowOfTheTableAndEachRecordGivesItsText) {
  for (const std::string kind : {"format", "format-record", "format-short", "format-log-shown", "format-log-hidden"}) {
    FormatOptions options;
    options.shortFilePaths = kind == "format-short";
    if (kind == "format-log-shown") options.logOnlyText = LogOnlyText::Shown;
    if (kind == "format-log-hidden") options.logOnlyText = LogOnlyText::Hidden;
    ASSERT_FALSE(facts().rows(kind).empty());
    for (const facts_table::TableRow& row : facts().rows(kind)) {
      const std::u16string text = utf8ToUtf16(row.text);
      EXPECT_EQ(kind == "format-record" ? formatText(text, kFields) : formatText(text, facts(), kFields, options),
                utf8ToUtf16(row.result)) << "conditions.tsv line " << row.line << ": " << row.text;
    }
  }
  EXPECT_EQ(formatText(u"a[~]b", facts()), std::u16string(u"a\0b", 3));
  // A record formats its template, or without one lists its fields.
  EXPECT_EQ(formatRecord({std::nullopt, u"2205", std::nullopt, u"Error"}, nullptr), u"1: 2205 2:  3: Error ");
  EXPECT_EQ(formatRecord({u"[1]: [2] of [ProductName]", u"a", u"b"}, &facts()), u"a: b of Brindle Suite");
  EXPECT_EQ(formatRecord({}, &facts()), u"");
}

TEST(FormattedText, HostileNestingStaysBounded) {
  std::u16string open, close;
  for (int i = 0; i < 100000; ++i) {
    open += u"{[";
    close += u"]}";
  }
  // Beyond the depth limit the text is plain, names no property, and every group around it vanishes.
  EXPECT_EQ(formatText(open + u"ProductName" + close, facts(), kFields), u"");
  EXPECT_EQ(formatText(open + u"[1]", kFields), open + u"one");
  std::u16string nested = u"ProductName";
  for (int i = 0; i < 50; ++i) nested = u"[" + nested + u"]";
  EXPECT_EQ(formatText(nested, facts()), u"");
}

}  // namespace
