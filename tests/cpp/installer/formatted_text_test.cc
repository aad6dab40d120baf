// Formatted text: the documented rules of "Formatted" and MsiFormatRecord, against the session facts and the format
// rows of tests/fixtures/conditions.tsv.
#include <gtest/gtest.h>

#include <string>

#include "facts_table.h"
#include "platform/emulated/installer/formatted_text.h"

namespace {

using emulated::utf8ToUtf16;
using emulated::installer::FormatOptions;
using emulated::installer::formatRecord;
using emulated::installer::formatText;
using emulated::installer::LogOnlyText;
using emulated::installer::RecordFields;

const facts_table::FactsTable& facts() {
  static const facts_table::FactsTable table;
  return table;
}

// The record fields that conditions.tsv describes.
const RecordFields kFields = {std::nullopt, u"one", std::nullopt, u"[ProductName]", u"", u"PropA"};

TEST(FormattedText, EveryRowOfTheTableGivesItsText) {
  for (const char* kind : {"format", "format-record"}) {
    const bool withSession = kind == std::string("format");
    ASSERT_GE(facts().rows(kind).size(), 5u);
    for (const facts_table::TableRow& row : facts().rows(kind)) {
      const std::u16string text = utf8ToUtf16(row.text);
      EXPECT_EQ(withSession ? formatText(text, facts(), kFields) : formatText(text, kFields), utf8ToUtf16(row.result))
          << "conditions.tsv line " << row.line << ": " << row.text;
    }
  }
  EXPECT_EQ(formatText(u"a[~]b", facts()), std::u16string(u"a\0b", 3));
}

TEST(FormattedText, OptionsChooseShortPathsAndLogOnlyText) {
  FormatOptions options;
  options.shortFilePaths = true;
  EXPECT_EQ(formatText(u"[!App.exe]|[#App.exe]", facts(), {}, options),
            u"C:\\PROGRA~1\\Brindle\\App.exe|C:\\Program Files\\Brindle\\App.exe");
  options.logOnlyText = LogOnlyText::Shown;
  EXPECT_EQ(formatText(u"{{Disk full: }}[1]", facts(), kFields, options), u"Disk full: one");
  options.logOnlyText = LogOnlyText::Hidden;
  EXPECT_EQ(formatText(u"{{Disk full: }}[1]", facts(), kFields, options), u"one");
}

TEST(FormattedText, RecordWithoutTemplateListsItsFields) {
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
