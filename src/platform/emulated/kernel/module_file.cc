// GetModuleFileNameW: the host process's executable, as the machine's
// configuration names it.
#include <unistd.h>

#include <cstring>
#include <vector>

#include "platform/emulated/kernel32.h"
#include "platform/emulated/machine/machine_config.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated {

namespace {

std::string realExecutable() {
  std::vector<char> buffer(4096);
  const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
  return length > 0 ? std::string(buffer.data(), static_cast<size_t>(length)) : std::string();
}

}  // namespace

// The configured host executable, or the real one as a Z: path.
std::u16string hostExecutablePath() {
  const std::string configured = machineConfigValue("hostExecutable", "");
  if (!configured.empty()) return utf8ToUtf16(configured);
  const std::string real = realExecutable();
  return real.empty() ? std::u16string() : toWindowsPath(real);
}

}  // namespace emulated

// Only the executable (hModule null) is known. As on Windows, a buffer too
// short gets the path cut to nSize - 1 units and terminated, the result is
// nSize and the last error ERROR_INSUFFICIENT_BUFFER.
extern "C" DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize) {
  if (hModule != nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return 0;
  }
  const std::u16string path = emulated::hostExecutablePath();
  if (path.empty()) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return 0;
  }
  if (nSize == 0 || lpFilename == nullptr) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  if (path.size() >= nSize) {
    std::memcpy(lpFilename, path.data(), (nSize - 1) * sizeof(WCHAR));
    lpFilename[nSize - 1] = 0;
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return nSize;
  }
  std::memcpy(lpFilename, path.c_str(), (path.size() + 1) * sizeof(WCHAR));
  SetLastError(ERROR_SUCCESS);
  return static_cast<DWORD>(path.size());
}
