// The default package: the file the bootstrapper extracts next to the
// installer, the wait for its signal that the file is ready, and the one
// product information over it that the services share.
#pragma once

#include <memory>
#include <mutex>

#include "install/msi/msi_product_info_interface.h"
#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

// "brindle_installer.msi".
const platform::wstring& defaultPackageFileName();

// The bootstrapper's package-ready event.
inline constexpr const WCHAR kPackageReadyEvent[] =
    WIDE_TEXT("Global\\Event_TOLV_7A3C52E0-91B4-4D6F-A2C8-3E5F60B1D947");

// The directory part of an executable's path: C:\Setup\setup.exe gives
// C:\Setup, C:\setup.exe gives C:\ (a drive root keeps its separator),
// \\server\share\setup.exe gives \\server\share, C:setup.exe gives C:.
platform::wstring directoryOfPath(const platform::wstring& path);

// The directory of the host process's executable, computed once (a failure
// is tried again on the next call). Throws qor::CheckFailedException when it
// cannot be determined; "" when the path was too long to read.
platform::wstring packageDirectory();

// <packageDirectory>\<default package>; the bare name when the directory
// is empty. Throws as packageDirectory does.
platform::wstring defaultPackagePath();

// Waits, once per process, for the bootstrapper's package-ready event; does
// not wait when there is no such event. Traces which of the two happened.
void waitForPackageReady();

// The shared product information, in use while this lives: its lock keeps
// other threads (asynchronous calls run on workers) out meanwhile.
class SharedProductInfo {
 public:
  SharedProductInfo(std::unique_lock<std::mutex> lock, MsiProductInfoInterface& info)
      : lock_(std::move(lock)), info_(&info) {}
  MsiProductInfoInterface* operator->() const { return info_; }
  MsiProductInfoInterface& operator*() const { return *info_; }

 private:
  std::unique_lock<std::mutex> lock_;
  MsiProductInfoInterface* info_;
};

// The product information of <packageDirectory>\<default package>, opened
// on first use after the package-ready wait. Throws std::runtime_error
// "msiProductInfo error: <code>" when the package cannot be opened; the
// next call tries again.
SharedProductInfo getMsiProductInfo();

// Closes the shared product information; the next getMsiProductInfo opens
// the package again.
void releaseMsiProductInfo();

}  // namespace msi_wrapper
}  // namespace installer
