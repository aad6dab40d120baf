// The SQL check in front of libmsi: texts that crashed, hung or overflowed
// the stack inside libmsi's parser are refused with 1615, and the texts
// Windows accepts (those the add-on's services run among them) still open.
// Each text goes through the check alone and through MsiDatabaseOpenViewW
// on a real package, where a text that slipped through would crash.
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

constexpr UINT kOk = ERROR_SUCCESS;
constexpr UINT kBad = ERROR_BAD_QUERY_SYNTAX;

struct Row {
  std::string sql;
  UINT code;      // from the check
  bool opens;     // MsiDatabaseOpenViewW succeeds on the product package
};

std::string repeated(const std::string& head, const std::string& term, const std::string& joint, int count,
                     const std::string& tail = "") {
  std::string text = head;
  for (int i = 0; i < count; ++i) text += (i ? joint : "") + term;
  return text + tail;
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
      {"SELECT '", kBad, false},
      {"SELECT `", kBad, false},
      {"SELECT * FROM Property WHERE Property='", kBad, false},
      {"SELECT * FROM Property WHERE Property=`", kBad, false},
      {"SELECT Value FROM Property WHERE Property='Ven'dor'", kBad, false},
      // Looped for ever in libmsi: a trailing minus.
      {"SELECT -", kBad, false},
      {"SELECT * FROM Media -", kBad, false},
      {"SELECT * FROM Media WHERE DiskId = -", kBad, false},
      {"SELECT * FROM Media WHERE DiskId = - -1", kBad, false},
      // NUL, control characters and what no token starts with.
      {std::string("SELECT * FROM Media\0", 20), kBad, false},
      {std::string("SELECT * FROM Media WHERE Cabinet = 'a\0b'", 41), kBad, false},
      {"SELECT * FROM `Me\x01" "dia`", kBad, false},
      {"SELECT * FROM Media WHERE DiskId = \"1\"", kBad, false},
      {"SELECT * FROM Media;", kBad, false},
      {"SELECT * FROM Media WHERE DiskId = 1 -- note", kBad, false},
      {"SELECT * FROM Media WHERE DiskId != 1", kBad, false},
      {"SELECT * FROM ``", kBad, false},
      // Outside the grammar.
      {"", kBad, false},
      {"SELEC nothing", kBad, false},
      {"SELECT", kBad, false},
      {"SELECT * FROM Media WHERE", kBad, false},
      {"SELECT * FROM Media ORDER BY", kBad, false},
      {"SELECT * FROM Media WHERE DiskId = 1 AND", kBad, false},
      {"SELECT * FROM Media WHERE (DiskId = 1", kBad, false},
      {"SELECT * FROM Media WHERE DiskId = 1)", kBad, false},
      {"SELECT * FROM Media WHERE 1 = DiskId", kBad, false},
      {"SELECT * FROM Media WHERE DiskId = NULL", kBad, false},
      {"SELECT Key FROM Registry", kBad, false},
      {"SELECT Media.* FROM Media", kBad, false},
      {"INSERT INTO Media VALUES (9, 9)", kBad, false},
      {"UPDATE Media SET Cabinet = NULL", kBad, false},
      {"CREATE TABLE T (A CHAR(72))", kBad, false},
      // Crashed libmsi: a key column named twice.
      {"CREATE TABLE T (A SHORT PRIMARY KEY A, A)", kBad, false},
      {"CREATE TABLE T (A SHORT, B SHORT PRIMARY KEY A, `B`, A)", kBad, false},
      {"CREATE TABLE T (A SHORT, a SHORT PRIMARY KEY A, a)", kOk, true},
      // The bounds: 32 operations, 32 parentheses, 32 columns, 1 MiB of text.
      {repeated("SELECT * FROM `Media` WHERE ", "`DiskId` = 1", " AND ", 32), kOk, true},
      {repeated("SELECT * FROM `Media` WHERE ", "`DiskId` = 1", " AND ", 33), kBad, false},
      {repeated("SELECT * FROM `Media` WHERE ", "`DiskId` = 1", " OR ", 33), kBad, false},
      {repeated("SELECT * FROM Media WHERE ", "DiskId=1", " AND ", 87000), kBad, false},
      {nested(32), kOk, true},
      {nested(33), kBad, false},
      {nested(200000), kBad, false},
      {"SELECT * FROM Media WHERE Cabinet = '" + std::string(emulated::kMaxSqlBytes, 'x') + "'", kBad, false},
      {createTable(32), kOk, true},
      {createTable(33), kBad, false},
      // Valid texts: the queries of the add-on's services first.
      {"SELECT Property.Value FROM Property WHERE Property.Property=?", kOk, true},
      {"SELECT Directory.DefaultDir,Directory.Directory_Parent FROM Directory WHERE Directory.Directory=?", kOk, true},
      {"SELECT Media.Cabinet FROM Media", kOk, true},
      {"SELECT Feature.Feature,Feature.Feature_Parent,Feature.Title,Feature.Description,Feature.Display,"
       "Feature.Level FROM Feature", kOk, true},
      {"SELECT Condition.Feature_,Condition.Level,Condition.Condition FROM Condition", kOk, true},
      {"SELECT Upgrade.UpgradeCode,Upgrade.VersionMin,Upgrade.VersionMax,Upgrade.Attributes FROM Upgrade", kOk, true},
      {"select UpgradeCode, Attributes from Upgrade where Attributes<>2", kOk, true},
      {"select Value from Property Where Property='GETPREMIUM_LINK'", kOk, true},
      {"select Value from Registry Where Name='RebrandingCode'", kOk, true},
      {"SELECT `Property`, `Value` FROM `Property` WHERE `Property`='ProductName'", kOk, true},
      {"SeLeCt DISTINCT `Cabinet` FROM `Media` WHERE `DiskId` >= ? ORDER BY `Cabinet`", kOk, true},
      {"SELECT * FROM Media WHERE DiskId = 1 AND DiskId IS NOT NULL OR (Cabinet IS NULL AND DiskId <> -2)", kOk, true},
      {"SELECT * FROM Media WHERE DiskId=1ORDER BY Media.DiskId, `Cabinet`", kOk, true},
      {"SELECT * FROM Media WHERE DiskId = - 1 AND DiskId <= LastSequence", kOk, true},
      {"SELECT `Property`.`Property`, `Media`.`Cabinet` FROM `Property`, `Media`", kOk, true},
      {"SELECT\n*\tFROM\fMedia WHERE Cabinet = 'it has `grave` accents and\nlines'", kOk, true},
      {"SELECT * FROM `NoSuchTable`", kOk, false},
      {"DELETE FROM `Property` WHERE `Property` = 'ADDED'", kOk, true},
      {"UPDATE `Directory` SET `Directory_Parent` = 'TARGETDIR', DefaultDir = ? WHERE `Directory` = 'INSTALLDIR'",
       kOk, true},
      {"INSERT INTO `Property` (`Property`, `Value`) VALUES (?, 'B') TEMPORARY", kOk, true},
      {"INSERT INTO `Media` (`DiskId`, `LastSequence`) VALUES (-9, 9)", kOk, true},
      {"CREATE TABLE `T` (`A` CHAR(72) NOT NULL, B SHORT, C LONG, D OBJECT, E LONGCHAR LOCALIZABLE, F INT, "
       "G INTEGER TEMPORARY, H CHARACTER PRIMARY KEY `A`, B) HOLD", kOk, true},
      {"DROP TABLE `Media`", kOk, true},
      {"ALTER TABLE `Media` ADD `Extra` CHAR(20) NOT NULL TEMPORARY HOLD", kOk, true},
      {"ALTER TABLE `Media` HOLD", kOk, true},
      {"ALTER TABLE `Media` FREE", kOk, true},
  };
  return table;
}

