// Conditions: the documented table of tests/fixtures/conditions.tsv, and
// texts built to be too deep or too long for a recursive parser.
#include <gtest/gtest.h>

#include <string>

#include "facts_table.h"
#include "platform/emulated/installer/condition_evaluator.h"

namespace {

using emulated::installer::evaluateCondition;
using emulated::installer::kMaxConditionDepth;

std::string resultName(MSICONDITION result) {
  switch (result) {
    case MSICONDITION_FALSE: return "false";
    case MSICONDITION_TRUE: return "true";
    case MSICONDITION_NONE: return "none";
    case MSICONDITION_ERROR: return "error";
  }
  return "?";
}

std::string evaluate(const std::u16string& text) {
  static const facts_table::FactsTable facts;
  return resultName(evaluateCondition(text, facts));
}

std::u16string repeat(std::u16string_view piece, int times) {
  std::u16string out;
  for (int i = 0; i < times; ++i) out += piece;
  return out;
}

TEST(ConditionTable, EveryRowGivesItsDocumentedResult) {
  const facts_table::FactsTable facts;
  ASSERT_GE(facts.conditions().size(), 100u);
  for (const facts_table::ConditionRow& row : facts.conditions()) {
    EXPECT_EQ(resultName(evaluateCondition(emulated::utf8ToUtf16(row.expression), facts)), row.result)
        << "conditions.tsv line " << row.line << ": " << row.expression;
  }
}

TEST(ConditionDepth, NestingUpToTheLimitEvaluatesAndDeeperIsAnError) {
  const int limit = kMaxConditionDepth;
  EXPECT_EQ(evaluate(repeat(u"(", limit) + u"ProductName" + repeat(u")", limit)), "true");
  EXPECT_EQ(evaluate(repeat(u"(", limit + 1) + u"ProductName" + repeat(u")", limit + 1)), "error");
  EXPECT_EQ(evaluate(repeat(u"NOT ", limit) + u"1"), "true");
  EXPECT_EQ(evaluate(repeat(u"NOT ", 100000) + u"1"), "error");
  EXPECT_EQ(evaluate(repeat(u"(", 100000)), "error");
  EXPECT_EQ(evaluate(repeat(u"(NOT ", limit / 2) + u"1" + repeat(u")", limit / 2)), "true");
}

TEST(ConditionDepth, LongFlatChainsNeedNoDepth) {
  EXPECT_EQ(evaluate(u"1" + repeat(u" AND 1", 100000)), "true");
  EXPECT_EQ(evaluate(u"0" + repeat(u" OR 0 XOR 0 EQV 0 IMP 0", 20000)), "false");
}

}  // namespace
