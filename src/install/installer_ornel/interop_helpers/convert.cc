#include "install/installer_ornel/interop_helpers/convert.h"

namespace node_interop::helpers {

v8::Local<v8::Value> unbox(v8::Isolate* isolate, v8::Local<v8::Value> value) {
  v8::Local<v8::Context> context = isolate->GetCurrentContext();
  v8::Local<v8::String> key;
  for (int depth = 0; depth <= kMaxBoxDepth; ++depth) {
    if (value.IsEmpty() || !value->IsObject()) return value;
    v8::Local<v8::Object> object = value.As<v8::Object>();
    if (key.IsEmpty()) key = utf8String(isolate, kBoxKey);
    if (!checked(object->Has(context, key))) return value;
    value = checked(object->Get(context, key));
  }
  return {};
}

}  // namespace node_interop::helpers
