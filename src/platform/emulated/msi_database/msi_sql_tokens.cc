#include "platform/emulated/msi_database/msi_sql_tokens.h"

#include <strings.h>

#include <cstddef>
#include <string>

namespace emulated {
namespace sql {

namespace {

struct KeywordName {
  const char* text;
  Keyword keyword;
};

constexpr KeywordName kKeywords[] = {
    {"ADD", Keyword::Add},           {"ALTER", Keyword::Alter},
    {"AND", Keyword::And},           {"BY", Keyword::By},
    {"CHAR", Keyword::Char},         {"CHARACTER", Keyword::Character},
    {"CREATE", Keyword::Create},     {"DELETE", Keyword::Delete},
    {"DISTINCT", Keyword::Distinct}, {"DROP", Keyword::Drop},
    {"FREE", Keyword::Free},         {"FROM", Keyword::From},
    {"HOLD", Keyword::Hold},         {"INSERT", Keyword::Insert},
    {"INT", Keyword::Int},           {"INTEGER", Keyword::Integer},
    {"INTO", Keyword::Into},         {"IS", Keyword::Is},
    {"KEY", Keyword::Key},           {"LOCALIZABLE", Keyword::Localizable},
    {"LONG", Keyword::Long},         {"LONGCHAR", Keyword::LongChar},
    {"NOT", Keyword::Not},           {"NULL", Keyword::Null},
    {"OBJECT", Keyword::Object},     {"OR", Keyword::Or},
    {"ORDER", Keyword::Order},       {"PRIMARY", Keyword::Primary},
    {"SELECT", Keyword::Select},     {"SET", Keyword::Set},
    {"SHORT", Keyword::Short},       {"TABLE", Keyword::Table},
    {"TEMPORARY", Keyword::Temporary}, {"UPDATE", Keyword::Update},
    {"VALUES", Keyword::Values},     {"WHERE", Keyword::Where},
};

bool isLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }
bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

Keyword keywordOf(std::string_view word) {
  for (const KeywordName& entry : kKeywords) {
    if (word.size() == std::char_traits<char>::length(entry.text) &&
        ::strncasecmp(word.data(), entry.text, word.size()) == 0)
      return entry.keyword;
  }
  return Keyword::None;
}

// Reads the token at `pos`, which is not white space, and moves `pos`
// past it. False for a character that starts no token.
class Scanner {
 public:
  explicit Scanner(std::string_view sql) : sql_(sql) {}
  Scanner(const Scanner&) = delete;
  Scanner& operator=(const Scanner&) = delete;

  bool next(size_t& pos, Token& token) {
    const char c = sql_[pos];
    if (isLetter(c)) return word(pos, token);
    if (isDigit(c)) return run(pos, token, TokenKind::Integer, isDigit);
    if (c == '\'') return quoted(pos, token, TokenKind::String);
    if (c == '`') return quoted(pos, token, TokenKind::Name);
    if (c == '<' || c == '>' || c == '=') return comparison(pos, token);
    return punctuation(pos, token);
  }

 private:
  bool run(size_t& pos, Token& token, TokenKind kind, bool (*member)(char)) {
    size_t end = pos + 1;
    while (end < sql_.size() && member(sql_[end])) ++end;
    token.kind = kind;
    token.text = sql_.substr(pos, end - pos);
    pos = end;
    return true;
  }

  bool word(size_t& pos, Token& token) {
    run(pos, token, TokenKind::Name, [](char c) { return isLetter(c) || isDigit(c); });
    token.keyword = keywordOf(token.text);
    if (token.keyword != Keyword::None) token.kind = TokenKind::Keyword;
    return true;
  }

  // 'text' holds any character but its quote and NUL; a `name` neither a
  // control character, and it is never empty.
  bool quoted(size_t& pos, Token& token, TokenKind kind) {
    const char quote = sql_[pos];
    size_t end = pos + 1;
    for (; end < sql_.size() && sql_[end] != quote; ++end) {
      if (sql_[end] == '\0' || (kind == TokenKind::Name && isControl(sql_[end]))) return false;
    }
    if (end == sql_.size()) return false;
    if (kind == TokenKind::Name && end == pos + 1) return false;
    token.kind = kind;
    token.quoted = kind == TokenKind::Name;
    token.text = sql_.substr(pos + 1, end - pos - 1);
    pos = end + 1;
    return true;
  }

  bool comparison(size_t& pos, Token& token) {
    size_t length = 1;
    if (pos + 1 < sql_.size()) {
      const char first = sql_[pos];
      const char second = sql_[pos + 1];
      if ((first == '<' && (second == '>' || second == '=')) || (first == '>' && second == '=')) length = 2;
    }
    token.kind = TokenKind::Comparison;
    token.text = sql_.substr(pos, length);
    pos += length;
    return true;
  }

  bool punctuation(size_t& pos, Token& token) {
    switch (sql_[pos]) {
      case '(': token.kind = TokenKind::LeftParen; break;
      case ')': token.kind = TokenKind::RightParen; break;
      case ',': token.kind = TokenKind::Comma; break;
      case '.': token.kind = TokenKind::Dot; break;
      case '*': token.kind = TokenKind::Star; break;
      case '-': token.kind = TokenKind::Minus; break;
      case '?': token.kind = TokenKind::Marker; break;
      default: return false;
    }
    token.text = sql_.substr(pos, 1);
    ++pos;
    return true;
  }

  const std::string_view sql_;
};

}  // namespace

bool tokenizeSql(std::string_view sql, std::vector<Token>& tokens) {
  tokens.clear();
  Scanner scanner(sql);
  size_t pos = 0;
  for (;;) {
    while (pos < sql.size() && isSpace(sql[pos])) ++pos;
    if (pos == sql.size()) break;
    Token token;
    if (!scanner.next(pos, token)) return false;
    tokens.push_back(token);
  }
  tokens.push_back(Token{});
  return true;
}

}  // namespace sql
}  // namespace emulated
