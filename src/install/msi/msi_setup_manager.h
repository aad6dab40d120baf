// The setup manager: the three Windows Installer operations the installer
// runs (the pre-installation check, the installation, the removal of an
// installed product), each under the add-on's external UI handler, each
// returning Windows Installer's result code unchanged.
//
// At most one manager exists in the process: the handler and the internal
// UI level are process-wide settings of Windows Installer, and the handler
// finds the manager (its message callback and progress state) through the
// single-instance pointer, since it is registered without a context. An
// operation installs the handler and the UI level NONE for its duration
// and puts back what was there before on every way out, the level first
// and the handler second.
//
// The package is the default package by its bare name, which Windows
// Installer resolves against the current directory; when the current
// directory does not hold it, the package directory's copy is used, so
// that a UI started elsewhere than in the package's directory still works.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "install/msi/install_progress.h"
#include "platform/windows.h"

#ifdef _WIN32
#define INSTALLER_UI_HANDLER_CALL WINAPI
#else
#define INSTALLER_UI_HANDLER_CALL
#endif

namespace installer {
namespace msi_wrapper {

// A Windows Installer property and its value, as the script passes them.
class SetupParameter {
 public:
  SetupParameter(platform::wstring name, platform::wstring value) : name(std::move(name)), value(std::move(value)) {}
  SetupParameter(const SetupParameter&) = default;
  SetupParameter& operator=(const SetupParameter&) = default;
  virtual ~SetupParameter() = default;

  // NAME="value", the value unescaped.
  platform::wstring toString() const;

  platform::wstring name;
  platform::wstring value;
};

// Splits "A=1 B=\"x y\"" into its pairs. Every equals sign starts a pair
// named by the text back to the previous blank; a value is quoted or runs
// to the next blank. An equals sign with an empty name makes no pair; one
// that ends the text after a name throws std::out_of_range
// "invalid string position".
std::vector<SetupParameter> parseSetupParameters(const platform::wstring& text);

// The MsiEnableLogW mode of a log level: 1 errors only on failure
// (0x4002), 3 everything but files in use (0x1FDF), any other the property
// dump and verbose lines (0x1400).
std::uint32_t logModeForLevel(std::int32_t level);

// Receives each decoded message on the operation's thread; its result is
// the handler's answer (0, IDOK, IDCANCEL).
using InstallMessageCallback = std::int32_t (*)(const InstallMessage& message);

class MsiSetupManagerInterface {
 public:
  virtual ~MsiSetupManagerInterface() = default;
  // Opens the package, sets the parameters and INSTALLLEVEL=32767, runs the
  // execute sequence up to LaunchConditions, then the costing actions and
  // InstallValidate.
  virtual std::uint32_t runPreinstall(const std::vector<SetupParameter>& parameters, std::int32_t logLevel) const = 0;
  virtual std::uint32_t runSetup(const std::vector<SetupParameter>& parameters, std::int32_t logLevel) const = 0;
  virtual std::uint32_t runUninstall(const platform::wstring& productCode, const platform::wstring& commandLine,
                                     std::int32_t logLevel) const = 0;
};

// Sees every message the handler is given, before it is decoded: the
// scenario tool records them, and may answer one itself (a cancel at the
// N-th message): an answer other than 0 replaces the manager's.
struct MessageTap {
  INT (*see)(void* context, UINT type, const WCHAR* text) = nullptr;
  void* context = nullptr;
};

// The manager over the default package, with the Windows Installer log at
// `logPath` ("" for none). Empty while another manager exists.
std::unique_ptr<MsiSetupManagerInterface> createMsiSetupManager(InstallMessageCallback callback,
                                                                const platform::wstring& logPath);
// The same over the package at `packagePath`, with a tap.
std::unique_ptr<MsiSetupManagerInterface> createMsiSetupManager(InstallMessageCallback callback,
                                                                const platform::wstring& logPath,
                                                                const platform::wstring& packagePath, MessageTap tap);

// The default package as the setup manager opens it (see above).
platform::wstring setupPackagePath();

// The handler registered with MsiSetExternalUIW: decodes the message into
// the current manager's progress state and hands it to its callback. 0 when
// no manager exists or the message is not one it reports.
INT INSTALLER_UI_HANDLER_CALL installUiHandler(LPVOID context, UINT messageType, LPCWSTR message);

// Runs the package's InstallExecuteSequence on `product` in ascending
// sequence order (of two rows with one number, the first fetched), each
// row's condition evaluated first, up to and including `stopAction`.
// Codes 0, 3010 and 1626 of an action count as success; another code, or a
// failure to read the table, is returned.
std::uint32_t runExecuteSequenceUntil(MSIHANDLE product, const platform::wstring& packagePath,
                                      const platform::wstring& stopAction);

}  // namespace msi_wrapper
}  // namespace installer
