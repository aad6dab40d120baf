// Where the emulated Windows machine lives on the host, and how Windows
// paths map onto it. The mapping is Wine's: drive C: is <root>/drive_c,
// another letter X: is <root>/drive_x, and Z: is the host's "/".
#pragma once

#include <string>
#include <string_view>

namespace emulated {

// The machine root: $INSTALLER_ORNEL_MACHINE, or a per-user default
// (~/.local/share/installer_ornel/machine). Its drive_c is created on first
// use. Absolute, without a trailing slash.
std::string machineRoot();

// Host path of a Windows path, or "" when it cannot be mapped (a UNC path,
// an empty path). Both separators are accepted; "." and ".." are resolved
// as Windows resolves them, lexically. A relative path is relative to the
// process's current directory. Each existing component is matched without
// regard to ASCII case, as Windows matches names; components that do not
// exist yet keep their spelling, so a file can be created under them.
std::string toHostPath(std::u16string_view windowsPath);

// Windows path of an absolute host path: C:\... inside the machine's
// drive_c, Z: followed by the path with backslashes anywhere else.
std::u16string toWindowsPath(std::string_view hostPath);

}  // namespace emulated
