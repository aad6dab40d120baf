#include "platform/emulated/msi_database/msi_sql.h"

#include <algorithm>
#include <vector>

#include "platform/emulated/msi_database/msi_sql_tokens.h"

namespace emulated {

namespace {

using sql::Keyword;
using sql::Token;
using sql::TokenKind;

// A recursive-descent parser over one statement's tokens. Each rule
// returns false as soon as the tokens stop fitting it; nothing is undone,
// since one failure refuses the whole text. Only the parenthesised
// condition recurses, and `depth_` bounds it.
class Parser {
 public:
  explicit Parser(const std::vector<Token>& tokens) : tokens_(tokens) {}
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  bool statement(SqlStatement& out) {
    bool ok = false;
    if (accept(Keyword::Select)) {
      out.kind = SqlStatement::Kind::Select;
      ok = select(out);
    } else {
      out.kind = SqlStatement::Kind::Write;
      if (accept(Keyword::Insert)) ok = insert(out);
      else if (accept(Keyword::Update)) ok = update();
      else if (accept(Keyword::Delete)) ok = remove();
      else if (accept(Keyword::Create)) ok = create();
      else if (accept(Keyword::Drop)) ok = accept(Keyword::Table) && name();
      else if (accept(Keyword::Alter)) ok = alter();
    }
    return ok && peek().kind == TokenKind::End;
  }

 private:
  const Token& peek() const { return tokens_[pos_]; }

  bool accept(TokenKind kind) {
    if (peek().kind != kind) return false;
    ++pos_;
    return true;
  }

  bool accept(Keyword keyword) {
    if (peek().kind != TokenKind::Keyword || peek().keyword != keyword) return false;
    ++pos_;
    return true;
  }

  bool acceptComparison(std::string_view which) {
    if (peek().kind != TokenKind::Comparison || (!which.empty() && peek().text != which)) return false;
    ++pos_;
    return true;
  }

  bool name(std::string_view* text = nullptr) {
    if (peek().kind != TokenKind::Name) return false;
    if (text != nullptr) *text = peek().text;
    ++pos_;
    return true;
  }

  // column or table.column
  bool column() { return name() && (!accept(TokenKind::Dot) || name()); }

  bool columnList() {
    do {
      if (!column()) return false;
    } while (accept(TokenKind::Comma));
    return true;
  }

  // The names of a table list; `single` gets the table when there is one.
  bool tableList(std::string* single) {
    std::string_view first;
    size_t count = 0;
    do {
      if (!name(count == 0 ? &first : nullptr)) return false;
      ++count;
    } while (accept(TokenKind::Comma));
    if (single != nullptr && count == 1) single->assign(first);
    return true;
  }

  bool constant() {
    if (accept(TokenKind::String)) return true;
    accept(TokenKind::Minus);
    return accept(TokenKind::Integer);
  }

  bool value() { return accept(TokenKind::Marker) || constant(); }

  // column IS [NOT] NULL, or column op {column | constant | marker}
  bool operation() {
    if (++operations_ > kMaxWhereOperations) return false;
    if (!column()) return false;
    if (accept(Keyword::Is)) {
      accept(Keyword::Not);
      return accept(Keyword::Null);
    }
    if (!acceptComparison({})) return false;
    return peek().kind == TokenKind::Name ? column() : value();
  }

  bool primary() {
    if (!accept(TokenKind::LeftParen)) return operation();
    if (++depth_ > kMaxNesting) return false;
    const bool ok = condition() && accept(TokenKind::RightParen);
    --depth_;
    return ok;
  }

  bool conjunction() {
    do {
      if (!primary()) return false;
    } while (accept(Keyword::And));
    return true;
  }

  bool condition() {
    do {
      if (!conjunction()) return false;
    } while (accept(Keyword::Or));
    return true;
  }

  bool where() { return !accept(Keyword::Where) || condition(); }

