// Calls from worker threads into methods of a script object.
//
//   HostCallReceiver receiver(isolate, target);           // host thread
//   receiver.call("progressChanged", progressInfo);       // worker thread
//   receiver.call("completed", std::uint32_t{0});
//
// A call blocks the worker until the host thread has taken it over: the
// argument is converted, the worker released, and then the method named
// `eventName` is looked up on the target and called with an undefined
// receiver and the one converted argument. The worker does not wait for the
// script method itself. Calls into one receiver never overlap: each runs
// under the receiver's call lock, which only the host thread takes. Every
// call is delivered exactly once, in the order of the channel's queue.
//
// A target without a function under that name, a script method that throws,
// and an argument that cannot be converted: the worker is released, and the
// error reaches 'uncaughtException'.
//
// Failures that the worker sees (std::runtime_error):
//   "Failed to initialize default loop"                 (receiver creation)
//   "Failed to initialize async loop with error <c>"    (receiver creation)
//   "Failed to send wake up event with error <c>"       (call; the worker
//       does not wait; <c> is UV_ECANCELED when the host loop has closed)
#pragma once

#include <v8.h>

#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "install/installer_ornel/interop_helpers/convert.h"
#include "install/installer_ornel/interop_helpers/convert_record.h"
#include "install/installer_ornel/interop_helpers/script_host.h"
#include "install/installer_ornel/interop_helpers/write_back.h"

namespace node_interop::helpers {

// The script side of a receiver: the target and the call lock. Shared by
// the receiver and the calls in flight; its handles are released on the
// host thread whichever thread lets go last.
class ReceiverTarget final : public ScriptHandles {
 public:
  ReceiverTarget(v8::Isolate* isolate, v8::Local<v8::Value> target);

  void dispose(v8::Isolate* isolate) override;

  // Host thread. Calls target[eventName](argument) under the call lock.
  void call(ScriptHost& host, const std::string& eventName, v8::Local<v8::Value> argument);
  // Host thread. Reports a failure that happened before the call.
  void raise(ScriptHost& host, const char* message);

 private:
  v8::Local<v8::Function> lookUp(v8::Isolate* isolate, v8::Local<v8::Context> context,
                                 const std::string& eventName, v8::Local<v8::Value>& failure);

  v8::Persistent<v8::Value> target_;  // never reset by the destructor
  ScriptAsyncContext asyncContext_;
  std::mutex callLock_;
};

class HostCallReceiver {
 public:
  // Host thread. `target` may be any value; its methods are looked up when
  // events are sent. Throws the channel's open failures.
  HostCallReceiver(v8::Isolate* isolate, v8::Local<v8::Value> target);
  // Any thread.
  ~HostCallReceiver() = default;
  HostCallReceiver(const HostCallReceiver&) = delete;
  HostCallReceiver& operator=(const HostCallReceiver&) = delete;

  // Worker thread only: on the host thread it would wait for itself
  // (std::logic_error). Argument is any type with Convert<Argument>::toScript.
  template <typename Argument>
  void call(std::string eventName, Argument argument) const;

 private:
  ScriptHost& host_;
  std::shared_ptr<ReceiverTarget> target_;
};

// One call in the channel's queue. Destroyed unrun (the host loop closed),
// it releases its worker, which then throws.
class HostCallBase : public HostJob {
 public:
  HostCallBase(ScriptHost& host, std::shared_ptr<ReceiverTarget> target, std::string eventName,
               std::shared_ptr<PickUp> pickUp);
  ~HostCallBase() override { pickUp_->abandoned(); }

  void run() override;

 protected:
  virtual v8::Local<v8::Value> argument(v8::Isolate* isolate) = 0;

 private:
  ScriptHost& host_;
  std::shared_ptr<ReceiverTarget> target_;
  std::string eventName_;
  std::shared_ptr<PickUp> pickUp_;
};

template <typename Argument>
class HostCall final : public HostCallBase {
 public:
  HostCall(ScriptHost& host, std::shared_ptr<ReceiverTarget> target, std::string eventName,
           std::shared_ptr<PickUp> pickUp, Argument value)
      : HostCallBase(host, std::move(target), std::move(eventName), std::move(pickUp)), value_(std::move(value)) {}

 private:
  v8::Local<v8::Value> argument(v8::Isolate* isolate) override { return Convert<Argument>::toScript(isolate, value_); }

  Argument value_;
};

template <typename Argument>
void HostCallReceiver::call(std::string eventName, Argument argument) const {
  const auto& channel = host_.channel();
  if (channel->onHostThread()) throw std::logic_error("A host call on the host thread would wait for itself");
  auto pickUp = std::make_shared<PickUp>();
  channel->post(std::make_unique<HostCall<Argument>>(host_, target_, std::move(eventName), pickUp,
                                                     std::move(argument)));
  pickUp->wait();
}

// A receiver as a method argument: any value is accepted. Nothing is
// written back to it.
template <>
struct Convert<std::shared_ptr<HostCallReceiver>> {
  static std::shared_ptr<HostCallReceiver> toNative(v8::Isolate* isolate, v8::Local<v8::Value> value) {
    return std::make_shared<HostCallReceiver>(isolate, value);
  }
};

template <>
struct WriteBack<std::shared_ptr<HostCallReceiver>> {
  static void apply(v8::Isolate*, v8::Local<v8::Value>, const std::shared_ptr<HostCallReceiver>&) {}
};

}  // namespace node_interop::helpers
