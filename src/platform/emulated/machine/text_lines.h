// Text kept one value a line in the machine's own files (the store of
// installed products, the registry's value files): a value's backslashes,
// tabs and line ends are escaped so that a line and a tab always separate.
#pragma once

#include <string>
#include <string_view>

namespace emulated {

// UTF-8 with \ \t \n \r written as \\ \t \n \r.
std::string escapeLineText(std::u16string_view text);
// The reverse; an unknown escape gives the character itself.
std::u16string unescapeLineText(std::string_view line);

}  // namespace emulated
