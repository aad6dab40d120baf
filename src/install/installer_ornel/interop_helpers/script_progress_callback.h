// The progress receiver of the setup service over a script object: each
// event becomes a host call (host_call.h) to the object's method of the
// same name, "progressChanged" with a { progress, action, forward } object
// and "completed" with the result code. The methods are looked up at every
// event, so the script may replace them in between.
//
// A receiver keeps the host's loop (and so the process) alive while it
// lives: the operation that holds it still has events to deliver.
//
// A bound method that takes a qor::objptr_t<installer::IProgressCallback>
// accepts any script value there and gets a new receiver over it; nothing
// is written back to it.
#pragma once

#include <v8.h>

#include <cstdint>

#include "install/installer_ornel/interop_helpers/host_call.h"
#include "install/msi/install_progress.h"

namespace node_interop::helpers {

class ScriptProgressCallback final : public installer::ProgressCallbackBase {
 public:
  // Host thread.
  ScriptProgressCallback(v8::Isolate* isolate, v8::Local<v8::Value> target)
      : receiver_(isolate, target), keepAlive_(ScriptHost::current(isolate).channel()) {}

  // Worker threads only. Both return 0; a failed host call throws.
  std::int32_t progressChanged(const installer::ProgressInfo& info) override {
    receiver_.call("progressChanged", info);
    return 0;
  }
  std::int32_t completed(std::uint32_t result) override {
    receiver_.call("completed", result);
    return 0;
  }

 private:
  HostCallReceiver receiver_;
  LoopKeepAlive keepAlive_;
};

using ProgressReceiver = qor::objptr_t<installer::IProgressCallback>;

template <>
struct Convert<ProgressReceiver> {
  static ProgressReceiver toNative(v8::Isolate* isolate, v8::Local<v8::Value> value) {
    return ProgressReceiver(new ScriptProgressCallback(isolate, value));
  }
};

template <>
struct WriteBack<ProgressReceiver> {
  static void apply(v8::Isolate*, v8::Local<v8::Value>, const ProgressReceiver&) {}
};

}  // namespace node_interop::helpers
