#include "platform/emulated/installer/condition_evaluator.h"

#include <cstdint>
#include <string>

#include "platform/emulated/installer/condition_tokenizer.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated::installer {

namespace {

// A value of a term: an integer written in the text or the state of a
// feature or component, or text (a literal, a property's or an environment
// variable's value), which compares as an integer when it is one.
struct Operand {
  bool isInteger = false;
  std::u16string text;
  std::int32_t number = 0;

  bool isTrue() const { return isInteger ? number != 0 : !text.empty(); }
  bool asInteger(std::int32_t* value) const {
    if (!isInteger) return parseConditionInteger(text, value);
    *value = number;
    return true;
  }
};

bool compareIntegers(std::int32_t left, Comparison op, std::int32_t right) {
  const auto bits = static_cast<std::uint32_t>(left);
  switch (op) {
    case Comparison::Equal: return left == right;
    case Comparison::NotEqual: return left != right;
    case Comparison::Less: return left < right;
    case Comparison::LessEqual: return left <= right;
    case Comparison::Greater: return left > right;
    case Comparison::GreaterEqual: return left >= right;
    case Comparison::Contains: return (bits & static_cast<std::uint32_t>(right)) != 0;
    case Comparison::StartsWith: return static_cast<std::int32_t>(bits >> 16) == right;
    case Comparison::EndsWith: return static_cast<std::int32_t>(bits & 0xFFFFu) == right;
  }
  return false;
}

// Strings compare unit by unit; ~ compares their upper cases.
bool compareStrings(std::u16string_view left, Comparison op, std::u16string_view right) {
  switch (op) {
    case Comparison::Equal: return left == right;
    case Comparison::NotEqual: return left != right;
    case Comparison::Less: return left < right;
    case Comparison::LessEqual: return left <= right;
    case Comparison::Greater: return left > right;
    case Comparison::GreaterEqual: return left >= right;
    case Comparison::Contains: return left.find(right) != std::u16string_view::npos;
    case Comparison::StartsWith: return left.substr(0, right.size()) == right;
    case Comparison::EndsWith: return left.size() >= right.size() && left.substr(left.size() - right.size()) == right;
  }
  return false;
}

// "Comparison of an integer with a string or property value that cannot
// be converted to an integer is always false, except for <>". Text that is
// an integer ("10", a property set to 10) compares as one, against an
// integer or against other such text, so VersionNT >= MINVERSION compares
// numbers; the substring operators then become the bitwise ones.
bool compare(const Operand& left, Comparison op, bool ignoreCase, const Operand& right) {
  std::int32_t a = 0;
  std::int32_t b = 0;
  if (left.asInteger(&a) && right.asInteger(&b)) return compareIntegers(a, op, b);
  if (left.isInteger || right.isInteger) return op == Comparison::NotEqual;
  if (!ignoreCase) return compareStrings(left.text, op, right.text);
  return compareStrings(upperCase(left.text), op, upperCase(right.text));
}

class Evaluator {
 public:
  Evaluator(std::u16string_view text, const SessionFacts& facts) : tokens_(text), facts_(facts) { advance(); }
  Evaluator(const Evaluator&) = delete;
  Evaluator& operator=(const Evaluator&) = delete;

  MSICONDITION run() {
    const bool value = expression();
    if (failed_ || current_.kind != TokenKind::End) return MSICONDITION_ERROR;
    return value ? MSICONDITION_TRUE : MSICONDITION_FALSE;
  }

 private:
  void advance() { current_ = tokens_.next(); }
  bool fail() {
    failed_ = true;
    return false;
  }

  // One precedence level of left-grouping binary operators: each level
  // parses its operands with the next tighter level.
  template <bool (Evaluator::*Tighter)(), typename Combine>
  bool binary(TokenKind op, Combine combine) {
    bool value = (this->*Tighter)();
    while (!failed_ && current_.kind == op) {
      advance();
      value = combine(value, (this->*Tighter)());
    }
    return value;
  }

  bool expression() { return binary<&Evaluator::eqvTerm>(TokenKind::Imp, [](bool a, bool b) { return !a || b; }); }
  bool eqvTerm() { return binary<&Evaluator::xorTerm>(TokenKind::Eqv, [](bool a, bool b) { return a == b; }); }
  bool xorTerm() { return binary<&Evaluator::orTerm>(TokenKind::Xor, [](bool a, bool b) { return a != b; }); }
  bool orTerm() { return binary<&Evaluator::andTerm>(TokenKind::Or, [](bool a, bool b) { return a || b; }); }
  bool andTerm() { return binary<&Evaluator::factor>(TokenKind::And, [](bool a, bool b) { return a && b; }); }

  bool factor() {
    if (current_.kind != TokenKind::Not) return term();
    if (++depth_ > kMaxConditionDepth) return fail();
    advance();
    const bool value = !factor();
    --depth_;
    return value;
  }

  bool term() {
    if (current_.kind == TokenKind::Open) {
      if (++depth_ > kMaxConditionDepth) return fail();
      advance();
      const bool value = expression();
      if (failed_ || current_.kind != TokenKind::Close) return fail();
      advance();
      --depth_;
      return value;
    }
    Operand left;
    if (!value(&left)) return fail();
    if (current_.kind != TokenKind::Comparison) return left.isTrue();
    const Token op = current_;
    advance();
    Operand right;
    if (!value(&right)) return fail();
    return compare(left, op.comparison, op.ignoreCase, right);
  }

  bool value(Operand* out) {
    const Token token = current_;
    switch (token.kind) {
      case TokenKind::Integer:
        *out = Operand{true, {}, token.number};
        break;
      case TokenKind::Literal:
        *out = Operand{false, std::u16string(token.text)};
        break;
      case TokenKind::Property:
        *out = Operand{false, facts_.property(token.text)};
        break;
      case TokenKind::Environment:
        *out = Operand{false, facts_.environment(token.text)};
        break;
      case TokenKind::ComponentAction:
      case TokenKind::ComponentInstalled:
      case TokenKind::FeatureAction:
      case TokenKind::FeatureInstalled:
        *out = state(token);
        break;
      default:
        return false;
    }
    advance();
    return true;
  }

  // A state is its INSTALLSTATE number, INSTALLSTATE_UNKNOWN (-1) when no
  // action is chosen; a name the package does not have reads as an unset
  // property does, as empty text.
  Operand state(const Token& token) const {
    INSTALLSTATE installed = INSTALLSTATE_UNKNOWN;
    INSTALLSTATE action = INSTALLSTATE_UNKNOWN;
    const bool feature = token.kind == TokenKind::FeatureAction || token.kind == TokenKind::FeatureInstalled;
    const bool known = feature ? facts_.featureStates(token.text, &installed, &action)
                               : facts_.componentStates(token.text, &installed, &action);
    if (!known) return Operand{};
    const bool wantsAction = token.kind == TokenKind::FeatureAction || token.kind == TokenKind::ComponentAction;
    return Operand{true, {}, wantsAction ? action : installed};
  }

  ConditionTokenizer tokens_;
  const SessionFacts& facts_;
  Token current_;
  int depth_ = 0;
  bool failed_ = false;
};

}  // namespace

MSICONDITION evaluateCondition(std::u16string_view text, const SessionFacts& facts) {
  if (isBlankCondition(text)) return MSICONDITION_NONE;
  return Evaluator(text, facts).run();
}

}  // namespace emulated::installer
