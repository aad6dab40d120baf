#include "platform/emulated/installer/condition_tokenizer.h"

#include <limits>

#include "platform/emulated/machine/unicode.h"

namespace emulated::installer {

namespace {

bool isBlank(char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }
bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
bool isNameStart(char16_t c) { return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || c == u'_'; }
bool isNamePart(char16_t c) { return isNameStart(c) || isDigit(c) || c == u'.'; }

struct Keyword {
  std::u16string_view upper;
  TokenKind kind;
};
constexpr Keyword kKeywords[] = {
    {u"NOT", TokenKind::Not}, {u"AND", TokenKind::And}, {u"OR", TokenKind::Or},
    {u"XOR", TokenKind::Xor}, {u"EQV", TokenKind::Eqv}, {u"IMP", TokenKind::Imp},
};

TokenKind prefixKind(char16_t c) {
  switch (c) {
    case u'%': return TokenKind::Environment;
    case u'$': return TokenKind::ComponentAction;
    case u'?': return TokenKind::ComponentInstalled;
    case u'&': return TokenKind::FeatureAction;
    case u'!': return TokenKind::FeatureInstalled;
    default: return TokenKind::Bad;
  }
}

Token tokenOf(TokenKind kind, std::u16string_view text = {}) {
  Token token;
  token.kind = kind;
  token.text = text;
  return token;
}

Token bad() { return tokenOf(TokenKind::Bad); }

}  // namespace

bool parseConditionInteger(std::u16string_view text, std::int32_t* value) {
  const bool negative = !text.empty() && text[0] == u'-';
  if (negative) text.remove_prefix(1);
  if (text.empty() || text.size() > 10) return false;
  std::int64_t magnitude = 0;
  for (char16_t c : text) {
    if (!isDigit(c)) return false;
    magnitude = magnitude * 10 + (c - u'0');
  }
  const std::int64_t signedValue = negative ? -magnitude : magnitude;
  if (signedValue < std::numeric_limits<std::int32_t>::min() || signedValue > std::numeric_limits<std::int32_t>::max()) {
    return false;
  }
  *value = static_cast<std::int32_t>(signedValue);
  return true;
}

bool isBlankCondition(std::u16string_view text) {
  for (char16_t c : text) {
    if (!isBlank(c)) return false;
  }
  return true;
}

Token ConditionTokenizer::next() {
  while (at_ < text_.size() && isBlank(text_[at_])) ++at_;
  if (at_ == text_.size()) return tokenOf(TokenKind::End);
  const char16_t c = text_[at_];
  if (isNameStart(c)) return name(TokenKind::Property);
  if (isDigit(c) || (c == u'-' && at_ + 1 < text_.size() && isDigit(text_[at_ + 1]))) return integer();
  if (c == u'"') return literal();
  if (c == u'(' || c == u')') {
    ++at_;
    return tokenOf(c == u'(' ? TokenKind::Open : TokenKind::Close);
  }
  const TokenKind prefixed = prefixKind(c);
  if (prefixed != TokenKind::Bad) {
    ++at_;
    if (at_ == text_.size() || !isNameStart(text_[at_])) return bad();
    return name(prefixed);
  }
  return comparison();
}

Token ConditionTokenizer::name(TokenKind kind) {
  const std::size_t start = at_;
  while (at_ < text_.size() && isNamePart(text_[at_])) ++at_;
  Token token = tokenOf(kind, text_.substr(start, at_ - start));
  if (kind != TokenKind::Property || token.text.size() > 3) return token;
  const std::u16string upper = upperCase(token.text);
  for (const Keyword& keyword : kKeywords) {
    if (upper == keyword.upper) token.kind = keyword.kind;
  }
  return token;
}

Token ConditionTokenizer::literal() {
  const std::size_t close = text_.find(u'"', at_ + 1);
  if (close == std::u16string_view::npos) return bad();
  Token token = tokenOf(TokenKind::Literal, text_.substr(at_ + 1, close - at_ - 1));
  at_ = close + 1;
  return token;
}

Token ConditionTokenizer::integer() {
  const std::size_t start = at_;
  if (text_[at_] == u'-') ++at_;
  while (at_ < text_.size() && isDigit(text_[at_])) ++at_;
  Token token = tokenOf(TokenKind::Integer);
  // A name glued to the digits ("12abc", "1.5") is no integer and no name.
  if (at_ < text_.size() && isNamePart(text_[at_])) return bad();
  if (!parseConditionInteger(text_.substr(start, at_ - start), &token.number)) return bad();
  return token;
}

Token ConditionTokenizer::comparison() {
  Token token = tokenOf(TokenKind::Comparison);
  if (text_[at_] == u'~') {
    token.ignoreCase = true;
    ++at_;
  }
  const std::u16string_view rest = text_.substr(at_);
  struct Spelling {
    std::u16string_view text;
    Comparison comparison;
  };
  // Two-character operators first, so "<=" is not read as "<" then "=".
  static constexpr Spelling kSpellings[] = {
      {u"<>", Comparison::NotEqual},     {u"<=", Comparison::LessEqual}, {u">=", Comparison::GreaterEqual},
      {u"><", Comparison::Contains},     {u"<<", Comparison::StartsWith}, {u">>", Comparison::EndsWith},
      {u"=", Comparison::Equal},         {u"<", Comparison::Less},       {u">", Comparison::Greater},
  };
  for (const Spelling& spelling : kSpellings) {
    if (rest.substr(0, spelling.text.size()) == spelling.text) {
      at_ += spelling.text.size();
      token.comparison = spelling.comparison;
      return token;
    }
  }
  return bad();
}

}  // namespace emulated::installer
