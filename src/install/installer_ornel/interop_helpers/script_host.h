// The script side of the host thread: its isolate, the context the module
// lives in, the wake-up channel of its loop, and calls into script made
// from the loop rather than from a script frame.
//
// Script handles may be created, used and released only on the host thread,
// and only while the engine lives. Objects that other threads may drop keep
// their handles in a ScriptHandles and give it to ScriptHost::dispose(),
// which releases them on the host thread, or leaves them to the engine once
// the environment is being torn down.
#pragma once

#include <node.h>
#include <v8.h>

#include <functional>
#include <memory>
#include <vector>

#include "install/installer_ornel/interop_helpers/host_channel.h"

namespace node_interop::helpers {

/*
 * The add-on serves one thread: the main thread, whose loop is libuv's
 * default loop. Its services, the host channel and the script handles they
 * keep belong to that thread's isolate for the life of the process. A
 * Worker that loads the module gets an Error instead, before anything of
 * the add-on is made, so its end leaves nothing behind that points into a
 * dead isolate or loop, and the main thread can still load the module.
 */
inline constexpr const char kWorkerLoadError[] =
    "installer_ornel works on the main thread only: it cannot be loaded in a Worker";

// Module initialisation. False, with kWorkerLoadError thrown into script,
// on any thread but the main thread.
bool admitLoadingThread(v8::Isolate* isolate);

// Script handles owned by a native object. dispose() runs on the host
// thread while the engine lives; the destructor never touches the engine.
class ScriptHandles {
 public:
  ScriptHandles() = default;
  virtual ~ScriptHandles() = default;
  ScriptHandles(const ScriptHandles&) = delete;
  ScriptHandles& operator=(const ScriptHandles&) = delete;

  virtual void dispose(v8::Isolate* isolate) = 0;
};

class ScriptHost {
 public:
  // Host thread. Made on the first call and never destroyed; opening the
  // channel may throw (kNoLoopError, wakeUpInitError), and then the next
  // call tries again.
  static ScriptHost& current(v8::Isolate* isolate);
  // Any thread: the host that current() made, or null before the first.
  static ScriptHost* existing();

  ScriptHost(const ScriptHost&) = delete;
  ScriptHost& operator=(const ScriptHost&) = delete;

  v8::Isolate* isolate() const { return isolate_; }
  v8::Local<v8::Context> context() const { return context_.Get(isolate_); }
  const std::shared_ptr<HostChannel>& channel() const { return channel_; }
  // Host thread: false once the environment is being torn down.
  bool alive() const { return alive_; }

  // Host thread. `step` runs when the environment is torn down, while the
  // engine still lives, before the channel is closed.
  void atTeardown(std::function<void()> step);

  // Host thread, inside a callback scope. Throws `error` through a function
  // call: an exception thrown outside any call would stay pending unseen,
  // one that leaves a call is reported to 'uncaughtException'.
  void raise(v8::Local<v8::Context> context, v8::Local<v8::Value> error);

  // Any thread. Releases the handles on the host thread (at once when called
  // there), or drops them unreleased when the engine is going away.
  static void dispose(std::unique_ptr<ScriptHandles> handles);

 private:
  ScriptHost(v8::Isolate* isolate, std::shared_ptr<HostChannel> channel);
  static void teardown(void* host);
  static void disposeOnHost(ScriptHandles& handles);

  v8::Isolate* const isolate_;
  v8::Global<v8::Context> context_;
  v8::Global<v8::Function> thrower_;  // throws its argument
  const std::shared_ptr<HostChannel> channel_;
  std::vector<std::function<void()>> teardownSteps_;
  bool alive_ = true;
};

/*
 * The async context of calls into script that start from the loop. Each
 * call runs inside node::CallbackScope: async hooks see where it came from,
 * microtasks and nextTick run when it returns, and an exception thrown by
 * the script goes to 'uncaughtException'. Host thread only.
 */
class ScriptAsyncContext {
 public:
  ScriptAsyncContext(v8::Isolate* isolate, const char* name);
  ScriptAsyncContext(const ScriptAsyncContext&) = delete;
  ScriptAsyncContext& operator=(const ScriptAsyncContext&) = delete;

  // Host thread, while the engine lives. Idempotent.
  void dispose(v8::Isolate* isolate);

  // Runs body(isolate, context) inside the callback scope. A script
  // exception that the body leaves pending goes to 'uncaughtException'.
  template <typename Body>
  void run(ScriptHost& host, Body&& body) {
    v8::Isolate* isolate = host.isolate();
    v8::HandleScope scope(isolate);
    v8::Local<v8::Context> context = host.context();
    v8::Context::Scope contextScope(context);
    node::CallbackScope callbackScope(isolate, resource_.Get(isolate), context_);
    body(isolate, context);
  }

  // Calls `function` with an undefined receiver and the one argument.
  void call(ScriptHost& host, v8::Local<v8::Function> function, v8::Local<v8::Value> argument);
  // Throws `error` into script inside the scope, as if a callback had.
  void raise(ScriptHost& host, v8::Local<v8::Value> error);

 private:

  // Persistent rather than Global: its destructor does not touch the
  // engine, which may be gone when the owner is destroyed.
  v8::Persistent<v8::Object> resource_;
  node::async_context context_{};
  bool live_ = true;
};

}  // namespace node_interop::helpers
