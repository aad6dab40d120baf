// Formatted text: the documented rules of "Formatted" and MsiFormatRecord,
// against the session facts of tests/fixtures/conditions.tsv.
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

// Field 1 "one", 2 null, 3 a reference, 4 empty (null), 5 a property name.
const RecordFields kFields = {std::nullopt, u"one", std::nullopt, u"[ProductName]", u"", u"PropA"};

struct Case {
  const char* text;
  const char* expected;
};

TEST(FormattedText, ResolvesReferencesAgainstTheSessionAndTheRecord) {
  const Case cases[] = {
      {"Welcome to [ProductName].", "Welcome to Brindle Suite."},
      {"[Unset]x", "x"},
      {"[Hello World]", ""},
      {"[[PropA]]", "Brindle Suite"},
      {"[[PropB]]", ""},
      {"[[Unset]]", ""},
      {"[%PATH]|[%path]", "C:\\Windows\\system32;C:\\Windows|C:\\Windows\\system32;C:\\Windows"},
      {"[%NOSUCHVAR]", ""},
      {"[#App.exe]", "C:\\Program Files\\Brindle\\App.exe"},
      {"[!App.exe]", "C:\\Program Files\\Brindle\\App.exe"},
      {"[#Nope]", ""},
      {"[$MainComponent]App.exe", "C:\\Program Files\\Brindle\\App.exe"},
      {"[$DocsComponent]", ""},
      {"[\\[]Bracket Text[\\]]", "[Bracket Text]"},
      {"[\\[]ProductName]", "[ProductName]"},
      {"[\\abc]", "a"},
      {"[1] and [2].", "one and ."},
      {"[3]", "Brindle Suite"},
      {"[[5]]", "ProductName"},
      {"[0][4][9]", ""},
      {"{[ProductName] is here}", "Brindle Suite is here"},
      {"{[Unset] is here}", ""},
      {"{[ProductName] and [Unset]}", ""},
      {"{no references}", "{no references}"},
      {"{[\\[]}", "["},
      {"Internal Error [1]. [2]{, [3]}{, [4]}", "Internal Error one. , Brindle Suite"},
      {"Time remaining: {[1] min }{[2] sec}", "Time remaining: one min "},
      {"[ProductName", "[ProductName"},
      {"ProductName]", "ProductName]"},
      {"{[ProductName]", "{Brindle Suite"},
      {"[ProductName]}", "Brindle Suite}"},
      {"[]", "[]"},
      {"[\\", "[\\"},
      {"[\\]", "[\\]"},
      {"{{Fatal error: }}", "{{Fatal error: }}"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(formatText(utf8ToUtf16(c.text), facts(), kFields), utf8ToUtf16(c.expected)) << c.text;
  }
  EXPECT_EQ(formatText(u"a[~]b", facts()), std::u16string(u"a\0b", 3));
}

TEST(FormattedText, WithoutASessionOnlyRecordFieldsResolve) {
  const Case cases[] = {
      {"format this field: [1], format this property: [property]",
       "format this field: one, format this property: [property]"},
      {"[3]", "[ProductName]"},
      {"[\\[]|[~]|[%PATH]", "[\\[]|[~]|[%PATH]"},
      {"[[5]]", "[PropA]"},
      {"{[2]}{[1]}", "one"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(formatText(utf8ToUtf16(c.text), kFields), utf8ToUtf16(c.expected)) << c.text;
  }
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
  std::u16string open;
  std::u16string close;
  for (int i = 0; i < 100000; ++i) {
    open += u"{[";
    close += u"]}";
  }
  // Beyond the depth limit the text is plain, names no property, and every
  // group around it vanishes.
  EXPECT_EQ(formatText(open + u"ProductName" + close, facts(), kFields), u"");
  EXPECT_EQ(formatText(open + u"[1]", kFields), open + u"one");
  std::u16string nested = u"ProductName";
  for (int i = 0; i < 50; ++i) nested = u"[" + nested + u"]";
  EXPECT_EQ(formatText(nested, facts()), u"");
}

}  // namespace
