// The `msi_setup_manager` service: the pre-installation check, the
// installation and the uninstallation, run in the background, with their
// progress and result delivered to a script receiver object:
//
//   setup.runSetupTask('INSTALLDIR="C:\\X"', {
//     progressChanged({ progress, action, forward }) { ... },  // once a second
//     completed(code) { ... },                                 // once, at the end
//   });
//
// A run method parses its parameters (a parse failure is thrown at once and
// nothing starts), returns 0, and starts an operation task; the task makes
// a setup manager (msi/msi_setup_manager.h) and a poller task that hands the
// latest progress to the receiver once per pollInterval. Both are standard
// asynchronous tasks, not the pool's threads: an operation blocks inside
// Windows Installer for its whole length.
//
// One operation at a time. A run method called while one is running (from
// the script's point of view: until its `completed` runs) gets
// completed(1618) on its own receiver and disturbs nothing. One called
// from inside `completed` starts normally: its task first waits for the
// reporting task to let go of its setup manager, so the host thread never
// blocks on a task.
//
// Locking. progress_ has its own lock between the message callback
// (operation thread) and the poller. stopLock_ and stopCondition_ let the
// end of an operation wake the poller at once.
// active_ is taken by the run methods and given back on the host thread
// just before the script's `completed` runs. operationLock_ guards
// operation_, since a run method may run on a pool thread too. settingsLock_ guards
// logPath_ and logLevel_, which initLog writes and a run method copies.
//
// One instance per process, created (after the package-ready wait) when the
// script first queries the service, and kept in a never-freed slot: the
// message callback reaches it from a task that may still run at exit. So
// exit never waits for an installation (the engine takes a half-done one
// back at its next operation); the destructor, which stops the poller and
// waits for the last operation, runs only once releaseInstance() and the
// script object have let the instance go.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <tuple>
#include <vector>

#include "install/installer_ornel/interop_helpers/binder.h"
#include "install/installer_ornel/interop_helpers/script_progress_callback.h"
#include "install/msi/msi_setup_manager.h"

namespace node_interop::helpers {

// runUninstallProduct reads its receiver first, then the command line, then
// the product code: a call with too few arguments fails on the count.
template <>
struct ConvertsLastFirst<std::tuple<platform::wstring, platform::wstring, ProgressReceiver>> : std::true_type {};

}  // namespace node_interop::helpers

namespace installer {

class MsiSetupManagerService {
 public:
  static constexpr const char kName[] = "msi_setup_manager";

  using Receiver = qor::objptr_t<IProgressCallback>;
  using Parameters = std::vector<msi_wrapper::SetupParameter>;
  using ListOperation = std::uint32_t (msi_wrapper::MsiSetupManagerInterface::*)(const Parameters&,
                                                                                 std::int32_t) const;
  using UninstallOperation = std::uint32_t (msi_wrapper::MsiSetupManagerInterface::*)(
      const platform::wstring&, const platform::wstring&, std::int32_t) const;

  // The process-wide instance, made on first use.
  static std::shared_ptr<MsiSetupManagerService> instance();
  // Forgets the instance (application.join); the next access makes anew.
  static void releaseInstance();
  // What the registry calls to make the service object.
  static std::shared_ptr<MsiSetupManagerService> create() { return instance(); }

  MsiSetupManagerService();
  ~MsiSetupManagerService();
  MsiSetupManagerService(const MsiSetupManagerService&) = delete;
  MsiSetupManagerService& operator=(const MsiSetupManagerService&) = delete;

  std::uint32_t runPreinstallTask(const platform::wstring& parameters, Receiver& receiver);
  std::uint32_t runSetupTask(const platform::wstring& parameters, Receiver& receiver);
  std::uint32_t runUninstallProduct(const platform::wstring& productCode, const platform::wstring& commandLine,
                                    Receiver& receiver);
  std::uint32_t getMsiLogFlags(std::int32_t& level);
  std::uint32_t initLog(const platform::wstring& path, std::int32_t& level);
  std::uint32_t cancelTask();

  // The setup manager's message callback: keeps the latest progress and
  // answers IDCANCEL once cancelTask was called, IDOK otherwise; 0 for
  // errors and warnings.
  static std::int32_t onMessage(const msi_wrapper::InstallMessage& message);

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {
    using node_interop::helpers::bindMethod;
    bindMethod(holder, "runPreinstallTask", &MsiSetupManagerService::runPreinstallTask);
    bindMethod(holder, "runSetupTask", &MsiSetupManagerService::runSetupTask);
    bindMethod(holder, "runUninstallProduct", &MsiSetupManagerService::runUninstallProduct);
    bindMethod(holder, "getMsiLogFlags", &MsiSetupManagerService::getMsiLogFlags);
    bindMethod(holder, "initLog", &MsiSetupManagerService::initLog);
    bindMethod(holder, "cancelTask", &MsiSetupManagerService::cancelTask);
  }

 private:
  using Operation = std::function<std::uint32_t(const msi_wrapper::MsiSetupManagerInterface&, std::int32_t)>;

  // One operation as its task gets it: the log settings are those in force
  // when the run method was called.
  struct Run {
    Receiver receiver;
    Operation operation;
    platform::wstring logPath;
    std::int32_t logLevel;
    std::shared_ptr<node_interop::helpers::HostChannel> channel;
  };

  void start(Receiver receiver, Operation operation);
  void runTask(Run& run);
  std::uint32_t runUnderManager(const Run& run);
  void progressPoller(Receiver receiver);
  void stopPoller();
  void sleepBetweenPolls();
  static void refuse(Receiver receiver);

  const ListOperation preinstallOperation_ = &msi_wrapper::MsiSetupManagerInterface::runPreinstall;
  const ListOperation setupOperation_ = &msi_wrapper::MsiSetupManagerInterface::runSetup;
  const UninstallOperation uninstallOperation_ = &msi_wrapper::MsiSetupManagerInterface::runUninstall;
  std::chrono::milliseconds pollInterval_{1000};
  msi_wrapper::LatestProgress progress_;  // the latest progress and the cancellation
  std::mutex settingsLock_;  // initLog may run on a pool thread (its asynchronous form)
  platform::wstring logPath_;
  std::int32_t logLevel_ = 2;
  std::atomic<bool> stopped_{true};
  std::mutex operationLock_;  // run methods may also run on pool threads (asynchronous form)
  std::future<void> operation_;
  std::atomic<bool> active_{false};
  std::mutex stopLock_;
  std::condition_variable stopCondition_;
};

}  // namespace installer
