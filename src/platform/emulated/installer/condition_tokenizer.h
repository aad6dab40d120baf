// The first stage of a condition (MsiEvaluateConditionW): cutting the text
// into tokens. The second stage, condition_evaluator, parses and evaluates
// them.
//
// Invariants:
// - next() never reads past the text and always advances, so a caller
//   that stops at End or Bad stops after at most text.size() + 1 calls;
// - a token's text is a view into the condition, which must outlive it;
// - a malformed piece of text (an unknown character, a literal without
//   its closing quote, a prefix without a name, a number out of range)
//   gives Bad, and nothing after it is read.
//
// What a token is, after "Conditional Statement Syntax":
// - blanks (space, tab, line breaks) separate tokens and mean nothing else;
// - a name is an Identifier: an ASCII letter or underscore, then letters,
//   digits, underscores and periods. NOT, AND, OR, XOR, EQV and IMP, in any
//   case, are the logical operators; every other name is a property;
// - %name is an environment variable, $name and ?name a component's action
//   and installed state, &name and !name a feature's;
// - "text" is a literal: everything up to the next quotation mark, which
//   has no escape;
// - an integer is decimal digits, with a minus sign right before them for
//   a negative one, and must fit in 32 bits;
// - = <> < <= > >= are comparisons, >< << >> the substring (or, between
//   integers, bitwise) operators; ~ right before any of them makes a
//   string comparison ignore case.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace emulated::installer {

enum class TokenKind {
  End,
  Bad,
  Property,
  Environment,
  ComponentAction,
  ComponentInstalled,
  FeatureAction,
  FeatureInstalled,
  Literal,
  Integer,
  Comparison,
  Not,
  And,
  Or,
  Xor,
  Eqv,
  Imp,
  Open,
  Close,
};

enum class Comparison { Equal, NotEqual, Less, LessEqual, Greater, GreaterEqual, Contains, StartsWith, EndsWith };

struct Token {
  TokenKind kind = TokenKind::End;
  std::u16string_view text;  // a name without its prefix, a literal without its quotes
  std::int32_t number = 0;   // Integer
  Comparison comparison = Comparison::Equal;
  bool ignoreCase = false;   // Comparison written with ~
};

class ConditionTokenizer {
 public:
  explicit ConditionTokenizer(std::u16string_view text) : text_(text) {}
  ConditionTokenizer(const ConditionTokenizer&) = delete;
  ConditionTokenizer& operator=(const ConditionTokenizer&) = delete;

  Token next();

 private:
  Token name(TokenKind kind);
  Token literal();
  Token integer();
  Token comparison();

  std::u16string_view text_;
  std::size_t at_ = 0;
};

// An integer as conditions read one, from a token or from a property's
// value: an optional minus sign, then decimal digits, nothing else, within
// 32 bits. False for any other text.
bool parseConditionInteger(std::u16string_view text, std::int32_t* value);

// True for text that is all blanks: such a condition is no condition.
bool isBlankCondition(std::u16string_view text);

}  // namespace emulated::installer
