// TEMPORARY, delete at merge: stands in for evaluateCondition and
// formatRecord until the condition evaluator and the formatter
// (condition_evaluator.h, formatted_text.h and their sources, written on
// the branch "conditions") are merged. It knows only what the session's
// own tests need: a property alone, NOT, and one comparison of a property
// with an integer or a quoted text (=, <>, <, >, <=, >=); [Property] and
// [n] in formatted text.
#include <cstdlib>

#include "platform/emulated/installer/condition_evaluator.h"
#include "platform/emulated/installer/formatted_text.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated::installer {

namespace {

std::u16string trim(std::u16string_view text) {
  const size_t first = text.find_first_not_of(u' ');
  if (first == std::u16string_view::npos) return {};
  return std::u16string(text.substr(first, text.find_last_not_of(u' ') - first + 1));
}

bool isNumber(const std::u16string& text, long& value) {
  if (text.empty()) return false;
  const std::string narrow = utf16ToUtf8(text);
  char* end = nullptr;
  value = std::strtol(narrow.c_str(), &end, 10);
  return *end == 0;
}

std::u16string operand(const std::u16string& text, const SessionFacts& facts) {
  if (text.size() >= 2 && text.front() == u'"' && text.back() == u'"') return text.substr(1, text.size() - 2);
  long number = 0;
  return isNumber(text, number) ? text : facts.property(text);
}

bool compare(const std::u16string& left, const std::u16string& op, const std::u16string& right) {
  long a = 0, b = 0;
  const int order = isNumber(left, a) && isNumber(right, b) ? (a < b ? -1 : a > b) : left.compare(right);
  if (op == u"=") return order == 0;
  if (op == u"<>") return order != 0;
  if (op == u"<") return order < 0;
  if (op == u">") return order > 0;
  if (op == u"<=") return order <= 0;
  return order >= 0;
}

}  // namespace

MSICONDITION evaluateCondition(std::u16string_view text, const SessionFacts& facts) {
  std::u16string condition = trim(text);
  if (condition.empty()) return MSICONDITION_NONE;
  bool negate = false;
  if (condition.rfind(u"NOT ", 0) == 0) {
    negate = true;
    condition = trim(condition.substr(4));
  }
  bool result = false;
  const size_t at = condition.find_first_of(u"=<>");
  if (at == std::u16string::npos) {
    result = !facts.property(condition).empty();
  } else {
    size_t end = at + 1;
    if (end < condition.size() && (condition[end] == u'=' || condition[end] == u'>')) ++end;
    const std::u16string left = operand(trim(condition.substr(0, at)), facts);
    const std::u16string right = operand(trim(condition.substr(end)), facts);
    result = compare(left, condition.substr(at, end - at), right);
  }
  return result != negate ? MSICONDITION_TRUE : MSICONDITION_FALSE;
}

std::u16string formatRecord(const RecordFields& fields, const SessionFacts* facts, const FormatOptions&) {
  const auto fieldText = [&](size_t n) { return n < fields.size() && fields[n] ? *fields[n] : std::u16string(); };
  if (fields.empty() || !fields[0]) {
    std::u16string out;
    for (size_t n = 1; n < fields.size(); ++n) out += utf8ToUtf16(std::to_string(n)) + u": " + fieldText(n) + u" ";
    return out;
  }
  const std::u16string text = *fields[0];
  std::u16string out;
  for (size_t i = 0; i < text.size(); ++i) {
    const size_t close = text[i] == u'[' ? text.find(u']', i) : std::u16string::npos;
    if (close == std::u16string::npos) {
      out += text[i];
      continue;
    }
    const std::u16string name = text.substr(i + 1, close - i - 1);
    long field = 0;
    if (isNumber(name, field)) {
      if (field > 0) out += fieldText(static_cast<size_t>(field));
    } else if (facts != nullptr) {
      out += facts->property(name);
    } else {
      out += text.substr(i, close - i + 1);
    }
    i = close;
  }
  return out;
}

}  // namespace emulated::installer
