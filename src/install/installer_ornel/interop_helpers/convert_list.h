// Lists: arrays of strings, arrays of rows, arrays of records.
#pragma once

#include <v8.h>

#include <stdexcept>
#include <vector>

#include "install/installer_ornel/interop_helpers/convert.h"
#include "install/installer_ornel/interop_helpers/convert_record.h"

namespace node_interop::helpers {

inline constexpr const char kArrayMessage[] = "Failed to convert to Array type";

template <typename T>
struct Convert<std::vector<T>> {
  // Only lists of records come from script. An array is required as it is:
  // no box, no empty-object rule. The length is read again after every
  // element, since a getter may change the array while it is read.
  static std::vector<T> toNative(v8::Isolate* isolate, v8::Local<v8::Value> value) {
    static_assert(IsRecord<T>::value, "only lists of records are read from script");
    if (value.IsEmpty() || !value->IsArray()) throw std::invalid_argument(kArrayMessage);
    v8::HandleScope scope(isolate);
    v8::Local<v8::Context> context = isolate->GetCurrentContext();
    v8::Local<v8::Array> array = value.As<v8::Array>();
    std::vector<T> list;
    for (uint32_t i = 0; i < array->Length(); ++i) {
      list.push_back(Convert<T>::toNative(isolate, checked(array->Get(context, i))));
    }
    return list;
  }

  static v8::Local<v8::Value> toScript(v8::Isolate* isolate, const std::vector<T>& list) {
    v8::EscapableHandleScope scope(isolate);
    v8::Local<v8::Context> context = isolate->GetCurrentContext();
    v8::Local<v8::Array> array = v8::Array::New(isolate, static_cast<int>(list.size()));
    for (uint32_t i = 0; i < list.size(); ++i) {
      checked(array->Set(context, i, Convert<T>::toScript(isolate, list[i])));
    }
    return scope.Escape(array);
  }
};

}  // namespace node_interop::helpers
