#include "platform/emulated/machine/text_lines.h"

#include "platform/emulated/machine/unicode.h"

namespace emulated {

std::string escapeLineText(std::u16string_view text) {
  std::string out;
  for (char c : utf16ToUtf8(text)) {
    if (c == '\\') out += "\\\\";
    else if (c == '\t') out += "\\t";
    else if (c == '\n') out += "\\n";
    else if (c == '\r') out += "\\r";
    else out += c;
  }
  return out;
}

std::u16string unescapeLineText(std::string_view line) {
  std::string out;
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] != '\\' || i + 1 == line.size()) {
      out += line[i];
      continue;
    }
    const char next = line[++i];
    out += next == 't' ? '\t' : next == 'n' ? '\n' : next == 'r' ? '\r' : next;
  }
  return utf8ToUtf16(out);
}

}  // namespace emulated
