// The SQL check of the emulated installer: the second stage, a parser of
// Windows Installer SQL over the tokens of msi_sql_tokens.h. Every query
// text passes it before libmsi sees it, because libmsi's own parser crashes
// or loops on some malformed text (an unclosed quote, a trailing minus) and
// recurses once per term of a WHERE clause. What the parser accepts is the
// documented grammar:
//
//   SELECT [DISTINCT] {* | column-list} FROM table-list [WHERE operations] [ORDER BY column-list]
//   DELETE FROM table [WHERE operations]
//   UPDATE table-list SET column = value [, column = value]... [WHERE operations]
//   INSERT INTO table (column-list) VALUES (value-list) [TEMPORARY]
//   CREATE TABLE table (column type [NOT NULL] [TEMPORARY] [LOCALIZABLE] [, ...]
//                       PRIMARY KEY column [, column]...) [HOLD]
//   DROP TABLE table
//   ALTER TABLE table {HOLD | FREE | ADD column type [NOT NULL] [TEMPORARY] [LOCALIZABLE] [HOLD]}
//
// where an operation compares a column with a column, a constant or a
// ? marker (= <> < > <= >=) or tests it with IS [NOT] NULL, operations join
// with AND and OR and group with parentheses, a column may be qualified as
// table.column, a value is a constant or a marker and a constant is a
// 'string' or an integer with an optional minus.
//
// Invariants:
// - Whatever the parser accepts is a text libmsi parses without crashing:
//   every quote is closed, every minus is followed by an integer, a new
//   table names no key column twice and has at most kMaxTableColumns
//   columns, a WHERE clause has at most kMaxWhereOperations operations and
//   kMaxNesting levels of parentheses, and the text is at most kMaxSqlBytes
//   long. Everything else is refused with ERROR_BAD_QUERY_SYNTAX, as
//   Windows refuses a malformed query.
// - The parser never recurses deeper than kMaxNesting levels.
// - The parser checks form only: tables, columns and types are libmsi's to
//   check against the database.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/emulated/win_types.h"

namespace emulated {

// Windows documents at most 32 expressions in a WHERE clause.
constexpr int kMaxWhereOperations = 32;
// A table has at most 32 columns (the _Validation table numbers key
// columns 1 to 32); libmsi's time to create a table grows with the square
// of the count.
constexpr int kMaxTableColumns = 32;
constexpr int kMaxNesting = 32;
constexpr std::size_t kMaxSqlBytes = std::size_t{1} << 20;

// What the emulated installer needs to know about a view's SQL: whether it
// writes, whether it inserts temporary rows, and which single table a
// SELECT reads (for MsiViewModify).
struct SqlStatement {
  enum class Kind { Select, Write, Other };
  Kind kind = Kind::Other;
  // INSERT ... TEMPORARY.
  bool temporaryInsert = false;
  // The table of a SELECT over exactly one table; empty otherwise.
  std::string table;
};

// Checks `sql` (UTF-8) and describes it in `statement`: ERROR_SUCCESS, or
// ERROR_BAD_QUERY_SYNTAX with `statement` left as Kind::Other.
UINT parseSql(std::string_view sql, SqlStatement& statement);

// parseSql without the description: the check alone.
UINT checkSql(std::string_view sql);

// The description of a text that checkSql accepted (Kind::Other for one it
// refuses).
SqlStatement classifySql(std::string_view sql);

}  // namespace emulated
