// Out-parameters: after a successful synchronous call, each argument that
// the script gave as an empty plain object receives the native value in its
// "value" property; an array of records is rewritten in place. Any other
// argument is left as it was.
#pragma once

#include <v8.h>

#include <vector>

#include "install/installer_ornel/interop_helpers/convert.h"
#include "install/installer_ornel/interop_helpers/convert_list.h"
#include "install/installer_ornel/interop_helpers/plain_object.h"

namespace node_interop::helpers {

template <typename T, typename Enable = void>
struct WriteBack {
  static void apply(v8::Isolate* isolate, v8::Local<v8::Value> argument, const T& value) {
    if (!argument->IsObject()) return;
    v8::Local<v8::Object> object = argument.As<v8::Object>();
    if (!isEmptyPlainObject(isolate, object)) return;
    checked(object->Set(isolate->GetCurrentContext(), utf8String(isolate, kBoxKey),
                        Convert<T>::toScript(isolate, value)));
  }
};

// The array keeps its length: indices past the new count become holes, and
// it grows when the native list is longer.
template <typename T>
struct WriteBack<std::vector<T>, std::enable_if_t<IsRecord<T>::value>> {
  static void apply(v8::Isolate* isolate, v8::Local<v8::Value> argument, const std::vector<T>& list) {
    if (!argument->IsArray()) return;
    v8::Local<v8::Context> context = isolate->GetCurrentContext();
    v8::Local<v8::Array> array = argument.As<v8::Array>();
    for (uint32_t i = static_cast<uint32_t>(list.size()); i < array->Length(); ++i) {
      checked(array->Delete(context, i));
    }
    for (uint32_t i = 0; i < list.size(); ++i) {
      checked(array->Set(context, i, Convert<T>::toScript(isolate, list[i])));
    }
  }
};

}  // namespace node_interop::helpers
