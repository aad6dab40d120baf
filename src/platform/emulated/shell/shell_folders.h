// The shell folders of the emulated machine. Internal to the machine.
#pragma once

#include <string>

namespace emulated {

// The Windows path of a shell folder (a CSIDL value without flag bits), or
// "" for a folder the machine does not know. The machine's configuration
// decides them (machine_config.h); without it, a fresh Windows
// installation's defaults.
std::u16string shellFolderPath(int csidl);

}  // namespace emulated
