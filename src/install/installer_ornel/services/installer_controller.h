// The `installer_controller` service: the machine and the bootstrapper
// around the installer. It restarts Windows, starts the installed product,
// reads the bootstrapper's command line, reports the Windows version and the
// host executable's directory, adds AGREETOEULA=1 to the cached package of
// one fixed product, and tells the bootstrapper to hide its splash screen.
//
// The bootstrapper's objects are only ever opened here, never created: when
// the UI runs without a bootstrapper they are missing, which is no error.
// The service object holds nothing; the Windows version text is the one
// process-wide cache (filled once, never cleared).
#pragma once

#include <cstdint>

#include "install/installer_ornel/interop_helpers/binder.h"
#include "platform/windows.h"

namespace installer {

// The bootstrapper's command-line mapping and splash-screen event.
inline constexpr const char kCommandLineMapping[] = "Local\\E2974B1D-08C3-4A6E-B5F1-7D2C9E430A86";
inline constexpr const WCHAR kSplashScreenEvent[] =
    WIDE_TEXT("Global\\Event_TOLV_C81E4F29-5D07-4B3A-8E62-0A9DB7F31C54");
// The product whose cached package fixBeta changes.
inline constexpr const WCHAR kBetaProductCode[] = WIDE_TEXT("{5B2D7E61-3C4A-4F8E-9A17-C6E0D2B48F35}");
// The view of the mapping that is read: at most 1024 UTF-16 units.
inline constexpr DWORD kCommandLineViewBytes = 2048;

// Reads the bootstrapper's command line: the units from the start of the
// mapping up to the first zero, within its first 2048 bytes. 0, or the
// Win32 error of the step that failed; `text` is then left as it was.
std::uint32_t readBootstrapperCommandLine(platform::wstring& text);

// "osMajorVer=10 osMinorVer=0 osBuildNumber=19045 ...", computed on the
// first call that succeeds and traced at level 800 then; "" while
// GetVersionExA fails, each such call tracing an empty line. Safe when
// threads make the first call together.
platform::wstring windowsVersionText();

class InstallerController {
 public:
  static constexpr const char kName[] = "installer_controller";

  // Enables SeShutdownPrivilege and asks Windows to restart: 0, or the
  // Win32 error of the step that failed.
  std::uint32_t reboot();
  // Shell-executes the package's WixShellExecTarget file in its install
  // directory: 0, the package's open error, or the shell's code (<= 32).
  std::uint32_t startProduct();
  platform::wstring getCommandLine();
  platform::wstring getWindowsVersionProperty();
  // The host executable's directory; throws CheckFailedException.
  platform::wstring getCurrentPath();
  // Adds AGREETOEULA=1 to the fixed product's cached package: 0, or the
  // Windows Installer code of the step that failed; 1605 when the product
  // is not installed. The package is unchanged on failure.
  std::uint32_t fixBeta();
  // Signals the splash-screen event, when there is one. Always 0.
  std::uint32_t hideSplashScreen();

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {
    using node_interop::helpers::bindMethod;
    bindMethod(holder, "reboot", &InstallerController::reboot);
    bindMethod(holder, "startProduct", &InstallerController::startProduct);
    bindMethod(holder, "getCommandLine", &InstallerController::getCommandLine);
    bindMethod(holder, "getWindowsVersionProperty", &InstallerController::getWindowsVersionProperty);
    bindMethod(holder, "getCurrentPath", &InstallerController::getCurrentPath);
    bindMethod(holder, "fixBeta", &InstallerController::fixBeta);
    bindMethod(holder, "hideSplashScreen", &InstallerController::hideSplashScreen);
  }
};

}  // namespace installer
