#include "platform/emulated/msi_database/msi_sql.h"

#include <strings.h>

#include <cctype>
#include <vector>

namespace emulated {

namespace {

struct Token {
  std::string text;
  bool quotedName = false;  // `name`
  bool literal = false;     // 'text'
};

bool isWordChar(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.' ||
         static_cast<unsigned char>(c) >= 0x80;
}

// Reads a quoted run that starts at `pos` (on the quote) and returns the
// position after the closing quote, or the end of the text when it is not
// closed (libmsi then refuses the query anyway).
size_t skipQuoted(std::string_view sql, size_t pos, std::string& inner) {
  const char quote = sql[pos];
  size_t end = sql.find(quote, pos + 1);
  if (end == std::string_view::npos) end = sql.size();
  inner.assign(sql.substr(pos + 1, end - pos - 1));
  return end == sql.size() ? end : end + 1;
}

std::vector<Token> tokenize(std::string_view sql) {
  std::vector<Token> tokens;
  size_t pos = 0;
  while (pos < sql.size()) {
    const char c = sql[pos];
    if (std::isspace(static_cast<unsigned char>(c)) != 0) {
      ++pos;
    } else if (c == '`' || c == '\'') {
      Token token;
      pos = skipQuoted(sql, pos, token.text);
      token.quotedName = c == '`';
      token.literal = c == '\'';
      tokens.push_back(std::move(token));
    } else if (isWordChar(c)) {
      size_t end = pos;
      while (end < sql.size() && isWordChar(sql[end])) ++end;
      tokens.push_back({std::string(sql.substr(pos, end - pos))});
      pos = end;
    } else {
      tokens.push_back({std::string(1, c)});
      ++pos;
    }
  }
  return tokens;
}

bool isKeyword(const Token& token, const char* keyword) {
  return !token.quotedName && !token.literal && ::strcasecmp(token.text.c_str(), keyword) == 0;
}

// The table of "SELECT ... FROM table [WHERE|ORDER ...]", or "" for a join.
std::string singleSelectTable(const std::vector<Token>& tokens) {
  size_t from = 0;
  while (from < tokens.size() && !isKeyword(tokens[from], "FROM")) ++from;
  if (from + 1 >= tokens.size()) return {};
  const Token& table = tokens[from + 1];
  if (table.literal) return {};
  if (from + 2 < tokens.size()) {
    const Token& next = tokens[from + 2];
    if (!isKeyword(next, "WHERE") && !isKeyword(next, "ORDER")) return {};
  }
  return table.text;
}

}  // namespace

SqlStatement classifySql(std::string_view sql) {
  SqlStatement statement;
  const std::vector<Token> tokens = tokenize(sql);
  if (tokens.empty()) return statement;
  const Token& verb = tokens.front();
  if (isKeyword(verb, "SELECT")) {
    statement.kind = SqlStatement::Kind::Select;
    statement.table = singleSelectTable(tokens);
    return statement;
  }
  for (const char* write : {"INSERT", "UPDATE", "DELETE", "CREATE", "DROP", "ALTER"}) {
    if (isKeyword(verb, write)) statement.kind = SqlStatement::Kind::Write;
  }
  if (isKeyword(verb, "INSERT")) {
    for (const Token& token : tokens) {
      if (isKeyword(token, "TEMPORARY")) statement.temporaryInsert = true;
    }
  }
  return statement;
}

}  // namespace emulated
