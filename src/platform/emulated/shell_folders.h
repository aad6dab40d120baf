// The shell folders of the emulated machine. Internal to the machine.
#pragma once

#include <string>

namespace emulated {

// The Windows path of a shell folder (a CSIDL value without flag bits), or
// "" for a folder the machine does not know. The machine's configuration
// decides them; until it is read from a file, these are the defaults of a
// fresh Windows installation, kept here and nowhere else.
std::u16string shellFolderPath(int csidl);

}  // namespace emulated
