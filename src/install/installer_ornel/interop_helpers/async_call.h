// The asynchronous form of a bound method: the member function runs on a
// worker thread, and its result reaches the script callback on the host
// thread, as the callback's only argument, with an undefined receiver.
//
// Conversions stay on the host thread: the worker sees only native values.
// A native method that throws on the worker never calls its callback; its
// exception is kept by the worker exception collector.
#pragma once

#include <node.h>
#include <uv.h>
#include <v8.h>

#include <functional>
#include <memory>
#include <optional>

#include "install/installer_ornel/interop_helpers/convert.h"
#include "install/installer_ornel/interop_helpers/convert_list.h"
#include "install/installer_ornel/interop_helpers/exception_manager.h"

namespace node_interop::helpers {

// The collector for exceptions of asynchronous calls.
std::shared_ptr<ExceptionManager> workerExceptions();

// Host-thread half of an asynchronous call, independent of the result type:
// keeps the callback and its async context until the result is delivered.
class AsyncCallBase {
 public:
  AsyncCallBase(v8::Isolate* isolate, v8::Local<v8::Function> callback);
  virtual ~AsyncCallBase();
  AsyncCallBase(const AsyncCallBase&) = delete;
  AsyncCallBase& operator=(const AsyncCallBase&) = delete;

  // Queues the call; `this` is deleted on the host thread once it is over.
  void start();

 protected:
  virtual void run() noexcept = 0;                         // worker thread
  virtual v8::MaybeLocal<v8::Value> result() = 0;         // host thread; empty: no callback
  v8::Isolate* isolate() const { return isolate_; }

 private:
  static void work(uv_work_t* request);
  static void done(uv_work_t* request, int status);
  void deliver();

  uv_work_t request_{};
  v8::Isolate* isolate_;
  v8::Global<v8::Context> context_;
  v8::Global<v8::Function> callback_;
  v8::Global<v8::Object> resource_;
  node::async_context asyncContext_;
};

template <typename R>
class AsyncCall final : public AsyncCallBase {
 public:
  AsyncCall(v8::Isolate* isolate, v8::Local<v8::Function> callback, std::function<R()> task)
      : AsyncCallBase(isolate, callback), task_(std::move(task)) {}

 private:
  void run() noexcept override {
    try {
      value_.emplace(task_());
    } catch (...) {
      workerExceptions()->add(std::current_exception());
    }
  }

  v8::MaybeLocal<v8::Value> result() override {
    if (!value_) return {};
    return Convert<R>::toScript(isolate(), *value_);
  }

  std::function<R()> task_;
  std::optional<R> value_;
};

template <typename R>
void startAsyncCall(v8::Isolate* isolate, v8::Local<v8::Function> callback, std::function<R()> task) {
  (new AsyncCall<R>(isolate, callback, std::move(task)))->start();
}

}  // namespace node_interop::helpers
