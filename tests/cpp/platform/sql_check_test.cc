// The SQL check in front of libmsi: texts that crashed, hung or overflowed the stack inside libmsi's parser are
// refused with 1615, and the texts Windows accepts (those the add-on's services run among them) still open. Each text
// goes through the check alone and through MsiDatabaseOpenViewW on a real package, where a text that slipped through
// would crash.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "msi_test_helpers.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/msi_database/msi_sql.h"

namespace {

using msi_test::Handle;
using test_packages::fixture;

constexpr UINT kOk = ERROR_SUCCESS, kBad = ERROR_BAD_QUERY_SYNTAX;

// The code from the check; each text that passes opens a view on the product package, but for the one naming a
// missing table.
struct Row { std::string sql; UINT code; };

// A WHERE clause of `count` terms, each two joined by `joint`.
std::string chain(int count, const std::string& joint = " AND ", const std::string& term = "`DiskId` = 1") {
  std::string text = "SELECT * FROM `Media` WHERE ";
  for (int i = 0; i < count; ++i) text += (i ? joint : "") + term;
  return text;
}

std::string nested(int depth) {
  return "SELECT * FROM `Media` WHERE " + std::string(depth, '(') + "`DiskId` = 1" + std::string(depth, ')');
}

std::string createTable(int columns) {
  std::string text = "CREATE TABLE `T` (";
  for (int i = 0; i < columns; ++i) text += "`C" + std::to_string(i) + "` SHORT, ";
  text.resize(text.size() - 2);
  return text + " PRIMARY KEY `C0`)";
}

const std::vector<Row>& rows() {
  static const std::vector<Row> table = {
      // Crashed libmsi: a text ending right after an opening quote.
      {"SELECT '", kBad}, {"SELECT `", kBad}, {"SELECT * FROM Property WHERE Property='", kBad},
      {"SELECT * FROM Property WHERE Property=`", kBad}, {"SELECT Value FROM Property WHERE Property='Ven'dor'", kBad},
      // Looped for ever in libmsi: a trailing minus.
      {"SELECT -", kBad}, {"SELECT * FROM Media -", kBad}, {"SELECT * FROM Media WHERE DiskId = -", kBad},
      {"SELECT * FROM Media WHERE DiskId = - -1", kBad},
      // NUL, control characters and what no token starts with.
      {std::string("SELECT * FROM Media\0", 20), kBad},
      {std::string("SELECT * FROM Media WHERE Cabinet = 'a\0b'", 41), kBad}, {"SELECT * FROM `Me\x01" "dia`", kBad},
      {"SELECT * FROM Media WHERE DiskId = \"1\"", kBad}, {"SELECT * FROM Media;", kBad},
      {"SELECT * FROM Media WHERE DiskId = 1 -- note", kBad}, {"SELECT * FROM Media WHERE DiskId != 1", kBad},
      {"SELECT * FROM ``", kBad},
      // Outside the grammar.
      {"", kBad}, {"SELEC nothing", kBad}, {"SELECT", kBad}, {"SELECT * FROM Media WHERE", kBad},
      {"SELECT * FROM Media ORDER BY", kBad}, {"SELECT * FROM Media WHERE DiskId = 1 AND", kBad},
      {"SELECT * FROM Media WHERE (DiskId = 1", kBad}, {"SELECT * FROM Media WHERE DiskId = 1)", kBad},
      {"SELECT * FROM Media WHERE 1 = DiskId", kBad}, {"SELECT * FROM Media WHERE DiskId = NULL", kBad},
      {"SELECT Key FROM Registry", kBad}, {"SELECT Media.* FROM Media", kBad},
      {"INSERT INTO Media VALUES (9, 9)", kBad}, {"UPDATE Media SET Cabinet = NULL", kBad},
      {"CREATE TABLE T (A CHAR(72))", kBad},
      // Crashed libmsi: a key column named twice.
      {"CREATE TABLE T (A SHORT PRIMARY KEY A, A)", kBad},
      {"CREATE TABLE T (A SHORT, B SHORT PRIMARY KEY A, `B`, A)", kBad},
      {"CREATE TABLE T (A SHORT, a SHORT PRIMARY KEY A, a)", kOk},
      // The bounds: 32 operations, 32 parentheses, 32 columns, 1 MiB of text.
      {chain(32), kOk}, {chain(33), kBad}, {chain(33, " OR "), kBad}, {chain(87000, " AND ", "DiskId=1"), kBad},
      {nested(32), kOk}, {nested(33), kBad}, {nested(200000), kBad},
      {"SELECT * FROM Media WHERE Cabinet = '" + std::string(emulated::kMaxSqlBytes, 'x') + "'", kBad},
      {createTable(32), kOk}, {createTable(33), kBad},
      // Valid texts. The services' own tests run their queries; here are those whose refusal would pass unseen.
      {"select UpgradeCode, Attributes from Upgrade where Attributes<>2", kOk},
      {"select Value from Property Where Property='GETPREMIUM_LINK'", kOk},
      {"select Value from Registry Where Name='RebrandingCode'", kOk},
      {"SELECT `Value` FROM `Property` WHERE `Property` = 'ProductName' AND `Value` <> ''", kOk},
      {"SELECT * FROM Media WHERE (DiskId > -1 OR Cabinet IS NOT NULL) ORDER BY DiskId", kOk},
      {"SELECT `Property`, `Value` FROM `Property` WHERE `Property`='ProductName'", kOk},
      {"SeLeCt DISTINCT `Cabinet` FROM `Media` WHERE `DiskId` >= ? ORDER BY `Cabinet`", kOk},
      {"SELECT * FROM Media WHERE DiskId = 1 AND DiskId IS NOT NULL OR (Cabinet IS NULL AND DiskId <> -2)", kOk},
      {"SELECT * FROM Media WHERE DiskId=1ORDER BY Media.DiskId, `Cabinet`", kOk},
      {"SELECT * FROM Media WHERE DiskId = - 1 AND DiskId <= LastSequence", kOk},
      {"SELECT `Property`.`Property`, `Media`.`Cabinet` FROM `Property`, `Media`", kOk},
      {"SELECT\n*\tFROM\fMedia WHERE Cabinet = 'it has `grave` accents and\nlines'", kOk},
      {"SELECT * FROM `NoSuchTable`", kOk}, {"DELETE FROM `Property` WHERE `Property` = 'ADDED'", kOk},
      {"UPDATE `Directory` SET `Directory_Parent` = 'TARGETDIR', DefaultDir = ? WHERE `Directory` = 'INSTALLDIR'", kOk},
      {"INSERT INTO `Property` (`Property`, `Value`) VALUES (?, 'B') TEMPORARY", kOk},
      {"INSERT INTO `Media` (`DiskId`, `LastSequence`) VALUES (-9, 9)", kOk},
      {"CREATE TABLE `T` (`A` CHAR(72) NOT NULL, B SHORT, C LONG, D OBJECT, E LONGCHAR LOCALIZABLE, F INT, "
       "G INTEGER TEMPORARY, H CHARACTER PRIMARY KEY `A`, B) HOLD", kOk},
      {"DROP TABLE `Media`", kOk}, {"ALTER TABLE `Media` ADD `Extra` CHAR(20) NOT NULL TEMPORARY HOLD", kOk},
      {"ALTER TABLE `Media` HOLD", kOk}, {"ALTER TABLE `Media` FREE", kOk}};
  return table;
}

TEST(SqlCheck, EachTextAndEachCutOfAValidOneGetsItsCodeFromTheCheckAndFromOpenView) {
  Handle database;
  ASSERT_EQ(MsiOpenDatabaseW(fixture("product").c_str(), MSIDBOPEN_READONLY, database.out()), kOk);
  auto openView = [&database](const std::string& sql) {
    Handle view;
    return MsiDatabaseOpenViewW(database, emulated::utf8ToUtf16(sql).c_str(), view.out());
  };
  for (const Row& row : rows()) {
    const std::string shown = row.sql.substr(0, 80);
    EXPECT_EQ(emulated::checkSql(row.sql), row.code) << shown;
    // A NUL ends the wide text: what is before it is checked then.
    if (row.sql.find('\0') != std::string::npos) continue;
    const UINT opened = openView(row.sql);
    if (row.code == kBad) EXPECT_EQ(opened, kBad) << shown;
    const bool opens = row.code == kOk && row.sql.find("NoSuchTable") == std::string::npos;
    EXPECT_EQ(opened == kOk, opens) << shown << " gave " << opened;
    // Every cut of a valid text: those that end inside a quote or after a minus are refused, none reaches libmsi to
    // crash or hang it, and the only code that is not libmsi's own answer is 1615.
    if (row.code != kOk || row.sql.size() > 120) continue;
    for (size_t length = 0; length < row.sql.size(); ++length) {
      const std::string prefix = row.sql.substr(0, length);
      const UINT checked = emulated::checkSql(prefix), cutOpened = openView(prefix);
      if (checked == kBad) EXPECT_EQ(cutOpened, kBad) << prefix;
      const size_t quotes = std::count(prefix.begin(), prefix.end(), '\'');
      const size_t graves = std::count(prefix.begin(), prefix.end(), '`');
      if (quotes % 2 == 1 || graves % 2 == 1 || prefix.back() == '-') EXPECT_EQ(checked, kBad) << prefix;
    }
  }
}

TEST(SqlStatementKind, TheCheckDescribesWhatTheViewDoes) {
  struct Case { const char* sql; emulated::SqlStatement::Kind kind; bool temporary; const char* table; };
  using Kind = emulated::SqlStatement::Kind;
  const Case cases[] = {
      {"SELECT * FROM `Property` WHERE `Property` = 'A'", Kind::Select, false, "Property"},
      {"SELECT * FROM Media ORDER BY DiskId", Kind::Select, false, "Media"}, {"SELECT '", Kind::Other, false, ""},
      {"SELECT * FROM Media, Property", Kind::Select, false, ""},
      {"INSERT INTO T (A) VALUES ('TEMPORARY')", Kind::Write, false, ""}, {"ALTER TABLE T FREE", Kind::Write, false, ""},
      {"INSERT INTO T (A) VALUES (1) TEMPORARY", Kind::Write, true, ""}};
  for (const Case& c : cases) {
    const emulated::SqlStatement statement = emulated::classifySql(c.sql);
    EXPECT_TRUE(statement.kind == c.kind && statement.temporaryInsert == c.temporary && statement.table == c.table)
        << c.sql;
  }
}

}  // namespace
