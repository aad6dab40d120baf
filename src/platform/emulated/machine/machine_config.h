// The emulated machine's configuration: <root>/machine.conf, one
// "key=value" a line ('#' starts a comment line). Unknown keys are kept and
// ignored; a missing file or key means the default.
//
//   hostExecutable       the host process's executable as a Windows path
//                        (default: the real executable, as a Z: path)
//   programFilesFolder   the Program Files folder (default C:\Program Files)
//   windowsMajor, windowsMinor, windowsBuild, windowsServicePack,
//   windowsProductType   the Windows version the machine reports
//                        (default 10, 0, 19045, "", 1: a workstation)
#pragma once

#include <map>
#include <string>

namespace emulated {

// Host path of the configuration file of the current machine root.
std::string machineConfigPath();

// The file's keys and values, read anew on every call so that a change made
// by another process (the scenario tool) is seen at once.
std::map<std::string, std::string> readMachineConfig();

// The value of `key`, or `fallback` when the file does not set it.
std::string machineConfigValue(const std::string& key, const std::string& fallback);

// Sets `key` to `value`, keeping the other lines; the file is replaced in one
// rename, so a reader never sees half of it. False when it cannot be written.
bool writeMachineConfigValue(const std::string& key, const std::string& value);

}  // namespace emulated
