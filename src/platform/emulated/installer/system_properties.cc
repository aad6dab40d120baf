// The properties Windows Installer sets when it opens a package
// (system_properties.h). Folder properties end with a backslash, as every
// directory property of Windows Installer does.
#include "platform/emulated/installer/system_properties.h"

#include <cstdio>
#include <ctime>
#include <string>

#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/shell/shell_folders.h"
#include "platform/emulated/shell32.h"

namespace emulated::installer {

namespace {

std::u16string wide(const std::string& text) { return utf8ToUtf16(text); }
std::u16string number(long value) { return wide(std::to_string(value)); }

std::u16string folder(std::u16string path) {
  if (path.empty() || path.back() != u'\\') path += u'\\';
  return path;
}

// Program Files as the add-on sees it: the configured folder, or on a
// 64-bit machine the 32-bit one (a 32-bit package installs there).
std::u16string programFiles(const MachineFacts& machine) {
  const std::u16string configured = shellFolderPath(CSIDL_PROGRAM_FILES);
  if (machine.is64Bit && configured == u"C:\\Program Files") return u"C:\\Program Files (x86)\\";
  return folder(configured);
}

void addVersion(PropertyMap& p, const MachineFacts& machine) {
  const std::u16string versionNT = number(machine.windowsMajor * 100L + machine.windowsMinor);
  p[u"VersionNT"] = versionNT;
  if (machine.is64Bit) {
    p[u"VersionNT64"] = versionNT;
    p[u"Msix64"] = u"6";
  }
  p[u"WindowsBuild"] = number(machine.windowsBuild);
  p[u"ServicePackLevel"] = number(machine.servicePack);
  p[u"MsiNTProductType"] = number(machine.productType);
  p[u"VersionMsi"] = u"5.00";
  // The processor level of the x86 family, which a 32-bit package sees on
  // either machine.
  p[u"Intel"] = u"6";
}

void addSystemFolders(PropertyMap& p, const MachineFacts& machine) {
  p[u"WindowsFolder"] = u"C:\\Windows\\";
  p[u"WindowsVolume"] = u"C:\\";
  p[u"FontsFolder"] = u"C:\\Windows\\Fonts\\";
  p[u"SystemFolder"] = machine.is64Bit ? u"C:\\Windows\\SysWOW64\\" : u"C:\\Windows\\System32\\";
  const std::u16string programFilesFolder = programFiles(machine);
  p[u"ProgramFilesFolder"] = programFilesFolder;
  p[u"CommonFilesFolder"] = programFilesFolder + u"Common Files\\";
  if (machine.is64Bit) {
    p[u"System64Folder"] = u"C:\\Windows\\System32\\";
    p[u"ProgramFiles64Folder"] = u"C:\\Program Files\\";
    p[u"CommonFiles64Folder"] = u"C:\\Program Files\\Common Files\\";
  }
  p[u"CommonAppDataFolder"] = u"C:\\ProgramData\\";
  if (p.find(u"ROOTDRIVE") == p.end()) p[u"ROOTDRIVE"] = u"C:\\";
}

// The user's shell folders; a per-machine package (ALLUSERS=1) gets the
// folders shared by all users where Windows has them.
void addUserFolders(PropertyMap& p, const MachineFacts& machine) {
  const std::u16string profile = u"C:\\Users\\" + wide(machine.userName) + u"\\";
  const std::u16string roaming = profile + u"AppData\\Roaming\\";
  const std::u16string local = profile + u"AppData\\Local\\";
  const auto allUsers = p.find(u"ALLUSERS");
  const bool perMachine = allUsers != p.end() && allUsers->second == u"1";
  const std::u16string startMenu =
      (perMachine ? u"C:\\ProgramData\\" : roaming) + u"Microsoft\\Windows\\Start Menu\\";
  p[u"AppDataFolder"] = roaming;
  p[u"LocalAppDataFolder"] = local;
  p[u"TempFolder"] = local + u"Temp\\";
  p[u"PersonalFolder"] = profile + u"Documents\\";
  p[u"DesktopFolder"] = perMachine ? u"C:\\Users\\Public\\Desktop\\" : profile + u"Desktop\\";
  p[u"StartMenuFolder"] = startMenu;
  p[u"ProgramMenuFolder"] = startMenu + u"Programs\\";
  p[u"StartupFolder"] = startMenu + u"Programs\\Startup\\";
}

void addUserAndMachine(PropertyMap& p, const MachineFacts& machine) {
  p[u"LogonUser"] = wide(machine.userName);
  p[u"ComputerName"] = wide(machine.computerName);
  p[u"UserLanguageID"] = number(machine.userLanguage);
  p[u"SystemLanguageID"] = number(machine.systemLanguage);
  if (machine.userIsAdmin) {
    p[u"AdminUser"] = u"1";
    p[u"Privileged"] = u"1";
  }
}

}  // namespace

void addSystemProperties(PropertyMap& p, const MachineFacts& machine, const OpenContext& context) {
  addVersion(p, machine);
  addSystemFolders(p, machine);
  addUserFolders(p, machine);
  addUserAndMachine(p, machine);
  p[u"OriginalDatabase"] = context.packagePath;
  p[u"DATABASE"] = context.packagePath;
  p[u"UILevel"] = number(context.uiLevel);
  // ProductState: INSTALLSTATE_DEFAULT for a product installed for this
  // user, INSTALLSTATE_UNKNOWN for one installed nowhere.
  p[u"ProductState"] = context.installed ? u"5" : u"-1";
  if (context.installed) p[u"Installed"] = u"1";
}

std::optional<std::u16string> clockProperty(std::u16string_view name) {
  if (name != u"Date" && name != u"Time") return std::nullopt;
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[32];
  if (name == u"Date") {
    std::snprintf(text, sizeof text, "%d/%d/%d", local.tm_mon + 1, local.tm_mday, local.tm_year + 1900);
  } else {
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", local.tm_hour, local.tm_min, local.tm_sec);
  }
  return wide(text);
}

}  // namespace emulated::installer
