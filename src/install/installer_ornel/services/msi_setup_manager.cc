// The `msi_setup_manager` service (msi_setup_manager.h).
#include "install/installer_ornel/services/msi_setup_manager.h"

#include <exception>
#include <thread>

#include "install/msi/default_package.h"
#include "install/tracing/runtime_text.h"
#include "install/tracing/trace_site.h"

namespace installer {

using msi_wrapper::InstallMessage;
using msi_wrapper::MsiSetupManagerInterface;

namespace {

// The process-wide instance. The slot itself is never freed: a task still
// running at process exit reaches it through the message callback.
struct InstanceSlot {
  std::mutex lock;
  std::shared_ptr<MsiSetupManagerService> instance;
};

bool sameProgress(const ProgressInfo& a, const ProgressInfo& b) {
  return a.progress == b.progress && a.action == b.action && a.forward == b.forward;
}

InstanceSlot& slot() {
  static InstanceSlot* const slot = new InstanceSlot;
  return *slot;
}

}  // namespace

std::shared_ptr<MsiSetupManagerService> MsiSetupManagerService::instance() {
  InstanceSlot& s = slot();
  std::lock_guard<std::mutex> guard(s.lock);
  if (!s.instance) {
    msi_wrapper::waitForPackageReady();
    auto created = std::make_shared<MsiSetupManagerService>();
    created->logPath_ = tracing::fromRuntimeMultibyte(tracing::getTracer()->getMsiLogPath());
    s.instance = std::move(created);
  }
  return s.instance;
}

void MsiSetupManagerService::releaseInstance() {
  std::shared_ptr<MsiSetupManagerService> released;
  InstanceSlot& s = slot();
  std::lock_guard<std::mutex> guard(s.lock);
  released.swap(s.instance);
}

MsiSetupManagerService::MsiSetupManagerService() = default;

// Waits for the last operation: its tasks use this object without holding it.
MsiSetupManagerService::~MsiSetupManagerService() {
  stopPoller();
  std::lock_guard<std::mutex> operationGuard(operationLock_);
  if (operation_.valid()) operation_.wait();
  INSTALLER_TRACE_SERVICE(700) << "~MsiSetupManager";
}

std::uint32_t MsiSetupManagerService::runPreinstallTask(const platform::wstring& parameters, Receiver& receiver) {
  INSTALLER_TRACE_SERVICE(700) << "Run preinstall";
  Parameters list = msi_wrapper::parseSetupParameters(parameters);
  start(receiver, [operation = preinstallOperation_, list = std::move(list)](
                      const MsiSetupManagerInterface& manager, std::int32_t level) {
    return (manager.*operation)(list, level);
  });
  return 0;
}

std::uint32_t MsiSetupManagerService::runSetupTask(const platform::wstring& parameters, Receiver& receiver) {
  INSTALLER_TRACE_SERVICE(700) << "Run setup";
  Parameters list = msi_wrapper::parseSetupParameters(parameters);
  start(receiver, [operation = setupOperation_, list = std::move(list)](const MsiSetupManagerInterface& manager,
                                                                         std::int32_t level) {
    return (manager.*operation)(list, level);
  });
  return 0;
}

std::uint32_t MsiSetupManagerService::runUninstallProduct(const platform::wstring& productCode,
                                                          const platform::wstring& commandLine, Receiver& receiver) {
  INSTALLER_TRACE_SERVICE(700) << "Run uninstall(" << productCode << "): " << commandLine;
  start(receiver, [operation = uninstallOperation_, productCode, commandLine](
                      const MsiSetupManagerInterface& manager, std::int32_t level) {
    return (manager.*operation)(productCode, commandLine, level);
  });
  return 0;
}

std::uint32_t MsiSetupManagerService::getMsiLogFlags(std::int32_t& level) { return msi_wrapper::logModeForLevel(level); }

std::uint32_t MsiSetupManagerService::initLog(const platform::wstring& path, std::int32_t& level) {
  std::lock_guard<std::mutex> guard(settingsLock_);
  logPath_ = path;
  logLevel_ = level;
  return 0;
}

// Windows Installer hears of it at its next progress or action-data message.
std::uint32_t MsiSetupManagerService::cancelTask() {
  INSTALLER_TRACE_SERVICE(700) << "Cancel installation";
  progress_.cancel();
  return 0;
}

std::int32_t MsiSetupManagerService::onMessage(const InstallMessage& message) {
  return instance()->progress_.accept(message);
}

/*
 * Host thread, or a pool thread in the asynchronous form. The new task
 * takes over the previous task's future and waits for it first, so a run
 * started from inside `completed` begins once the reporting task has let go
 * of its setup manager, and the caller never waits for a task here.
 */
void MsiSetupManagerService::start(Receiver receiver, Operation operation) {
  bool idle = false;
  if (!active_.compare_exchange_strong(idle, true)) {
    refuse(std::move(receiver));
    return;
  }
  // Cleared here rather than in the task, so that a Cancel pressed right
  // after the run began is not lost.
  progress_.clearCancel();
  std::lock_guard<std::mutex> operationGuard(operationLock_);
  std::future<void> previous = std::move(operation_);
  try {
    // The binding made the receiver, and with it the host.
    node_interop::helpers::ScriptHost* host = node_interop::helpers::ScriptHost::existing();
    Run run{std::move(receiver), std::move(operation), {}, 0, host ? host->channel() : nullptr};
    {
      std::lock_guard<std::mutex> guard(settingsLock_);
      run.logPath = logPath_;
      run.logLevel = logLevel_;
    }
    operation_ = std::async(std::launch::async, [this, previous = std::move(previous), run = std::move(run)]() mutable {
      if (previous.valid()) previous.wait();
      previous = std::future<void>();
      runTask(run);
    });
  } catch (...) {
    active_ = false;
    throw;
  }
}

// A run that came while another runs: its receiver alone hears of it, from
// a thread of its own, since a host call cannot be made on the host thread.
void MsiSetupManagerService::refuse(Receiver receiver) {
  std::thread([receiver = std::move(receiver)] {
    try {
      receiver->completed(ERROR_INSTALL_ALREADY_RUNNING);
    } catch (const std::exception&) {
    }
  }).detach();
}

/*
 * The operation task. For the script the operation is over when its
 * `completed` runs: the host thread marks the service idle in a job of its
 * own just before it, since jobs run in the order they were posted. A
 * failed host call ends the task without the trace line.
 */
void MsiSetupManagerService::runTask(Run& run) {
  std::uint32_t result;
  try {
    result = runUnderManager(run);
  } catch (const std::exception&) {
    result = ERROR_FUNCTION_FAILED;
  }
  if (!run.channel || !run.channel->tryPost(node_interop::helpers::makeHostJob([this] { active_ = false; }))) {
    active_ = false;
  }
  try {
    run.receiver->completed(result);
    INSTALLER_TRACE_SERVICE(700) << "Action result: " << result;
  } catch (const std::exception&) {
  }
  run.receiver = Receiver();
}

std::uint32_t MsiSetupManagerService::runUnderManager(const Run& run) {
  progress_.clear();
  std::unique_ptr<MsiSetupManagerInterface> manager = msi_wrapper::createMsiSetupManager(&onMessage, run.logPath);
  if (!manager) return ERROR_INSTALL_ALREADY_RUNNING;
  {
    std::lock_guard<std::mutex> guard(stopLock_);
    stopped_ = false;
  }
  std::future<void> poller = std::async(std::launch::async, [this, receiver = run.receiver] { progressPoller(receiver); });
  std::uint32_t result;
  try {
    result = run.operation(*manager, run.logLevel);
  } catch (const std::exception&) {
    result = ERROR_FUNCTION_FAILED;
  }
  stopPoller();
  poller.wait();
  return result;
}

void MsiSetupManagerService::stopPoller() {
  {
    std::lock_guard<std::mutex> guard(stopLock_);
    stopped_ = true;
  }
  stopCondition_.notify_all();
}

void MsiSetupManagerService::sleepBetweenPolls() {
  std::unique_lock<std::mutex> guard(stopLock_);
  stopCondition_.wait_for(guard, pollInterval_, [this] { return stopped_.load(); });
}

/*
 * The latest progress, once per pollInterval, also when it did not change,
 * and once more at the end of the operation when the last change came after
 * the last event, so that the script sees where the operation ended. The
 * receiver is called outside the progress lock; a failed host call ends the
 * poller while the operation goes on.
 */
void MsiSetupManagerService::progressPoller(Receiver receiver) {
  try {
    std::optional<ProgressInfo> sent;
    for (bool last = false; !last;) {
      last = stopped_;
      ProgressInfo info;
      if (progress_.read(info) && !(last && sent && sameProgress(*sent, info))) {
        receiver->progressChanged(info);
        sent = info;
      }
      if (!last) sleepBetweenPolls();
    }
  } catch (const std::exception&) {
  }
}

}  // namespace installer
