// The `installer_controller` service (installer_controller.h).
#include "install/installer_ornel/services/installer_controller.h"

#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

#include "install/msi/default_package.h"
#include "install/msi/msi_database.h"
#include "install/msi/msi_product_info_interface.h"
#include "install/msi/msi_product_installed_info.h"
#include "install/tracing/trace_site.h"

namespace installer {

namespace {

// A kernel handle closed when it goes out of scope; a failing close is
// ignored. Null and INVALID_HANDLE_VALUE are no handle.
class KernelHandle {
 public:
  explicit KernelHandle(HANDLE handle) : handle_(handle) {}
  ~KernelHandle() {
    if (valid()) (void)CloseHandle(handle_);
  }
  KernelHandle(const KernelHandle&) = delete;
  KernelHandle& operator=(const KernelHandle&) = delete;

  bool valid() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

// A mapped view, unmapped when it goes out of scope.
class MappedView {
 public:
  explicit MappedView(LPVOID view) : view_(view) {}
  ~MappedView() {
    if (view_ != nullptr) (void)UnmapViewOfFile(view_);
  }
  MappedView(const MappedView&) = delete;
  MappedView& operator=(const MappedView&) = delete;

  const WCHAR* units() const { return static_cast<const WCHAR*>(view_); }

 private:
  LPVOID view_;
};

constexpr char kShutdownPrivilege[] = "SeShutdownPrivilege";
constexpr WCHAR kShellExecTarget[] = WIDE_TEXT("WixShellExecTarget");
// WixShellExecTarget reads "[#file]": the file's key starts at 2 and is
// taken at most this long.
constexpr std::size_t kTargetStart = 2;
constexpr std::size_t kTargetLength = 19;
// SHTDN_REASON_FLAG_PLANNED | SHTDN_REASON_MAJOR_OTHER | SHTDN_REASON_MINOR_MAINTENANCE.
constexpr DWORD kPlannedMaintenance = 0x80000001;

platform::wstring decimal(unsigned long value) {
  const std::string digits = std::to_string(value);
  return platform::wstring(digits.begin(), digits.end());
}

/*
 * The Windows version text. The cache is filled under its lock, so two
 * first calls on different threads compute it once and trace it once; a
 * failed computation leaves it empty (and traces the empty text), and the
 * next call tries again.
 */
struct VersionCache {
  std::mutex lock;
  platform::wstring text;  // guarded by lock
};

VersionCache& versionCache() {
  static VersionCache* const cache = new VersionCache;  // pool threads may use it during exit
  return *cache;
}

platform::wstring composeVersionText() {
  OSVERSIONINFOEXA info{};
  info.dwOSVersionInfoSize = sizeof(info);
  if (!GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&info))) return {};
  return WIDE_TEXT("osMajorVer=") + decimal(info.dwMajorVersion) + WIDE_TEXT(" osMinorVer=") +
         decimal(info.dwMinorVersion) + WIDE_TEXT(" osBuildNumber=") + decimal(info.dwBuildNumber) +
         WIDE_TEXT(" osServicePackNumber=") + decimal(info.wServicePackMajor) + WIDE_TEXT(" osEdition=") +
         decimal(info.wSuiteMask) + WIDE_TEXT(" osProductType=") + decimal(info.wProductType);
}

// Enables SeShutdownPrivilege in the process's token: 0 or the error.
DWORD enableShutdownPrivilege() {
  HANDLE opened = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &opened)) return GetLastError();
  const KernelHandle token(opened);
  TOKEN_PRIVILEGES privileges{};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  if (!LookupPrivilegeValueA(nullptr, kShutdownPrivilege, &privileges.Privileges[0].Luid)) return GetLastError();
  // A privilege granted only in part is not examined: the restart then
  // fails with its own error.
  if (!AdjustTokenPrivileges(token.get(), FALSE, &privileges, 0, nullptr, nullptr)) return GetLastError();
  return ERROR_SUCCESS;
}

}  // namespace