  bool select(SqlStatement& out) {
    accept(Keyword::Distinct);
    if (!accept(TokenKind::Star) && !columnList()) return false;
    if (!accept(Keyword::From) || !tableList(&out.table) || !where()) return false;
    if (!accept(Keyword::Order)) return true;
    return accept(Keyword::By) && columnList();
  }

  bool insert(SqlStatement& out) {
    if (!accept(Keyword::Into) || !name() || !accept(TokenKind::LeftParen) || !columnList() ||
        !accept(TokenKind::RightParen) || !accept(Keyword::Values) || !accept(TokenKind::LeftParen))
      return false;
    do {
      if (!value()) return false;
    } while (accept(TokenKind::Comma));
    if (!accept(TokenKind::RightParen)) return false;
    out.temporaryInsert = accept(Keyword::Temporary);
    return true;
  }

  bool update() {
    if (!tableList(nullptr) || !accept(Keyword::Set)) return false;
    do {
      if (!column() || !acceptComparison("=") || !value()) return false;
    } while (accept(TokenKind::Comma));
    return where();
  }

  bool remove() { return accept(Keyword::From) && name() && where(); }

  bool columnType() {
    if (accept(Keyword::Char) || accept(Keyword::Character)) {
      if (!accept(TokenKind::LeftParen)) return true;
      return accept(TokenKind::Integer) && accept(TokenKind::RightParen);
    }
    for (Keyword type : {Keyword::LongChar, Keyword::Short, Keyword::Int, Keyword::Integer, Keyword::Long,
                         Keyword::Object}) {
      if (accept(type)) return true;
    }
    return false;
  }

  // name type [NOT NULL] [TEMPORARY] [LOCALIZABLE], the options in any order.
  bool columnDefinition() {
    if (!name() || !columnType()) return false;
    for (;;) {
      if (accept(Keyword::Not)) {
        if (!accept(Keyword::Null)) return false;
      } else if (!accept(Keyword::Temporary) && !accept(Keyword::Localizable)) {
        return true;
      }
    }
  }

  bool create() {
    if (!accept(Keyword::Table) || !name() || !accept(TokenKind::LeftParen)) return false;
    int columns = 0;
    do {
      if (++columns > kMaxTableColumns || !columnDefinition()) return false;
    } while (accept(TokenKind::Comma));
    if (!accept(Keyword::Primary) || !accept(Keyword::Key)) return false;
    // libmsi crashes on a key column named twice.
    std::vector<std::string_view> keys;
    do {
      std::string_view key;
      if (!name(&key) || std::find(keys.begin(), keys.end(), key) != keys.end()) return false;
      keys.push_back(key);
    } while (accept(TokenKind::Comma));
    if (!accept(TokenKind::RightParen)) return false;
    accept(Keyword::Hold);
    return true;
  }

  bool alter() {
    if (!accept(Keyword::Table) || !name()) return false;
    if (accept(Keyword::Hold) || accept(Keyword::Free)) return true;
    if (!accept(Keyword::Add) || !columnDefinition()) return false;
    accept(Keyword::Hold);
    return true;
  }

  const std::vector<Token>& tokens_;
  size_t pos_ = 0;
  int depth_ = 0;
  int operations_ = 0;
};

}  // namespace

UINT parseSql(std::string_view text, SqlStatement& statement) {
  statement = SqlStatement();
  std::vector<Token> tokens;
  if (text.size() > kMaxSqlBytes || !sql::tokenizeSql(text, tokens)) return ERROR_BAD_QUERY_SYNTAX;
  SqlStatement parsed;
  if (!Parser(tokens).statement(parsed)) return ERROR_BAD_QUERY_SYNTAX;
  statement = std::move(parsed);
  return ERROR_SUCCESS;
}

UINT checkSql(std::string_view sql) {
  SqlStatement ignored;
  return parseSql(sql, ignored);
}

SqlStatement classifySql(std::string_view sql) {
  SqlStatement statement;
  parseSql(sql, statement);
  return statement;
}

}  // namespace emulated
