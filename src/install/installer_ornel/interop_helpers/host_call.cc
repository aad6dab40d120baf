#include "install/installer_ornel/interop_helpers/host_call.h"

namespace node_interop::helpers {

ReceiverTarget::ReceiverTarget(v8::Isolate* isolate, v8::Local<v8::Value> target)
    : target_(isolate, target), asyncContext_(isolate, "installer_ornel:receiver") {}

void ReceiverTarget::dispose(v8::Isolate* isolate) {
  asyncContext_.dispose(isolate);
  target_.Reset();
}

/*
 * Host thread. The call lock is taken here and nowhere else; the host
 * thread is the only caller, so it never blocks: it keeps calls into this
 * target from overlapping should the loop ever be run from inside one.
 * The call runs inside the callback scope, which reports what the method
 * throws to 'uncaughtException'; a failed lookup is reported the same way.
 */
void ReceiverTarget::call(ScriptHost& host, const std::string& eventName, v8::Local<v8::Value> argument) {
  std::lock_guard<std::mutex> guard(callLock_);
  asyncContext_.run(host, [&](v8::Isolate* isolate, v8::Local<v8::Context> context) {
    v8::Local<v8::Value> failure;
    v8::Local<v8::Function> method = lookUp(isolate, context, eventName, failure);
    if (method.IsEmpty()) {
      host.raise(context, failure);
      return;
    }
    v8::MaybeLocal<v8::Value> result = method->Call(context, v8::Undefined(isolate), 1, &argument);
    (void)result;
  });
}

// The function under `eventName`, or an empty handle and the exception
// that explains why there is none.
v8::Local<v8::Function> ReceiverTarget::lookUp(v8::Isolate* isolate, v8::Local<v8::Context> context,
                                               const std::string& eventName, v8::Local<v8::Value>& failure) {
  v8::TryCatch tryCatch(isolate);
  v8::Local<v8::Object> object;
  v8::Local<v8::Value> method;
  if (target_.Get(isolate)->ToObject(context).ToLocal(&object) &&
      object->Get(context, utf8String(isolate, eventName.c_str())).ToLocal(&method)) {
    if (method->IsFunction()) return method.As<v8::Function>();
    std::string message = "The receiver has no method " + eventName;
    failure = v8::Exception::TypeError(utf8String(isolate, message.c_str()));
    return {};
  }
  failure = tryCatch.Exception();
  return {};
}

void ReceiverTarget::raise(ScriptHost& host, const char* message) {
  v8::HandleScope scope(host.isolate());
  asyncContext_.raise(host, v8::Exception::Error(utf8String(host.isolate(), message)));
}

HostCallReceiver::HostCallReceiver(v8::Isolate* isolate, v8::Local<v8::Value> target)
    : host_(ScriptHost::current(isolate)),
      target_(new ReceiverTarget(isolate, target),
              [](ReceiverTarget* t) { ScriptHost::dispose(std::unique_ptr<ScriptHandles>(t)); }) {}

HostCallBase::HostCallBase(ScriptHost& host, std::shared_ptr<ReceiverTarget> target, std::string eventName,
                           std::shared_ptr<PickUp> pickUp)
    : host_(host), target_(std::move(target)), eventName_(std::move(eventName)), pickUp_(std::move(pickUp)) {}

// Host thread. The worker is released once the argument is converted (or
// has failed to convert), before the script runs.
void HostCallBase::run() {
  v8::Isolate* isolate = host_.isolate();
  v8::HandleScope scope(isolate);
  v8::Context::Scope contextScope(host_.context());
  v8::Local<v8::Value> value;
  try {
    value = argument(isolate);
  } catch (const std::exception& e) {
    pickUp_->taken();
    target_->raise(host_, e.what());
    return;
  }
  pickUp_->taken();
  target_->call(host_, eventName_, value);
}

}  // namespace node_interop::helpers
