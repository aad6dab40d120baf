// The emulated machine's configuration: <root>/machine.conf, one
// "key=value" a line ('#' starts a comment line). Unknown keys are kept and
// ignored; a missing file or key means the default.
//
//   hostExecutable       the host process's executable as a Windows path
//                        (default: the real executable, as a Z: path)
//   programFilesFolder   the Program Files folder (default C:\Program Files)
//   windowsMajor, windowsMinor, windowsBuild, windowsServicePack,
//   windowsProductType   the Windows version the machine reports
//                        (default 10, 0, 19045, 0, 1: a workstation)
//   windowsSuiteMask     the product suites (VER_SUITE_*) of GetVersionExA
//                        (default 256: VER_SUITE_SINGLEUSERTS, one user)
//   windows64Bit         1 for 64-bit Windows (default 0: 32-bit)
//   userName, computerName   the logged-on user and the machine's name
//                        (default User, ORNEL-PC)
//   userLanguage, systemLanguage   language ids (default 1033, 1033)
//   userIsAdmin          1 when the user is an administrator (default 1)
//
// Scenario keys, read by the installation engine at each operation:
//   installTickDelayMs   milliseconds to wait after each progress report of
//                        an installation's or removal's execution and of
//                        its rollback (default 0), to watch the bar and
//                        press Cancel
//   failAction           an action that posts an error and fails with 1603:
//                        at once, or for an action that writes the script,
//                        once the script has run its operations, so that
//                        the rollback has something to undo (default none)
//   restartRequired      1: a successful operation returns 3010
//                        (ERROR_SUCCESS_REBOOT_REQUIRED) (default 0)
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

// What the machine is: its Windows version, user and languages, from the
// keys above, read in one pass over the file. A value that is not a number
// where one is expected reads as the default.
struct MachineFacts {
  int windowsMajor = 10;
  int windowsMinor = 0;
  int windowsBuild = 19045;
  int servicePack = 0;
  int productType = 1;
  int suiteMask = 0x100;
  bool is64Bit = false;
  std::string userName = "User";
  std::string computerName = "ORNEL-PC";
  int userLanguage = 1033;
  int systemLanguage = 1033;
  bool userIsAdmin = true;
};
MachineFacts readMachineFacts();

// Sets `key` to `value`, keeping the other lines; the file is replaced in one
// rename, so a reader never sees half of it. False when it cannot be written.
bool writeMachineConfigValue(const std::string& key, const std::string& value);

}  // namespace emulated
