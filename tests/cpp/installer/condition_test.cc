// Conditions: the documented table of tests/fixtures/conditions.tsv, and texts built to be too deep or too long for a
// recursive parser.
#include <gtest/gtest.h>

#include <string>

#include "facts_table.h"
#include "platform/emulated/installer/condition_evaluator.h"

namespace {

using emulated::installer::evaluateCondition;
using emulated::installer::kMaxConditionDepth;

// MSICONDITION_FALSE, _TRUE, _NONE and _ERROR are 0 to 3.
const char* const kResults[] = {"false", "true", "none", "error"};
std::string resultName(MSICONDITION result) { return result >= 0 && result <= 3 ? kResults[result] : "?"; }

const facts_table::FactsTable& facts() {
  static const facts_table::FactsTable table;  // read at first use, so a bad file fails the tests, not the start-up
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

}  // namespace
