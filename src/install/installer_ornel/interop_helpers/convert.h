// The conversion vocabulary between script values and native values.
//
//   Convert<T>::toNative(isolate, value) -> T     (throws on failure)
//   Convert<T>::toScript(isolate, const T&) -> v8::Local<v8::Value>
//
// Scalars and strings share one rule, the "value" box: an object with a
// property "value" (own or inherited) stands for that property, at any
// depth; any other object stands for the empty value of the type. This is
// the input side of out-parameters: a script passes {} to get a result back
// in its "value" property, and may pass that object again later.
//
// Records (convert_record.h) and lists (convert_list.h) specialise the
// same template.
#pragma once

#include <v8.h>

#include <cstdint>
#include <stdexcept>
#include <string>

#include "install/installer_ornel/interop_helpers/script_error.h"
#include "platform/windows.h"

namespace node_interop::helpers {

template <typename T, typename Enable = void>
struct Convert;

// The box key, and the constructor names of a plain object.
inline constexpr const char kBoxKey[] = "value";

inline v8::Local<v8::String> utf8String(v8::Isolate* isolate, const char* text) {
  return checked(v8::String::NewFromUtf8(isolate, text, v8::NewStringType::kNormal, -1));
}

// A box holding itself (o.value = o) must not hang the call: past this
// depth the value counts as unconvertible.
inline constexpr int kMaxBoxDepth = 1000;

// Follows "value" properties from `value`. Returns the innermost value: an
// object without "value", or a non-object. Returns an empty handle when the
// boxes nest deeper than kMaxBoxDepth.
v8::Local<v8::Value> unbox(v8::Isolate* isolate, v8::Local<v8::Value> value);

// The frame shared by every scalar conversion: unbox; an object stands for
// the empty value; anything else must pass the type test before it is read.
template <typename T, const char* Message>
struct ScalarConvert {
  // `read` is called with a value that passed `test`.
  template <typename Test, typename Read>
  static T toNative(v8::Isolate* isolate, v8::Local<v8::Value> value, Test test, Read read) {
    value = unbox(isolate, value);
    if (!value.IsEmpty() && value->IsObject()) return T{};
    if (value.IsEmpty() || !test(value)) throw std::invalid_argument(Message);
    return read(value);
  }
};

inline constexpr const char kBooleanMessage[] = "Failed to convert to Boolean type";
inline constexpr const char kInt32Message[] = "Failed to convert to Int32 type";
inline constexpr const char kUInt32Message[] = "Failed to convert to UInt32 type";
inline constexpr const char kStringMessage[] = "Failed to convert to String type";

template <>
struct Convert<bool> {
  static bool toNative(v8::Isolate* isolate, v8::Local<v8::Value> value) {
    return ScalarConvert<bool, kBooleanMessage>::toNative(
        isolate, value, [](auto v) { return v->IsBoolean(); },
        [](auto v) { return v.template As<v8::Boolean>()->Value(); });
  }
  static v8::Local<v8::Value> toScript(v8::Isolate* isolate, bool value) {
    return v8::Boolean::New(isolate, value);
  }
};

// Every 32-bit result reaches script as Integer::New of its bits taken as a
// signed number, so 4294967295 reads back as -1.
template <>
struct Convert<std::int32_t> {
  static std::int32_t toNative(v8::Isolate* isolate, v8::Local<v8::Value> value) {
    return ScalarConvert<std::int32_t, kInt32Message>::toNative(
        isolate, value, [](auto v) { return v->IsNumber(); },
        [isolate](auto v) { return checked(v->Int32Value(isolate->GetCurrentContext())); });
  }
  static v8::Local<v8::Value> toScript(v8::Isolate* isolate, std::int32_t value) {
    return v8::Integer::New(isolate, value);
  }
};

template <>
struct Convert<std::uint32_t> {
  static std::uint32_t toNative(v8::Isolate* isolate, v8::Local<v8::Value> value) {
    return ScalarConvert<std::uint32_t, kUInt32Message>::toNative(
        isolate, value, [](auto v) { return v->IsNumber(); },
        [isolate](auto v) { return checked(v->Uint32Value(isolate->GetCurrentContext())); });
  }
  static v8::Local<v8::Value> toScript(v8::Isolate* isolate, std::uint32_t value) {
    return v8::Integer::New(isolate, static_cast<std::int32_t>(value));
  }
};

// Narrow strings are UTF-8 exactly as the engine produces them: service
// names, property keys, messages. Back to script they end at the first
// zero byte.
template <>
struct Convert<std::string> {
  static std::string toNative(v8::Isolate* isolate, v8::Local<v8::Value> value) {
    return ScalarConvert<std::string, kStringMessage>::toNative(
        isolate, value, [](auto v) { return v->IsString(); },
        [isolate](auto v) {
          v8::String::Utf8Value text(isolate, v);
          return std::string(*text, text.length());
        });
  }
  static v8::Local<v8::Value> toScript(v8::Isolate* isolate, const std::string& value) {
    return utf8String(isolate, value.c_str());
  }
};

// Wide strings are the engine's UTF-16 units, copied as they are: all text
// that reaches Windows. Embedded zero units stay part of the string.
template <>
struct Convert<platform::wstring> {
  static platform::wstring toNative(v8::Isolate* isolate, v8::Local<v8::Value> value) {
    return ScalarConvert<platform::wstring, kStringMessage>::toNative(
        isolate, value, [](auto v) { return v->IsString(); },
        [isolate](auto v) {
          v8::Local<v8::String> string = v.template As<v8::String>();
          platform::wstring text(static_cast<size_t>(string->Length()), WCHAR{});
          string->Write(isolate, reinterpret_cast<std::uint16_t*>(text.data()), 0,
                        string->Length(), v8::String::NO_NULL_TERMINATION);
          return text;
        });
  }
  static v8::Local<v8::Value> toScript(v8::Isolate* isolate, const platform::wstring& value) {
    if (value.size() > static_cast<size_t>(v8::String::kMaxLength))
      throw std::length_error("string too long for the script engine");
    return checked(v8::String::NewFromTwoByte(
        isolate, reinterpret_cast<const std::uint16_t*>(value.data()), v8::NewStringType::kNormal,
        static_cast<int>(value.size())));
  }
};

}  // namespace node_interop::helpers
