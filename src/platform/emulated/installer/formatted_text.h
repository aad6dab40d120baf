// Formatted text of Windows Installer (MsiFormatRecordW, the Formatted
// column type, message templates): resolving the bracketed references of a
// text against a session and a record.
//
// The rules, as "Formatted" and "MsiFormatRecord" document them:
// - [n] is field n of the record; a null or missing field gives no text.
//   A field's value is then formatted for the session's references, as the
//   documented second step does with the text the first one produced;
// - [Name] is the value of a property, "" when it is not set (or Name is
//   no property name); [%Name] an environment variable; [#File] the full
//   path of a file, [!File] its short path where the caller allows it (the
//   Value columns of the Registry and IniFile tables) and else the same as
//   [#File]; [$Component] the component's directory; [~] the null character;
// - [\x] is the character x, kept without any further processing; whatever
//   follows x before the closing bracket is dropped ([\[] gives "[");
// - brackets nest and resolve from the inside out: [[A]] is the value of
//   the property named by A's value;
// - { } around text without references leaves the text and the braces; a
//   group with references shows its resolved text without the braces when
//   every reference in it resolved to something, and vanishes otherwise
//   ("{, [3]}" disappears when field 3 is null);
// - brackets or braces without their partner stay in the text as they are.
// Without a session only the record's fields are resolved; every other
// reference stays in the text unchanged, as Record.FormatText documents.
//
// Where the documents are silent, the choices are written at the code that
// makes them. Invariants: the text is read once, left to right (pairs are
// matched first, in one pass); nesting deeper than kMaxFormatDepth is kept
// as plain text; the session is only read.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/emulated/installer/session_facts.h"

namespace emulated::installer {

constexpr int kMaxFormatDepth = 100;

// A record's fields by number: index 0 is the template, 1.. the data
// fields. A null field is std::nullopt (an empty string is null too).
using RecordFields = std::vector<std::optional<std::u16string>>;

// {{text}} marks text of a message that only the log shows.
enum class LogOnlyText {
  Unchanged,  // the plain rules apply (MsiFormatRecord)
  Shown,      // the text, without its double braces (the log)
  Hidden,     // nothing (the user interface)
};

struct FormatOptions {
  bool shortFilePaths = false;  // [!File] gives the short path
  LogOnlyText logOnlyText = LogOnlyText::Unchanged;
};

// The text with its references resolved against the session and fields.
std::u16string formatText(std::u16string_view text, const SessionFacts& facts, const RecordFields& fields = {},
                          const FormatOptions& options = {});

// The same without a session: only [n] references are resolved.
std::u16string formatText(std::u16string_view text, const RecordFields& fields, const FormatOptions& options = {});

// What MsiFormatRecordW gives for a record, with or without a session: its
// template (field 0) formatted, or, when the template is null, every data
// field as "n: value " in turn ("1: 2205 2:  3: Error "), as Windows
// Installer writes a record that has no template.
std::u16string formatRecord(const RecordFields& record, const SessionFacts* facts, const FormatOptions& options = {});

}  // namespace emulated::installer
