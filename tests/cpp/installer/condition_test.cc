// Conditions and formatted text, against the session facts and the documented table of tests/fixtures/conditions.tsv
// (its condition rows, and the format rows for "Formatted" and MsiFormatRecord); and texts built to be too deep or too
// long for a recursive parser.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/emulated/installer/condition_evaluator.h"
#include "platform/emulated/installer/formatted_text.h"
#include "platform/emulated/installer/session_facts.h"
#include "platform/emulated/machine/unicode.h"

namespace {

using emulated::utf8ToUtf16;
using emulated::installer::evaluateCondition;
using emulated::installer::FormatOptions;
using emulated::installer::formatRecord;
using emulated::installer::formatText;
using emulated::installer::kMaxConditionDepth;
using emulated::installer::LogOnlyText;
using emulated::installer::RecordFields;

// The facts of tests/fixtures/conditions.tsv held in one map, and that file's table rows.
struct TableRow { int line; std::string text, result; };

class FactsTable : public emulated::installer::SessionFacts {
 public:
  FactsTable() { load(std::string(INSTALLER_FIXTURE_SOURCE_DIR) + "/conditions.tsv"); }
  FactsTable(const FactsTable&) = delete;
  FactsTable& operator=(const FactsTable&) = delete;

  // The rows of one kind: "condition", "format" or "format-record".
  const std::vector<TableRow>& rows(const std::string& kind) const { return rows_.at(kind); }

  std::u16string property(std::u16string_view name) const override { return cell("property", name, 0); }
  std::u16string environment(std::u16string_view name) const override {
    return cell("environment", emulated::upperCase(name), 0);
  }
  bool featureStates(std::u16string_view name, INSTALLSTATE* installed, INSTALLSTATE* action) const override {
    return states("feature", name, installed, action);
  }
  bool componentStates(std::u16string_view name, INSTALLSTATE* installed, INSTALLSTATE* action) const override {
    return states("component", name, installed, action);
  }
  std::u16string filePath(std::u16string_view key, bool shortForm) const override {
    return cell("file", key, shortForm ? 1 : 0);
  }
  std::u16string componentDirectory(std::u16string_view component) const override { return cell("directory", component, 0); }

 private:
  // The cells after kind and name, or none when the fact is not there.
  const std::vector<std::string>* fact(const std::string& kind, std::u16string_view name) const {
    const auto it = facts_.find({kind, std::u16string(name)});
    return it == facts_.end() ? nullptr : &it->second;
  }
  std::u16string cell(const std::string& kind, std::u16string_view name, std::size_t i) const {
    const auto* cells = fact(kind, name);
    return cells == nullptr || i >= cells->size() ? std::u16string() : emulated::utf8ToUtf16((*cells)[i]);
  }
  bool states(const std::string& kind, std::u16string_view name, INSTALLSTATE* installed, INSTALLSTATE* action) const {
    const auto* cells = fact(kind, name);
    if (cells == nullptr) return false;
    *installed = static_cast<INSTALLSTATE>(std::stoi(cells->at(0)));
    *action = static_cast<INSTALLSTATE>(std::stoi(cells->at(1)));
    return true;
  }

  void load(const std::string& path) {
    static const std::set<std::string> kFacts = {"property", "environment", "feature", "component", "file", "directory"};
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot read " + path);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
      if (line.empty() || line[0] == '#') continue;
      std::vector<std::string> cells;
      std::stringstream split(line);
      for (std::string cell; std::getline(split, cell, '\t');) cells.push_back(cell);
      if (line.back() == '\t') cells.push_back("");
      const std::string& kind = cells.at(0);
      if (kind == "condition" || kind.rfind("format", 0) == 0) {
        rows_[kind].push_back({number, cells.at(1), cells.at(2)});
      } else if (kFacts.count(kind) != 0) {
        const std::u16string name = emulated::utf8ToUtf16(cells.at(1));
        facts_[{kind, kind == "environment" ? emulated::upperCase(name) : name}].assign(cells.begin() + 2, cells.end());
      } else {
        throw std::runtime_error("conditions.tsv line " + std::to_string(number) + ": unknown row " + kind);
      }
    }
  }

  std::map<std::pair<std::string, std::u16string>, std::vector<std::string>> facts_;
  std::map<std::string, std::vector<TableRow>> rows_;
};