std::uint32_t readBootstrapperCommandLine(platform::wstring& text) {
  const KernelHandle mapping(OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, kCommandLineMapping));
  if (!mapping.valid()) return GetLastError();
  const MappedView view(MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, kCommandLineViewBytes));
  if (view.units() == nullptr) return GetLastError();
  const std::size_t limit = kCommandLineViewBytes / sizeof(WCHAR);
  std::size_t length = 0;
  while (length < limit && view.units()[length] != 0) ++length;
  text.assign(view.units(), length);
  return ERROR_SUCCESS;
}

platform::wstring windowsVersionText() {
  VersionCache& cache = versionCache();
  std::lock_guard<std::mutex> guard(cache.lock);
  if (cache.text.empty()) {
    cache.text = composeVersionText();
    INSTALLER_TRACE(800) << cache.text;
  }
  return cache.text;
}

std::uint32_t InstallerController::reboot() {
  const DWORD error = enableShutdownPrivilege();
  if (error != ERROR_SUCCESS) return error;
  if (!ExitWindowsEx(EWX_REBOOT | EWX_FORCE, kPlannedMaintenance)) return GetLastError();
  return ERROR_SUCCESS;
}

std::uint32_t InstallerController::startProduct() {
  std::uint32_t error = ERROR_SUCCESS;
  const auto package = msi_wrapper::openMsiProductInfo(msi_wrapper::defaultPackageFileName(), error);
  if (error != ERROR_SUCCESS) return error;
  const platform::wstring directory = package->getInstallDirectory();
  const platform::wstring target = package->getProperty(kShellExecTarget);
  if (target.size() < kTargetStart) throw std::out_of_range("invalid string position");
  const platform::wstring file = target.substr(kTargetStart, kTargetLength);
  const auto result = reinterpret_cast<INT_PTR>(
      ShellExecuteW(nullptr, nullptr, file.c_str(), nullptr, directory.c_str(), SW_HIDE));
  const auto code = static_cast<std::int32_t>(result);
  return code > 32 ? ERROR_SUCCESS : static_cast<std::uint32_t>(code);
}

platform::wstring InstallerController::getCommandLine() {
  platform::wstring commandLine;
  (void)readBootstrapperCommandLine(commandLine);
  INSTALLER_TRACE(800) << commandLine;
  return commandLine;
}

platform::wstring InstallerController::getWindowsVersionProperty() { return windowsVersionText(); }

platform::wstring InstallerController::getCurrentPath() { return msi_wrapper::packageDirectory(); }

/*
 * The cached package is opened in direct mode and is never committed
 * explicitly: closing a direct-mode database keeps what was written.
 * The record, the view and the database close in that order.
 */
std::uint32_t InstallerController::fixBeta() {
  std::uint32_t error = ERROR_SUCCESS;
  const auto product = msi_wrapper::openMsiProductInstalledInfo(kBetaProductCode, error);
  if (!product) return ERROR_UNKNOWN_PRODUCT;
  const auto database = msi_wrapper::openMsiDatabase(product->getProperty(WIDE_TEXT("LocalPackage")), 1, error);
  if (error != ERROR_SUCCESS) return error;
  std::unique_ptr<msi_wrapper::MsiView> view;
  std::uint32_t code = database->openView(WIDE_TEXT("select * from Property"), view);
  if (code != ERROR_SUCCESS) return code;
  auto record = view->createRecord(2);
  code = record->setString(1, WIDE_TEXT("AGREETOEULA"));
  if (code == ERROR_SUCCESS) code = record->setString(2, WIDE_TEXT("1"));
  if (code == ERROR_SUCCESS) code = view->insertRecord(record);
  return code;
}

std::uint32_t InstallerController::hideSplashScreen() {
  SetLastError(ERROR_SUCCESS);  // a found event reports 0
  const KernelHandle event(OpenEventW(EVENT_MODIFY_STATE, FALSE, kSplashScreenEvent));
  const DWORD openError = GetLastError();
  INSTALLER_TRACE_SERVICE(700) << static_cast<std::uint32_t>(openError);
  if (event.valid()) {
    const BOOL set = SetEvent(event.get());
    INSTALLER_TRACE_SERVICE(700) << "Set gui event" << static_cast<std::int32_t>(set);
  }
  INSTALLER_TRACE_SERVICE(700) << "Hide splash screen";
  return 0;
}

}  // namespace installer
