// SHGetSpecialFolderPathW and the machine's shell folders.
#include "platform/emulated/shell/shell_folders.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "platform/emulated/machine/machine_config.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/shell32.h"

namespace emulated {

namespace {

// Each folder the machine knows: its configuration key and default.
struct ShellFolder {
  int csidl;
  const char* configKey;
  const char* defaultPath;
};

constexpr ShellFolder kFolders[] = {
    {CSIDL_PROGRAM_FILES, "programFilesFolder", "C:\\Program Files"},
};

}  // namespace

static bool makeHostDirectories(const std::string& path) {
  for (size_t pos = 1; pos <= path.size(); ++pos) {
    if (pos != path.size() && path[pos] != '/') continue;
    const std::string prefix = path.substr(0, pos);
    if (::mkdir(prefix.c_str(), 0755) != 0 && errno != EEXIST) return false;
  }
  return true;
}

std::u16string shellFolderPath(int csidl) {
  for (const ShellFolder& folder : kFolders) {
    if (folder.csidl == csidl) return utf8ToUtf16(machineConfigValue(folder.configKey, folder.defaultPath));
  }
  return {};
}

}  // namespace emulated

extern "C" BOOL SHGetSpecialFolderPathW(HWND hwndOwner, LPWSTR pszPath, int csidl, BOOL fCreate) {
  if (pszPath == nullptr) return FALSE;
  const std::u16string path = emulated::shellFolderPath(csidl & ~CSIDL_FLAG_MASK);
  if (path.empty() || path.size() >= MAX_PATH) return FALSE;
  if (fCreate && !emulated::makeHostDirectories(emulated::toHostPath(path))) return FALSE;
  std::memcpy(pszPath, path.c_str(), (path.size() + 1) * sizeof(WCHAR));
  return TRUE;
}