// MSICONDITION_FALSE, _TRUE, _NONE and _ERROR are 0 to 3.
const char* const kResults[] = {"false", "true", "none", "error"};
std::string resultName(MSICONDITION result) { return result >= 0 && result <= 3 ? kResults[result] : "?"; }

// Read at first use, so a bad file fails the tests, not the start-up.
const FactsTable& facts() {
  static const FactsTable table;
  return table;
}
std::string evaluate(const std::u16string& text) { return resultName(evaluateCondition(text, facts())); }

std::u16string repeat(std::u16string_view piece, int times) {
  std::u16string out;
  for (int i = 0; i < times; ++i) out += piece;
  return out;
}

TEST(ConditionTable, EveryRowGivesItsDocumentedResult) {
  ASSERT_GE(facts().rows("condition").size(), 100u);
  for (const TableRow& row : facts().rows("condition")) {
    EXPECT_EQ(evaluate(emulated::utf8ToUtf16(row.text)), row.result) << "conditions.tsv line " << row.line << ": " << row.text;
  }
}

TEST(ConditionDepth, NestingUpToTheLimitEvaluatesDeeperIsAnErrorAndFlatChainsNeedNoDepth) {
  const int limit = kMaxConditionDepth;
  EXPECT_EQ(evaluate(repeat(u"(", limit) + u"ProductName" + repeat(u")", limit)), "true");
  EXPECT_EQ(evaluate(repeat(u"(", limit + 1) + u"ProductName" + repeat(u")", limit + 1)), "error");
  EXPECT_EQ(evaluate(repeat(u"NOT ", limit) + u"1"), "true");
  EXPECT_EQ(evaluate(repeat(u"NOT ", 100000) + u"1"), "error");
  EXPECT_EQ(evaluate(repeat(u"(", 100000)), "error");
  EXPECT_EQ(evaluate(repeat(u"(NOT ", limit / 2) + u"1" + repeat(u")", limit / 2)), "true");
  // Long flat chains need no depth.
  EXPECT_EQ(evaluate(u"1" + repeat(u" AND 1", 100000)), "true");
  EXPECT_EQ(evaluate(u"0" + repeat(u" OR 0 XOR 0 EQV 0 IMP 0", 20000)), "false");
}

// The record fields that conditions.tsv describes.
const RecordFields kFields = {std::nullopt, u"one", std::nullopt, u"[ProductName]", u"", u"PropA"};

TEST(FormattedText, EveryRowOfTheTableAndEachRecordGivesItsText) {
  for (const std::string kind : {"format", "format-record", "format-short", "format-log-shown", "format-log-hidden"}) {
    FormatOptions options;
    options.shortFilePaths = kind == "format-short";
    if (kind == "format-log-shown") options.logOnlyText = LogOnlyText::Shown;
    if (kind == "format-log-hidden") options.logOnlyText = LogOnlyText::Hidden;
    ASSERT_FALSE(facts().rows(kind).empty());
    for (const TableRow& row : facts().rows(kind)) {
      const std::u16string text = utf8ToUtf16(row.text);
      EXPECT_EQ(kind == "format-record" ? formatText(text, kFields) : formatText(text, facts(), kFields, options),
                utf8ToUtf16(row.result)) << "conditions.tsv line " << row.line << ": " << row.text;
    }
  }
  EXPECT_EQ(formatText(u"a[~]b", facts()), std::u16string(u"a\0b", 3));
  // A record formats its template, or without one lists its fields.
  EXPECT_EQ(formatRecord({std::nullopt, u"2205", std::nullopt, u"Error"}, nullptr), u"1: 2205 2:  3: Error ");
  EXPECT_EQ(formatRecord({u"[1]: [2] of [ProductName]", u"a", u"b"}, &facts()), u"a: b of Brindle Suite");
  EXPECT_EQ(formatRecord({}, &facts()), u"");
}

TEST(FormattedText, HostileNestingStaysBounded) {
  std::u16string open, close;
  for (int i = 0; i < 100000; ++i) {
    open += u"{[";
    close += u"]}";
  }
  // Beyond the depth limit the text is plain, names no property, and every group around it vanishes.
  EXPECT_EQ(formatText(open + u"ProductName" + close, facts(), kFields), u"");
  EXPECT_EQ(formatText(open + u"[1]", kFields), open + u"one");
  std::u16string nested = u"ProductName";
  for (int i = 0; i < 50; ++i) nested = u"[" + nested + u"]";
  EXPECT_EQ(formatText(nested, facts()), u"");
}

}  // namespace
