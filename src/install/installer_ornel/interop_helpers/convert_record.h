// Records: native structures that travel to script as plain objects.
//
// A record's owner declares its fields once, in order (record_fields.h).
// The kind of each field follows from its member type: a wide string, a
// 32-bit integer (read with the unsigned conversion, so -1 is stored as
// 4294967295 and written back as -1), a boolean, or another record.
// Properties are written and read in the order of the list.
#pragma once

#include <v8.h>

#include <cstdint>
#include <stdexcept>
#include <tuple>
#include <type_traits>

#include "install/installer_ornel/interop_helpers/convert.h"
#include "install/installer_ornel/interop_helpers/external_record.h"
#include "install/installer_ornel/interop_helpers/plain_object.h"
#include "install/installer_ornel/interop_helpers/record_fields.h"

namespace node_interop::helpers {

// How a field of member type M is read from script.
template <typename M>
using FieldConvert =
    std::conditional_t<std::is_integral_v<M> && !std::is_same_v<M, bool>, Convert<std::uint32_t>,
                       Convert<M>>;

inline constexpr const char kRecordMessage[] = "Failed to convert to specified type";

// The heap copy of a record that a record object carries in its prototype.
template <typename Record>
class RecordCopy : public TaggedRecord<RecordCopy<Record>> {
 public:
  explicit RecordCopy(const Record& value) : value(value) {}
  Record value;
};

template <typename Record>
struct Convert<Record, std::enable_if_t<IsRecord<Record>::value>> {
  static Record toNative(v8::Isolate* isolate, v8::Local<v8::Value> value) {
    value = unbox(isolate, value);
    if (value.IsEmpty() || !value->IsObject()) throw std::invalid_argument(kRecordMessage);
    v8::Local<v8::Object> object = value.As<v8::Object>();
    Record record{};
    if (isEmptyPlainObject(isolate, object)) return record;
    v8::Local<v8::Context> context = isolate->GetCurrentContext();
    std::apply(
        [&](const auto&... f) {
          (readField(isolate, context, object, record, f), ...);
        },
        RecordFields<Record>::fields);
    return record;
  }

  static v8::Local<v8::Value> toScript(v8::Isolate* isolate, const Record& record) {
    v8::Local<v8::Context> context = isolate->GetCurrentContext();
    v8::Local<v8::Object> object = v8::Object::New(isolate);
    auto* copy = new RecordCopy<Record>(record);
    v8::Local<v8::External> external = RecordCopy<Record>::adopt(isolate, copy);
    checked(object->SetPrototype(context, external));
    std::apply(
        [&](const auto&... f) {
          (checked(object->Set(context, utf8String(isolate, f.name),
                               toScriptField(isolate, copy->value.*(f.member)))),
           ...);
        },
        RecordFields<Record>::fields);
    return object;
  }

 private:
  template <typename F>
  using memberType = std::remove_cv_t<std::remove_reference_t<decltype(std::declval<Record&>().*(std::declval<F>().member))>>;

  template <typename M>
  static v8::Local<v8::Value> toScriptField(v8::Isolate* isolate, const M& value) {
    if constexpr (std::is_integral_v<M> && !std::is_same_v<M, bool>) {
      return FieldConvert<M>::toScript(isolate, static_cast<std::uint32_t>(value));
    } else {
      return FieldConvert<M>::toScript(isolate, value);
    }
  }

  template <typename F>
  static void readField(v8::Isolate* isolate, v8::Local<v8::Context> context,
                        v8::Local<v8::Object> object, Record& record, const F& f) {
    using M = memberType<F>;
    v8::Local<v8::Value> property = checked(object->Get(context, utf8String(isolate, f.name)));
    record.*(f.member) = static_cast<M>(FieldConvert<M>::toNative(isolate, property));
  }
};

}  // namespace node_interop::helpers
