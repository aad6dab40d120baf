// Conditions of Windows Installer (MsiEvaluateConditionW, the Condition
// columns of the package's tables): the second stage, which parses the
// tokens of condition_tokenizer and evaluates them against a session.
//
// The grammar, loosest binding first (all binary operators group left to
// right, as in BASIC):
//   expression := eqv-term { IMP eqv-term }
//   eqv-term   := xor-term { EQV xor-term }
//   xor-term   := or-term  { XOR or-term }
//   or-term    := and-term { OR and-term }
//   and-term   := factor   { AND factor }
//   factor     := NOT factor | term
//   term       := ( expression ) | value [ comparison value ]
//   value      := property | %env | $component | ?component | &feature | !feature | "literal" | integer
//
// Invariants:
// - the whole text is parsed even where the result is already known, so a
//   malformed tail is an error however the head evaluates;
// - parentheses and NOT nest at most kMaxConditionDepth deep: deeper text
//   is an error, never a deep recursion;
// - the session is only read.
#pragma once

#include <string_view>

#include "platform/emulated/installer/session_facts.h"
#include "platform/emulated/msi.h"

namespace emulated::installer {

constexpr int kMaxConditionDepth = 200;

// MSICONDITION_NONE for empty or blank text, MSICONDITION_ERROR for text
// that does not follow the grammar, else MSICONDITION_TRUE or _FALSE.
MSICONDITION evaluateCondition(std::u16string_view text, const SessionFacts& facts);

}  // namespace emulated::installer
