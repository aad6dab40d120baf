// The first stage of the SQL check: the text of a Windows Installer query
// split into tokens. The second stage (msi_sql.cc) parses them.
//
// Windows Installer SQL has few kinds of token: keywords (matched without
// regard to case), names (plain, or between grave accents to escape a
// keyword), 'strings', decimal integers, the "?" marker of a record
// parameter, the comparison operators, and ( ) , . * and the minus of a
// negative integer. There are no comments, no escapes and no other quotes.
//
// Invariants:
// - A token's text is a view into the text given to tokenizeSql, which must
//   outlive the tokens. For a quoted name or a string it is the text between
//   the quotes.
// - tokenizeSql accepts a text only if every character belongs to a token
//   or is white space: a quote or grave accent without its closing partner,
//   a NUL, a control character or any other character that starts no token
//   fails the whole text. No text makes it read past its end.
// - The last token is always End.
#pragma once

#include <string_view>
#include <vector>

namespace emulated {
namespace sql {

enum class TokenKind {
  Keyword,
  Name,        // a plain name, or a `quoted` one (Token::quoted)
  String,      // 'text'
  Integer,     // decimal digits; a minus sign is a token of its own
  Marker,      // ?
  Comparison,  // = <> < > <= >=
  LeftParen,
  RightParen,
  Comma,
  Dot,
  Star,
  Minus,
  End,
};

enum class Keyword {
  None,
  Add, Alter, And, By, Char, Character, Create, Delete, Distinct, Drop, Free, From, Hold, Insert, Int,
  Integer, Into, Is, Key, Localizable, Long, LongChar, Not, Null, Object, Or, Order, Primary, Select, Set,
  Short, Table, Temporary, Update, Values, Where,
};

struct Token {
  TokenKind kind = TokenKind::End;
  Keyword keyword = Keyword::None;  // for TokenKind::Keyword
  bool quoted = false;              // a Name written between grave accents
  std::string_view text;
};

// Splits `sql` into `tokens` (cleared first). False when the text holds
// anything that is no token; `tokens` then holds what came before it.
bool tokenizeSql(std::string_view sql, std::vector<Token>& tokens);

}  // namespace sql
}  // namespace emulated
