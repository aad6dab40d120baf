// The command line of MsiInstallProductW and MsiConfigureProductExW: public
// property settings, as "Setting Public Property Values on the Command
// Line" documents them:
//   PROPERTY=value           a value without blanks needs no quotes
//   PROPERTY="a value"       quotes keep blanks; "" inside them is one quote
//   PROPERTY=""              the empty value: the property is cleared
// Settings are separated by blanks (space, tab, line ends); blanks around
// '=' are allowed, as the documentation writes "PROPERTY = "string"". A
// name is a letter or '_' followed by letters, digits, '_' and '.'.
//
// Anything else (a word without '=', a missing name, an unclosed quote, a
// quote run straight into the next setting) is malformed:
// ERROR_INVALID_COMMAND_LINE (1639), as Windows Installer answers it.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/emulated/win_types.h"

namespace emulated::installer {

// Name and value, in the order given; a later setting of the same name wins
// when they are applied in order.
using PropertySettings = std::vector<std::pair<std::u16string, std::u16string>>;

// ERROR_SUCCESS with the settings, or ERROR_INVALID_COMMAND_LINE.
UINT parseCommandLine(std::u16string_view text, PropertySettings* settings);

}  // namespace emulated::installer