class SqlCheck : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(MsiOpenDatabaseW(fixture("product").c_str(), MSIDBOPEN_READONLY, database.out()), kOk);
  }
  UINT openView(const std::string& sql) {
    Handle view;
    return MsiDatabaseOpenViewW(database, emulated::utf8ToUtf16(sql).c_str(), view.out());
  }
  Handle database;
};

TEST_F(SqlCheck, EachTextGetsItsCodeFromTheCheckAndFromOpenView) {
  for (const Row& row : rows()) {
    const std::string shown = row.sql.substr(0, 80);
    EXPECT_EQ(emulated::checkSql(row.sql), row.code) << shown;
    // A NUL ends the wide text: what is before it is checked then.
    if (row.sql.find('\0') != std::string::npos) continue;
    const UINT opened = openView(row.sql);
    if (row.code == kBad) EXPECT_EQ(opened, kBad) << shown;
    EXPECT_EQ(opened == kOk, row.opens) << shown << " gave " << opened;
  }
}

// Every cut of a valid text: those that end inside a quote or after a minus
// are refused, none reaches libmsi to crash or hang it, and the only code
// that is not libmsi's own answer is 1615.
TEST_F(SqlCheck, EveryPrefixOfAValidTextIsSafe) {
  const std::string texts[] = {
      "SELECT `Value` FROM `Property` WHERE `Property` = 'ProductName' AND `Value` <> ''",
      "SELECT * FROM Media WHERE (DiskId > -1 OR Cabinet IS NOT NULL) ORDER BY DiskId",
  };
  for (const std::string& text : texts) {
    for (size_t length = 0; length <= text.size(); ++length) {
      const std::string prefix = text.substr(0, length);
      const UINT checked = emulated::checkSql(prefix);
      const UINT opened = openView(prefix);
      if (checked == kBad) EXPECT_EQ(opened, kBad) << prefix;
      const size_t quotes = std::count(prefix.begin(), prefix.end(), '\'');
      const size_t graves = std::count(prefix.begin(), prefix.end(), '`');
      if (quotes % 2 == 1 || graves % 2 == 1 || prefix.back() == '-') EXPECT_EQ(checked, kBad) << prefix;
    }
    EXPECT_EQ(openView(text), kOk) << text;
  }
}

TEST(SqlStatementKind, TheCheckDescribesWhatTheViewDoes) {
  struct Case {
    const char* sql;
    emulated::SqlStatement::Kind kind;
    bool temporary;
    const char* table;
  };
  using Kind = emulated::SqlStatement::Kind;
  const Case cases[] = {
      {"SELECT * FROM `Property` WHERE `Property` = 'A'", Kind::Select, false, "Property"},
      {"SELECT * FROM Media ORDER BY DiskId", Kind::Select, false, "Media"},
      {"SELECT * FROM Media, Property", Kind::Select, false, ""},
      {"INSERT INTO T (A) VALUES ('TEMPORARY')", Kind::Write, false, ""},
      {"INSERT INTO T (A) VALUES (1) TEMPORARY", Kind::Write, true, ""},
      {"ALTER TABLE T FREE", Kind::Write, false, ""},
      {"SELECT '", Kind::Other, false, ""},
  };
  for (const Case& c : cases) {
    const emulated::SqlStatement statement = emulated::classifySql(c.sql);
    EXPECT_EQ(statement.kind, c.kind) << c.sql;
    EXPECT_EQ(statement.temporaryInsert, c.temporary) << c.sql;
    EXPECT_EQ(statement.table, c.table) << c.sql;
  }
}

}  // namespace
