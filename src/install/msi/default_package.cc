#include "install/msi/default_package.h"

#include <atomic>
#include <stdexcept>
#include <string>

#include "framework/check.h"
#include "framework/result.h"
#include "install/tracing/trace_site.h"

namespace installer {
namespace msi_wrapper {

namespace {

constexpr DWORD kFirstPathSize = MAX_PATH;
constexpr int kPathAttempts = 5;

bool isSeparator(WCHAR c) { return c == WIDE_TEXT('\\') || c == WIDE_TEXT('/'); }

// The executable's path, or "" when it is still cut after the last attempt.
// A failing call raises the framework check with Windows' last error.
platform::wstring hostExecutablePath() {
  DWORD size = kFirstPathSize;
  for (int attempt = 0; attempt < kPathAttempts; ++attempt) {
    platform::wstring buffer(size, WCHAR(0));
    const DWORD length = GetModuleFileNameW(nullptr, &buffer[0], size);
    if (length == 0) {
      QOR_CHECK(qor::resultFromWin32Error(GetLastError()));
      return {};
    }
    if (length < size) return buffer.substr(0, length);
    size = size * 2 < kFirstPathSize ? kFirstPathSize : size * 2;
  }
  return {};
}

std::mutex directoryLock;
platform::wstring directoryCache;  // guarded by directoryLock

std::atomic<bool> packageReady{false};

std::mutex productLock;
std::unique_ptr<MsiProductInfoInterface> sharedProduct;  // guarded by productLock

}  // namespace

const platform::wstring& defaultPackageFileName() {
  static const platform::wstring name = WIDE_TEXT("brindle_installer.msi");
  return name;
}

platform::wstring directoryOfPath(const platform::wstring& path) {
  platform::wstring directory;
  const size_t last = path.find_last_of(WIDE_TEXT("\\/"));
  if (last != platform::wstring::npos) {
    directory = path.substr(0, last + 1);
  } else if (path.size() >= 2 && path[1] == WIDE_TEXT(':')) {
    directory = path.substr(0, 2);
  }
  const size_t n = directory.size();
  if (n > 1 && isSeparator(directory[n - 1]) && directory[n - 2] != WIDE_TEXT(':')) directory.pop_back();
  return directory;
}

platform::wstring packageDirectory() {
  std::lock_guard<std::mutex> lock(directoryLock);
  if (!directoryCache.empty()) return directoryCache;
  const platform::wstring path = hostExecutablePath();
  if (path.empty()) return {};
  platform::wstring directory = directoryOfPath(path);
  if (directory.empty()) {
    QOR_CHECK(qor::resultFromWin32Error(GetLastError()));
    return {};
  }
  directoryCache = directory;
  return directoryCache;
}

void waitForPackageReady() {
  if (packageReady.load()) return;
  HANDLE event = OpenEventW(SYNCHRONIZE, FALSE, kPackageReadyEvent);
  if (event != nullptr) {
    INSTALLER_TRACE_SERVICE(700) << "Wait extract msi";
    const DWORD result = WaitForSingleObject(event, INFINITE);
    INSTALLER_TRACE_SERVICE(700) << "Msi ready: " << static_cast<std::uint32_t>(result);
  } else {
    INSTALLER_TRACE_SERVICE(700) << "Msi not ready: " << static_cast<std::uint32_t>(GetLastError());
  }
  packageReady = true;
  if (event != nullptr) (void)CloseHandle(event);
}

SharedProductInfo getMsiProductInfo() {
  std::unique_lock<std::mutex> lock(productLock);
  if (!sharedProduct) {
    platform::wstring path = packageDirectory();
    if (!path.empty() && !isSeparator(path.back())) path += WIDE_TEXT('\\');
    path += defaultPackageFileName();
    waitForPackageReady();
    std::uint32_t error = 0;
    sharedProduct = openMsiProductInfo(path, error);
    if (error != 0) {
      sharedProduct.reset();
      throw std::runtime_error("msiProductInfo error: " + std::to_string(error));
    }
  }
  return SharedProductInfo(std::move(lock), *sharedProduct);
}

void releaseMsiProductInfo() {
  std::lock_guard<std::mutex> lock(productLock);
  sharedProduct.reset();
}

}  // namespace msi_wrapper
}  // namespace installer
