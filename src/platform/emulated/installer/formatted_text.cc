#include "platform/emulated/installer/formatted_text.h"

#include <algorithm>
#include <cstddef>
#include <string>

namespace emulated::installer {

namespace {

constexpr std::size_t kNone = std::u16string_view::npos;

// What one bracketed reference resolved to; found is false for a reference
// that gave nothing, which makes the group around it vanish.
struct Resolved {
  std::u16string text;
  bool found = true;
};

class Formatter {
 public:
  Formatter(std::u16string_view text, const SessionFacts* facts, const RecordFields& fields,
            const FormatOptions& options)
      : text_(text), facts_(facts), fields_(fields), options_(options), close_(text.size(), kNone),
        escape_(text.size(), false) {
    matchPairs();
  }
  Formatter(const Formatter&) = delete;
  Formatter& operator=(const Formatter&) = delete;

  std::u16string run() { return region(0, text_.size(), 0, nullptr); }

 private:
  struct Group {
    bool referenced = false;  // it holds a bracketed reference, at any depth
    bool allFound = true;     // every reference directly in it gave something
  };

  // One pass pairs every '[' and '{' with its closing partner (close_),
  // brackets and braces separately, innermost first. "[\x...]" is paired
  // with the first ']' after x and nothing inside it pairs.
  void matchPairs() {
    std::vector<std::size_t> brackets;
    std::vector<std::size_t> braces;
    std::size_t noCloseFrom = kNone;  // no ']' at or after this index
    for (std::size_t i = 0; i < text_.size(); ++i) {
      const char16_t c = text_[i];
      if (c == u'[' && i + 2 < text_.size() && text_[i + 1] == u'\\') {
        // An escape without its closing bracket ("[\]") pairs with nothing.
        const std::size_t close = i + 3 < noCloseFrom ? text_.find(u']', i + 3) : kNone;
        if (close == kNone) {
          noCloseFrom = std::min(noCloseFrom, i + 3);
          continue;
        }
        close_[i] = close;
        escape_[i] = true;
        i = close;
        continue;
      }
      if (c == u'[') brackets.push_back(i);
      if (c == u'{') braces.push_back(i);
      std::vector<std::size_t>* open = c == u']' ? &brackets : c == u'}' ? &braces : nullptr;
      if (open && !open->empty()) {
        close_[open->back()] = i;
        open->pop_back();
      }
    }
  }

  // The text from begin to end (exclusive), formatted. A pair counts only
  // when both its ends lie in the region; references report to group.
  std::u16string region(std::size_t begin, std::size_t end, int depth, Group* group) {
    std::u16string out;
    std::size_t i = begin;
    while (i < end) {
      const char16_t c = text_[i];
      const std::size_t close = close_[i];
      if ((c == u'[' || c == u'{') && close != kNone && close < end && depth < kMaxFormatDepth) {
        out += c == u'{' ? braces(i, close, depth, group) : bracket(i, close, depth, group);
        i = close + 1;
      } else {
        out += c;
        ++i;
      }
    }
    return out;
  }

  std::u16string bracket(std::size_t open, std::size_t close, int depth, Group* group) {
    // "[]" names nothing and stays as it is.
    if (close == open + 1) return u"[]";
    const Resolved resolved =
        escape_[open] ? escape(open, close) : resolve(region(open + 1, close, depth + 1, nullptr));
    if (group) {
      group->referenced = true;
      group->allFound = group->allFound && resolved.found;
    }
    return resolved.text;
  }

  Resolved escape(std::size_t open, std::size_t close) const {
    if (!facts_) return Resolved{std::u16string(text_.substr(open, close + 1 - open))};
    return Resolved{std::u16string(1, text_[open + 2])};
  }

  std::u16string braces(std::size_t open, std::size_t close, int depth, Group* group) {
    const bool logOnly = options_.logOnlyText != LogOnlyText::Unchanged && close > open + 3 &&
                         text_[open + 1] == u'{' && close_[open + 1] == close - 1;
    if (logOnly) {
      return options_.logOnlyText == LogOnlyText::Hidden ? std::u16string()
                                                         : region(open + 2, close - 1, depth + 1, group);
    }
    Group inner;
    std::u16string body = region(open + 1, close, depth + 1, &inner);
    // A group inside a group decides for itself whether it shows; the outer
    // one only learns that it holds references.
    if (group && inner.referenced) group->referenced = true;
    if (!inner.referenced) return u"{" + body + u"}";
    return inner.allFound ? body : std::u16string();
  }

  // The key is the bracket's content after its inner brackets resolved;
  // one that resolved to nothing ([[Unset]]) gives nothing.
  Resolved resolve(const std::u16string& key) const {
    if (key.empty()) return Resolved{{}, false};
    std::size_t field = 0;
    if (recordField(key, &field)) return fieldValue(field);
    if (!facts_) return Resolved{u"[" + key + u"]"};
    if (key == u"~") return Resolved{std::u16string(1, u'\0')};
    const std::u16string_view name = std::u16string_view(key).substr(1);
    std::u16string value;
    switch (key[0]) {
      case u'%': value = facts_->environment(name); break;
      case u'#': value = facts_->filePath(name, false); break;
      case u'!': value = facts_->filePath(name, options_.shortFilePaths); break;
      case u'$': value = facts_->componentDirectory(name); break;
      default: value = facts_->property(key); break;
    }
    const bool found = !value.empty();
    return Resolved{std::move(value), found};
  }

  // Digits only name a field. [0] names the template itself, which gives
  // no text: the documents number the data fields from 1.
  static bool recordField(std::u16string_view key, std::size_t* field) {
    if (key.empty() || key.size() > 9) return false;
    std::size_t value = 0;
    for (char16_t c : key) {
      if (c < u'0' || c > u'9') return false;
      value = value * 10 + (c - u'0');
    }
    *field = value;
    return true;
  }

  Resolved fieldValue(std::size_t field) const {
    if (field == 0 || field >= fields_.size() || !fields_[field] || fields_[field]->empty()) return Resolved{{}, false};
    const std::u16string& value = *fields_[field];
    if (!facts_) return Resolved{value};
    // The field's own [n] references find no record: the second step only
    // resolves the session's references.
    return Resolved{Formatter(value, facts_, RecordFields(), options_).run()};
  }

  std::u16string_view text_;
  const SessionFacts* facts_;
  const RecordFields& fields_;
  const FormatOptions& options_;
  std::vector<std::size_t> close_;
  std::vector<bool> escape_;
};

}  // namespace

std::u16string formatText(std::u16string_view text, const SessionFacts& facts, const RecordFields& fields,
                          const FormatOptions& options) {
  return Formatter(text, &facts, fields, options).run();
}

std::u16string formatText(std::u16string_view text, const RecordFields& fields, const FormatOptions& options) {
  return Formatter(text, nullptr, fields, options).run();
}

std::u16string formatRecord(const RecordFields& record, const SessionFacts* facts, const FormatOptions& options) {
  if (!record.empty() && record[0] && !record[0]->empty()) {
    return Formatter(*record[0], facts, record, options).run();
  }
  std::u16string out;
  for (std::size_t field = 1; field < record.size(); ++field) {
    for (char digit : std::to_string(field)) out += static_cast<char16_t>(digit);
    out += u": ";
    if (record[field]) out += *record[field];
    out += u' ';
  }
  return out;
}

}  // namespace emulated::installer
