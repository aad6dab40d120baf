// Test services that let script drive the thread pool and the host-loop channel: tasks that block until
// script lets them through, native threads that call script receivers, and a failing wake-up.
#include "async_probe.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "../cpp/interop/gate.h"
#include "install/installer_ornel/interop_helpers/async_call.h"
#include "install/installer_ornel/interop_helpers/host_call.h"
#include "install/installer_ornel/interop_helpers/thread_pool.h"

namespace async_probe {

using node_interop::helpers::HostCallReceiver;
using node_interop::helpers::LoopKeepAlive;
using node_interop::helpers::ObjectHolder;
using node_interop::helpers::ScriptHost;
using node_interop::helpers::ThreadPool;
using platform::wstring;

// Asynchronous calls of wait() block their pool threads until script opens the gate for them (the native tests' gate).
class Gates {
 public:
  static constexpr const char kName[] = "gates";

  std::int32_t wait(const std::int32_t& id) { return gate_.pass(), id; }
  std::int32_t open(const std::int32_t& passes) { return gate_.open(passes), 0; }
  std::int32_t started() { return gate_.started(); }
  std::int32_t poolExceptions() { return std::int32_t(ThreadPool::instance().exceptionManager()->size()); }
  std::int32_t poolRecords() { return static_cast<std::int32_t>(ThreadPool::instance().recordCount()); }
  std::int32_t keptCalls() {
    return static_cast<std::int32_t>(node_interop::helpers::AsyncCallKeeper<std::int32_t>::instance().size());
  }

  static void bindMethods(ObjectHolder& holder) {
    async_probe::bindMethods(holder, "wait", &Gates::wait, "open", &Gates::open, "started", &Gates::started,
                             "poolExceptions", &Gates::poolExceptions, "poolRecords", &Gates::poolRecords,
                             "keptCalls", &Gates::keptCalls);
  }

 private:
  interop_test::Gate gate_;
};

// What the native threads of one start() share. The last thread to finish sends "completed" and lets the loop go.
struct Run {
  Run(std::shared_ptr<HostCallReceiver> receiver, std::uint32_t threads)
      : receiver(std::move(receiver)),
        keepAlive(ScriptHost::current(v8::Isolate::GetCurrent()).channel()),
        remaining(threads) {}

  void finishThread() {
    if (--remaining > 0) return;
    try { receiver->call("completed", failures.load()); } catch (const std::exception&) {}
  }

  std::shared_ptr<HostCallReceiver> receiver;
  LoopKeepAlive keepAlive;
  std::atomic<std::uint32_t> remaining, failures{0};
};

class HostCalls {
 public:
  static constexpr const char kName[] = "host_calls";

  // Starts `threads` native threads; thread t calls "event" with t * calls + i for i below `calls`, in
  // order. Then "completed" with the number of calls that threw.
  std::int32_t start(std::shared_ptr<HostCallReceiver>& receiver, std::uint32_t& threads, std::uint32_t& calls) {
    auto run = std::make_shared<Run>(receiver, threads);
    for (std::uint32_t t = 0; t < threads; ++t) {
      std::thread([run, t, calls] {
        for (std::uint32_t i = 0; i < calls; ++i) callCounting(*run, "event", t * calls + i);
        run->finishThread();
      }).detach();
    }
    if (threads == 0) run->finishThread();
    return 0;
  }

  // One native thread calls "progressChanged" with {label: "step <i>", amount: i} for i below `count`.
  std::int32_t startSteps(std::shared_ptr<HostCallReceiver>& receiver, std::uint32_t& count) {
    auto run = std::make_shared<Run>(receiver, 1);
    std::thread([run, count] {
      for (std::uint32_t i = 0; i < count; ++i) {
        std::string label = "step " + std::to_string(i);
        callCounting(*run, "progressChanged", Level{wstring(label.begin(), label.end()), i});
      }
      run->finishThread();
    }).detach();
    return 0;
  }

  // One call of "event" from the calling thread (a pool thread when asynchronous). Its failure's message, or "".
  wstring callOnce(std::shared_ptr<HostCallReceiver>& receiver, std::uint32_t& value) {
    try {
      return receiver->call("event", value), wstring();
    } catch (const std::runtime_error& e) {
      const std::string message = e.what();
      return wstring(message.begin(), message.end());
    }
  }

  // The next `count` wake-ups of the channel fail with `code`.
  std::int32_t failWakeUps(std::int32_t& count, std::int32_t& code) {
    ScriptHost::current(v8::Isolate::GetCurrent()).channel()->failWakeUps(count, code);
    return 0;
  }

  static void bindMethods(ObjectHolder& holder) {
    async_probe::bindMethods(holder, "start", &HostCalls::start, "startSteps", &HostCalls::startSteps, "callOnce",
                             &HostCalls::callOnce, "failWakeUps", &HostCalls::failWakeUps);
  }

 private:
  template <typename Argument>
  static void callCounting(Run& run, const char* event, Argument argument) {
    try { run.receiver->call(event, argument); } catch (const std::exception&) { ++run.failures; }
  }
};

void registerServices(node_interop::helpers::ObjectRegistry& registry) {
  node_interop::helpers::registerService<Gates>(registry);
  node_interop::helpers::registerService<HostCalls>(registry);
}

}  // namespace async_probe
