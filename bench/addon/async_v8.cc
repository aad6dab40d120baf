// The asynchronous paths as the add-on runs them, and bare versions that do
// the least the same job needs, for the async-call benchmark:
//   adder.next(x, cb)        bound method, asynchronous form (pool + channel)
//   bareCall(x, cb)          one new thread per call, uv_async_send per result
//   adder.ping(receiver, n)  n host calls of "event" from one native thread
//   barePing(fn, n, done)    the same ping-pong with a mutex, a condition
//                            variable and a uv_async_t of its own
// Both bare versions call script through node::MakeCallback, so every
// variant runs its ticks and microtasks after each call.
#include <uv.h>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "install/installer_ornel/interop_helpers/host_call.h"
#include "install/installer_ornel/interop_helpers/module_record.h"
#include "install/installer_ornel/interop_helpers/object_registry.h"

namespace {

using node_interop::helpers::HostCallReceiver;
using node_interop::helpers::LoopKeepAlive;
using node_interop::helpers::ScriptHost;

class Adder {
 public:
  static constexpr const char kName[] = "adder";

  std::int32_t next(const std::int32_t& x) { return x + 1; }

  std::int32_t ping(std::shared_ptr<HostCallReceiver>& receiver, std::uint32_t& count) {
    auto keepAlive = std::make_shared<LoopKeepAlive>(ScriptHost::current(v8::Isolate::GetCurrent()).channel());
    std::thread([receiver, count, keepAlive] {
      for (std::uint32_t i = 0; i < count; ++i) receiver->call("event", i);
      receiver->call("completed", count);
    }).detach();
    return 0;
  }

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {
    node_interop::helpers::bindMethod(holder, "next", &Adder::next);
    node_interop::helpers::bindMethod(holder, "ping", &Adder::ping);
  }
};

// Host-thread state of the bare versions. Script handles live in objects
// that are never destroyed: at process exit the engine is gone before
// static destructors run.
v8::Isolate* isolate = nullptr;
v8::Global<v8::Context>& context = *new v8::Global<v8::Context>;
v8::Global<v8::Object>& receiver = *new v8::Global<v8::Object>;

void callScript(v8::Local<v8::Function> fn, v8::Local<v8::Value> argument) {
  v8::MaybeLocal<v8::Value> result =
      node::MakeCallback(isolate, receiver.Get(isolate), fn, 1, &argument, node::async_context{0, 0});
  (void)result;
}

// ---- thread per call ----

struct BareResult {
  std::int32_t value;
  v8::Global<v8::Function>* callback;
};

uv_async_t resultHandle;
std::mutex resultLock;
std::vector<BareResult> results;
int inFlight = 0;

void onResults(uv_async_t*) {
  std::vector<BareResult> ready;
  {
    std::lock_guard<std::mutex> lock(resultLock);
    ready.swap(results);
  }
  v8::HandleScope scope(isolate);
  v8::Context::Scope contextScope(context.Get(isolate));
  for (auto& result : ready) {
    callScript(result.callback->Get(isolate), v8::Integer::New(isolate, result.value));
    delete result.callback;
    if (--inFlight == 0) uv_unref(reinterpret_cast<uv_handle_t*>(&resultHandle));
  }
}

void bareCall(const v8::FunctionCallbackInfo<v8::Value>& info) {
  std::int32_t x = info[0].As<v8::Int32>()->Value();
  auto* callback = new v8::Global<v8::Function>(isolate, info[1].As<v8::Function>());
  if (inFlight++ == 0) uv_ref(reinterpret_cast<uv_handle_t*>(&resultHandle));
  std::thread([x, callback] {
    {
      std::lock_guard<std::mutex> lock(resultLock);
      results.push_back({x + 1, callback});
    }
    uv_async_send(&resultHandle);
  }).detach();
}

// ---- ping-pong ----

struct Ping {
  uv_async_t handle;
  std::mutex lock;
  std::condition_variable takenCondition;
  bool pending = false;
  bool taken = false;
  bool finished = false;
  std::uint32_t value = 0;
  std::uint32_t count = 0;
  std::thread worker;
  v8::Global<v8::Function> event;
  v8::Global<v8::Function> done;
};
Ping& ping = *new Ping;

void onPing(uv_async_t*) {
  bool call = false, finished = false;
  std::uint32_t value = 0;
  {
    std::lock_guard<std::mutex> lock(ping.lock);
    if (ping.pending) {
      call = true;
      value = ping.value;
      ping.pending = false;
      ping.taken = true;
    }
    finished = ping.finished;
  }
  if (call) ping.takenCondition.notify_all();
  v8::HandleScope scope(isolate);
  v8::Context::Scope contextScope(context.Get(isolate));
  if (call) callScript(ping.event.Get(isolate), v8::Integer::New(isolate, static_cast<std::int32_t>(value)));
  if (!finished) return;
  ping.worker.join();
  ping.finished = false;
  uv_unref(reinterpret_cast<uv_handle_t*>(&ping.handle));
  callScript(ping.done.Get(isolate), v8::Integer::New(isolate, static_cast<std::int32_t>(ping.count)));
}

void pingWorker() {
  for (std::uint32_t i = 0; i < ping.count; ++i) {
    std::unique_lock<std::mutex> lock(ping.lock);
    ping.value = i;
    ping.pending = true;
    ping.taken = false;
    uv_async_send(&ping.handle);
    ping.takenCondition.wait(lock, [] { return ping.taken; });
  }
  {
    std::lock_guard<std::mutex> lock(ping.lock);
    ping.finished = true;
  }
  uv_async_send(&ping.handle);
}

void barePing(const v8::FunctionCallbackInfo<v8::Value>& info) {
  ping.event.Reset(isolate, info[0].As<v8::Function>());
  ping.count = info[1].As<v8::Uint32>()->Value();
  ping.done.Reset(isolate, info[2].As<v8::Function>());
  uv_ref(reinterpret_cast<uv_handle_t*>(&ping.handle));
  ping.worker = std::thread(pingWorker);
}

void setFunction(v8::Local<v8::Object> exports, const char* name, v8::FunctionCallback callback) {
  v8::Local<v8::Context> current = isolate->GetCurrentContext();
  v8::Local<v8::Function> function = v8::FunctionTemplate::New(isolate, callback)->GetFunction(current).ToLocalChecked();
  exports->Set(current, node_interop::helpers::utf8String(isolate, name), function).Check();
}

void initialize(v8::Local<v8::Object> exports) {
  node_interop::helpers::registerService<Adder>(node_interop::helpers::ObjectRegistry::instance());
  node_interop::helpers::installQuery(exports);
  isolate = v8::Isolate::GetCurrent();
  context.Reset(isolate, isolate->GetCurrentContext());
  receiver.Reset(isolate, v8::Object::New(isolate));
  uv_loop_t* loop = node::GetCurrentEventLoop(isolate);
  uv_async_init(loop, &resultHandle, onResults);
  uv_unref(reinterpret_cast<uv_handle_t*>(&resultHandle));
  uv_async_init(loop, &ping.handle, onPing);
  uv_unref(reinterpret_cast<uv_handle_t*>(&ping.handle));
  setFunction(exports, "bareCall", bareCall);
  setFunction(exports, "barePing", barePing);
}

}  // namespace

INSTALLER_ORNEL_MODULE(bench_async_v8, initialize)
