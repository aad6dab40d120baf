#include "install/installer_ornel/interop_helpers/async_call.h"

#include "install/installer_ornel/interop_helpers/script_error.h"

namespace node_interop::helpers {

std::shared_ptr<ExceptionManager> workerExceptions() {
  // Leaked on purpose: worker threads may still add while the process exits.
  static auto* manager = new std::shared_ptr<ExceptionManager>(std::make_shared<ExceptionManager>());
  return *manager;
}

AsyncCallBase::AsyncCallBase(v8::Isolate* isolate, v8::Local<v8::Function> callback)
    : isolate_(isolate),
      context_(isolate, isolate->GetCurrentContext()),
      callback_(isolate, callback),
      resource_(isolate, v8::Object::New(isolate)) {
  request_.data = this;
  asyncContext_ = node::EmitAsyncInit(isolate, resource_.Get(isolate), "installer_ornel:call");
}

AsyncCallBase::~AsyncCallBase() {
  node::EmitAsyncDestroy(isolate_, asyncContext_);
  resource_.Reset();
  callback_.Reset();
  context_.Reset();
}

void AsyncCallBase::start() {
  int status = uv_queue_work(node::GetCurrentEventLoop(isolate_), &request_, &AsyncCallBase::work,
                             &AsyncCallBase::done);
  if (status != 0) {
    delete this;
    throw std::runtime_error(uv_strerror(status));
  }
}

void AsyncCallBase::work(uv_work_t* request) {
  static_cast<AsyncCallBase*>(request->data)->run();
}

void AsyncCallBase::done(uv_work_t* request, int) {
  std::unique_ptr<AsyncCallBase> call(static_cast<AsyncCallBase*>(request->data));
  call->deliver();
}

void AsyncCallBase::deliver() {
  // Called from the event loop, outside any script frame: enter the
  // caller's context again before converting.
  v8::HandleScope scope(isolate_);
  v8::Local<v8::Context> context = context_.Get(isolate_);
  v8::Context::Scope contextScope(context);
  v8::Local<v8::Value> argument;
  try {
    if (!result().ToLocal(&argument)) return;
  } catch (...) {
    workerExceptions()->add(std::current_exception());
    return;
  }
  // The callback scope runs microtasks and nextTick afterwards, and hands
  // an exception thrown by the callback to 'uncaughtException'.
  node::CallbackScope callbackScope(isolate_, resource_.Get(isolate_), asyncContext_);
  v8::Local<v8::Function> callback = callback_.Get(isolate_);
  (void)callback->Call(context, v8::Undefined(isolate_), 1, &argument);
}

}  // namespace node_interop::helpers
