// Formatted text, as MsiFormatRecord documents it: [Property], [1], [#File],
// [!File], [$Component], [%ENV], [\x] escapes and {...} groups, over the
// facts of a session.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/emulated/installer/session_facts.h"

namespace emulated::installer {

// `fields[n]` is the text of record field n ([n]); a field beyond the end
// reads as "".
std::u16string formatText(std::u16string_view text, const SessionFacts& facts,
                          const std::vector<std::u16string>& fields);

}  // namespace emulated::installer
