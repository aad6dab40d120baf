#include "install/installer_ornel/interop_helpers/script_host.h"

#include <atomic>
#include <stdexcept>

namespace node_interop::helpers {

namespace {

// Written once on the host thread; read by any thread in dispose().
std::atomic<ScriptHost*> theHost{nullptr};

}  // namespace

bool admitLoadingThread(v8::Isolate* isolate) {
  if (node::GetCurrentEventLoop(isolate) == uv_default_loop()) return true;
  v8::Local<v8::String> message;
  if (v8::String::NewFromUtf8(isolate, kWorkerLoadError, v8::NewStringType::kNormal).ToLocal(&message)) {
    isolate->ThrowException(v8::Exception::Error(message));
  }
  return false;
}

ScriptHost::ScriptHost(v8::Isolate* isolate, std::shared_ptr<HostChannel> channel)
    : isolate_(isolate), context_(isolate, isolate->GetCurrentContext()), channel_(std::move(channel)) {
  v8::HandleScope scope(isolate);
  auto thrower = v8::FunctionTemplate::New(isolate, [](const v8::FunctionCallbackInfo<v8::Value>& info) {
    info.GetIsolate()->ThrowException(info[0]);
  });
  v8::Local<v8::Function> function;
  if (thrower->GetFunction(isolate->GetCurrentContext()).ToLocal(&function)) thrower_.Reset(isolate, function);
  node::AddEnvironmentCleanupHook(isolate, &ScriptHost::teardown, this);
}

void ScriptHost::raise(v8::Local<v8::Context> context, v8::Local<v8::Value> error) {
  if (thrower_.IsEmpty()) return;
  v8::MaybeLocal<v8::Value> result = thrower_.Get(isolate_)->Call(context, v8::Undefined(isolate_), 1, &error);
  (void)result;
}

ScriptHost& ScriptHost::current(v8::Isolate* isolate) {
  ScriptHost* host = theHost.load();
  if (host != nullptr) {
    if (host->isolate_ != isolate) throw std::logic_error("installer_ornel serves one isolate only");
    return *host;
  }
  auto channel = HostChannel::open(node::GetCurrentEventLoop(isolate));
  host = new ScriptHost(isolate, std::move(channel));
  theHost = host;
  return *host;
}

ScriptHost* ScriptHost::existing() { return theHost.load(); }

void ScriptHost::atTeardown(std::function<void()> step) { teardownSteps_.push_back(std::move(step)); }

/*
 * Environment teardown, on the host thread while the engine still lives.
 * The steps release what they keep; closing the channel then destroys the
 * queued jobs unrun (their handles are released here too, since the host
 * is still alive). After that nothing is released any more: the engine
 * frees the remaining handles itself, and late workers find the channel
 * closed.
 */
void ScriptHost::teardown(void* arg) {
  auto* host = static_cast<ScriptHost*>(arg);
  v8::HandleScope scope(host->isolate_);
  for (auto& step : host->teardownSteps_) step();
  host->teardownSteps_.clear();
  host->channel_->close();
  host->context_.Reset();
  host->thrower_.Reset();
  host->alive_ = false;
}

void ScriptHost::disposeOnHost(ScriptHandles& handles) {
  ScriptHost* host = theHost.load();
  if (!host->alive_) return;
  v8::HandleScope scope(host->isolate_);
  handles.dispose(host->isolate_);
}

void ScriptHost::dispose(std::unique_ptr<ScriptHandles> handles) {
  ScriptHost* host = theHost.load();
  if (host == nullptr || handles == nullptr) return;
  if (host->channel_->onHostThread()) {
    disposeOnHost(*handles);
    return;
  }
  host->channel_->tryPost(makeHostJob([handles = std::move(handles)] { disposeOnHost(*handles); }));
}

ScriptAsyncContext::ScriptAsyncContext(v8::Isolate* isolate, const char* name) {
  v8::HandleScope scope(isolate);
  v8::Local<v8::Object> resource = v8::Object::New(isolate);
  resource_.Reset(isolate, resource);
  context_ = node::EmitAsyncInit(isolate, resource, name);
}

void ScriptAsyncContext::dispose(v8::Isolate* isolate) {
  if (!live_) return;
  live_ = false;
  node::EmitAsyncDestroy(isolate, context_);
  resource_.Reset();
}

void ScriptAsyncContext::call(ScriptHost& host, v8::Local<v8::Function> function,
                              v8::Local<v8::Value> argument) {
  run(host, [&](v8::Isolate* isolate, v8::Local<v8::Context> context) {
    // An empty result means the function threw: the scope reports it.
    v8::MaybeLocal<v8::Value> result = function->Call(context, v8::Undefined(isolate), 1, &argument);
    (void)result;
  });
}

void ScriptAsyncContext::raise(ScriptHost& host, v8::Local<v8::Value> error) {
  run(host, [&](v8::Isolate*, v8::Local<v8::Context> context) { host.raise(context, error); });
}

}  // namespace node_interop::helpers
