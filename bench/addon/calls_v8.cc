// The binder's bound method against a bare FunctionTemplate callback that
// does the least a callback can: set an integer result.
#include <cstdint>

#include "install/installer_ornel/interop_helpers/module_record.h"
#include "install/installer_ornel/interop_helpers/object_registry.h"

namespace {

class Counter {
 public:
  static constexpr const char kName[] = "counter";
  std::int32_t next() { return ++count_; }
  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {
    node_interop::helpers::bindMethod(holder, "next", &Counter::next);
  }

 private:
  std::int32_t count_ = 0;
};

std::int32_t bareCount = 0;

void bareNext(const v8::FunctionCallbackInfo<v8::Value>& info) { info.GetReturnValue().Set(++bareCount); }

void initialize(v8::Local<v8::Object> exports) {
  node_interop::helpers::registerService<Counter>(node_interop::helpers::ObjectRegistry::instance());
  node_interop::helpers::installQuery(exports);
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  v8::Local<v8::Context> context = isolate->GetCurrentContext();
  v8::Local<v8::Object> bare = v8::Object::New(isolate);
  v8::Local<v8::Function> function = v8::FunctionTemplate::New(isolate, bareNext)->GetFunction(context).ToLocalChecked();
  bare->Set(context, v8::String::NewFromUtf8Literal(isolate, "next"), function).Check();
  exports->Set(context, v8::String::NewFromUtf8Literal(isolate, "bare"), bare).Check();
}

}  // namespace

INSTALLER_ORNEL_MODULE(bench_calls_v8, initialize)
