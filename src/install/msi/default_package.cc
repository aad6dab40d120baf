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

/*
 * The process-wide state of the default package. Asynchronous calls use it
 * on pool threads, which may still run (or wait for the package-ready
 * event, or sit inside Windows Installer) while exit() runs the static
 * destructors. So it lives on the heap and is never destroyed: a task
 * thread never finds the product information freed or its lock gone.
 */
struct DefaultPackage {
  std::mutex directoryLock;
  platform::wstring directoryCache;  // guarded by directoryLock

  std::atomic<bool> packageReady{false};

  std::mutex productLock;
  std::unique_ptr<MsiProductInfoInterface> product;  // guarded by productLock
};

DefaultPackage& state() {
  static DefaultPackage* const instance = new DefaultPackage;
  return *instance;
}

}  // namespace

const platform::wstring& defaultPackageFileName() {
  static const platform::wstring* const name = new platform::wstring(WIDE_TEXT("brindle_installer.msi"));
  return *name;
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
  DefaultPackage& package = state();
  std::lock_guard<std::mutex> lock(package.directoryLock);
  if (!package.directoryCache.empty()) return package.directoryCache;
  const platform::wstring path = hostExecutablePath();
  if (path.empty()) return {};
  platform::wstring directory = directoryOfPath(path);
  if (directory.empty()) {
    QOR_CHECK(qor::resultFromWin32Error(GetLastError()));
    return {};
  }
  package.directoryCache = directory;
  return package.directoryCache;
}

platform::wstring defaultPackagePath() {
  platform::wstring path = packageDirectory();
  if (!path.empty() && !isSeparator(path.back())) path += WIDE_TEXT('\\');
  return path + defaultPackageFileName();
}

void waitForPackageReady() {
  std::atomic<bool>& packageReady = state().packageReady;
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
  DefaultPackage& package = state();
  std::unique_lock<std::mutex> lock(package.productLock);
  if (!package.product) {
    const platform::wstring path = defaultPackagePath();
    waitForPackageReady();
    std::uint32_t error = 0;
    package.product = openMsiProductInfo(path, error);
    if (error != 0) {
      package.product.reset();
      throw std::runtime_error("msiProductInfo error: " + std::to_string(error));
    }
  }
  return SharedProductInfo(std::move(lock), *package.product);
}

void releaseMsiProductInfo() {
  DefaultPackage& package = state();
  std::lock_guard<std::mutex> lock(package.productLock);
  package.product.reset();
}

}  // namespace msi_wrapper
}  // namespace installer
