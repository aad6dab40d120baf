// The asynchronous form of a bound method: the member function runs on a
// thread of the pool, and its result reaches the script callback on the
// host thread as the callback's only argument, with an undefined receiver.
//
// Conversions stay on the host thread: the worker sees only native values.
//
// The road of one call:
//   host    AsyncCallKeeper<R>::add: the call is recorded, the channel holds
//           the loop alive, the work is queued on the pool;
//   worker  the work runs; the call posts its finish to the host channel;
//   host    the result is converted and the callback called (nothing is
//           called when the work threw; its exception goes to the pool's
//           exception manager); the loop is let go; the call is done;
//   sweeper removes done calls from the keeper every 2 seconds.
// The pool task and the queued finish each hold the call by shared
// ownership, so neither depends on the keeper.
#pragma once

#include <v8.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "install/installer_ornel/interop_helpers/convert.h"
#include "install/installer_ornel/interop_helpers/convert_list.h"
#include "install/installer_ornel/interop_helpers/script_host.h"
#include "install/installer_ornel/interop_helpers/thread_pool.h"

namespace node_interop::helpers {

// The half of an asynchronous call that does not depend on the result type.
class AsyncCallBase : public std::enable_shared_from_this<AsyncCallBase> {
 public:
  AsyncCallBase(ScriptHost& host, v8::Local<v8::Function> callback);
  virtual ~AsyncCallBase() = default;
  AsyncCallBase(const AsyncCallBase&) = delete;
  AsyncCallBase& operator=(const AsyncCallBase&) = delete;

  // Host thread: holds the loop and queues the work on the pool.
  void start();
  // Host thread, at teardown: the callback will never run.
  void abandon();
  // The callback has run, or never will.
  bool done() const { return done_; }

 protected:
  // Worker thread. Runs the method and keeps its result; throws what the
  // method threw.
  virtual void work() = 0;
  // Host thread. The converted result.
  virtual v8::Local<v8::Value> result(v8::Isolate* isolate) = 0;

 private:
  void runOnWorker();
  void finishOnHost(bool succeeded);
  void deliver();
  void releaseScript();

  ScriptHost& host_;
  // Host thread only, released by releaseScript(). Persistent: its
  // destructor leaves the engine alone.
  v8::Persistent<v8::Function> callback_;
  ScriptAsyncContext asyncContext_;
  std::atomic<bool> done_{false};
};

template <typename R>
class AsyncCall final : public AsyncCallBase {
 public:
  AsyncCall(ScriptHost& host, v8::Local<v8::Function> callback, std::function<R()> task)
      : AsyncCallBase(host, callback), task_(std::move(task)) {}

 private:
  // The value is written before the finish is posted and read after the
  // host took it from the channel's queue, whose lock orders the two.
  void work() override {
    std::function<R()> task = std::move(task_);
    value_.emplace(task());
  }

  v8::Local<v8::Value> result(v8::Isolate* isolate) override { return Convert<R>::toScript(isolate, *value_); }

  std::function<R()> task_;
  std::optional<R> value_;
};

/*
 * The record of the asynchronous calls of every result type: what the
 * teardown must release while the engine lives. add() runs on the host
 * thread; the sweeper thread removes done calls every 2 seconds. `lock_`
 * guards `calls_`.
 */
class AsyncCallKeeperBase {
 public:
  static constexpr std::chrono::seconds kSweepPeriod{2};

  AsyncCallKeeperBase();
  ~AsyncCallKeeperBase();
  AsyncCallKeeperBase(const AsyncCallKeeperBase&) = delete;
  AsyncCallKeeperBase& operator=(const AsyncCallKeeperBase&) = delete;

  size_t size() const;

 protected:
  void add(ScriptHost& host, std::shared_ptr<AsyncCallBase> call);

 private:
  void sweep();
  void abandonAll();

  mutable std::mutex lock_;
  std::vector<std::shared_ptr<AsyncCallBase>> calls_;
  bool teardownRegistered_ = false;  // host thread only
  std::atomic<bool> stop_{false};
  std::condition_variable stopCondition_;
  std::thread sweeper_;
};

template <typename R>
class AsyncCallKeeper final : public AsyncCallKeeperBase {
 public:
  // Created on first use, never destroyed: pool tasks may still run at
  // process exit (see "Process exit" in thread_pool.h).
  static AsyncCallKeeper& instance() {
    static AsyncCallKeeper* const keeper = new AsyncCallKeeper;
    return *keeper;
  }

  // Host thread. Returns at once; the callback runs later on the host
  // thread unless the work throws.
  void add(v8::Isolate* isolate, std::function<R()> work, v8::Local<v8::Function> callback) {
    ScriptHost& host = ScriptHost::current(isolate);
    AsyncCallKeeperBase::add(host, std::make_shared<AsyncCall<R>>(host, callback, std::move(work)));
  }
};

// What the call frame calls for a method called with a trailing function.
template <typename R>
void startAsyncCall(v8::Isolate* isolate, v8::Local<v8::Function> callback, std::function<R()> task) {
  AsyncCallKeeper<R>::instance().add(isolate, std::move(task), callback);
}

}  // namespace node_interop::helpers
