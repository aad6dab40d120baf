// Parsing the property settings of a command line (command_line.h).
#include "platform/emulated/installer/command_line.h"

namespace emulated::installer {

namespace {

bool isBlank(char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }
bool isLetter(char16_t c) { return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || c == u'_'; }
bool isNameChar(char16_t c) { return isLetter(c) || (c >= u'0' && c <= u'9') || c == u'.'; }

class Parser {
 public:
  explicit Parser(std::u16string_view text) : text_(text) {}

  UINT run(PropertySettings* settings) {
    while (skipBlanks()) {
      std::u16string name, value;
      if (!readName(&name) || !readEquals() || !readValue(&value)) return ERROR_INVALID_COMMAND_LINE;
      settings->emplace_back(std::move(name), std::move(value));
    }
    return ERROR_SUCCESS;
  }

 private:
  // False at the end of the text.
  bool skipBlanks() {
    while (at_ < text_.size() && isBlank(text_[at_])) ++at_;
    return at_ < text_.size();
  }

  bool readName(std::u16string* name) {
    if (!isLetter(text_[at_])) return false;
    const size_t start = at_;
    while (at_ < text_.size() && isNameChar(text_[at_])) ++at_;
    *name = std::u16string(text_.substr(start, at_ - start));
    return true;
  }

  bool readEquals() {
    if (!skipBlanks() || text_[at_] != u'=') return false;
    ++at_;
    return true;
  }

  // Unquoted runs and quoted runs, up to a blank outside quotes. "PROP="
  // at the end or before a blank, unquoted, is malformed: the documented
  // empty value is "".
  bool readValue(std::u16string* value) {
    while (at_ < text_.size() && isBlank(text_[at_])) ++at_;
    bool any = false;
    while (at_ < text_.size() && !isBlank(text_[at_])) {
      any = true;
      if (text_[at_] != u'"') {
        value->push_back(text_[at_++]);
        continue;
      }
      if (!readQuoted(value)) return false;
    }
    return any;
  }

  bool readQuoted(std::u16string* value) {
    ++at_;  // the opening quote
    for (;;) {
      if (at_ >= text_.size()) return false;  // never closed
      const char16_t c = text_[at_++];
      if (c != u'"') {
        value->push_back(c);
      } else if (at_ < text_.size() && text_[at_] == u'"') {
        value->push_back(u'"');
        ++at_;
      } else {
        // A closing quote ends the value: a blank or the end must follow.
        return at_ >= text_.size() || isBlank(text_[at_]);
      }
    }
  }

  std::u16string_view text_;
  size_t at_ = 0;
};

}  // namespace

UINT parseCommandLine(std::u16string_view text, PropertySettings* settings) {
  PropertySettings parsed;
  const UINT code = Parser(text).run(&parsed);
  if (code == ERROR_SUCCESS) *settings = std::move(parsed);
  return code;
}

}  // namespace emulated::installer
