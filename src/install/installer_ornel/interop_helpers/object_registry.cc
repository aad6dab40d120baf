#include "install/installer_ornel/interop_helpers/object_registry.h"

#include <stdexcept>

#include "install/installer_ornel/interop_helpers/convert.h"
#include "install/installer_ornel/interop_helpers/script_error.h"

namespace node_interop::helpers {

ObjectRegistry& ObjectRegistry::instance() {
  static auto* registry = new ObjectRegistry();
  return *registry;
}

void ObjectRegistry::add(const std::string& name, ObjectFactory factory) {
  factories_.emplace(name, std::move(factory));
}

bool ObjectRegistry::lookup(const std::string& name, std::shared_ptr<ObjectHolder>& out) {
  if (auto cached = instances_.find(name); cached != instances_.end()) {
    out = cached->second;
    return true;
  }
  auto factory = factories_.find(name);
  if (factory == factories_.end()) return false;
  out = factory->second();
  instances_.emplace(name, out);
  return true;
}

namespace {

void query(const v8::FunctionCallbackInfo<v8::Value>& info) {
  runGuarded(info, [&info] {
    if (info.Length() != 1) throw std::invalid_argument("Failed to parse key value");
    std::string name = Convert<std::string>::toNative(info.GetIsolate(), info[0]);
    std::shared_ptr<ObjectHolder> holder;
    if (!ObjectRegistry::instance().lookup(name, holder)) throw std::runtime_error("Failed to query object");
    v8::Local<v8::Object> object = holder->object();
    if (!object.IsEmpty()) info.GetReturnValue().Set(object);
  });
}

}  // namespace

void installQuery(v8::Local<v8::Object> exports) {
  v8::Isolate* isolate = v8::Isolate::GetCurrent();
  v8::HandleScope scope(isolate);
  v8::Local<v8::Context> context = isolate->GetCurrentContext();
  v8::Local<v8::Function> function = checked(v8::FunctionTemplate::New(isolate, query)->GetFunction(context));
  v8::Local<v8::String> name = utf8String(isolate, "query");
  function->SetName(name);
  checked(exports->Set(context, name, function));
}

}  // namespace node_interop::helpers
