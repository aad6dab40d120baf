// Native records carried by v8::External values.
//
// A service object and a record object both find their native side through
// their prototype, which is an External. Script can call a method on any
// receiver it likes, so the pointer inside an External is only trusted after
// its tag says which record type it is. Every External this add-on creates
// carries an ExternalRecord, so reading the tag is always safe.
//
// The engine owns each record: a weak handle to the record's External frees
// the record when the External is collected.
#pragma once

#include <v8.h>

#include <utility>

#include "install/installer_ornel/interop_helpers/script_error.h"

namespace node_interop::helpers {

// One address per record type; its identity is the tag.
template <typename Record>
struct RecordTag {
  static constexpr char id = 0;
};

class ExternalRecord {
 public:
  ExternalRecord(const ExternalRecord&) = delete;
  ExternalRecord& operator=(const ExternalRecord&) = delete;

  // The record behind `value` if it is an External carrying a Record, else
  // nullptr.
  template <typename Record>
  static Record* from(v8::Local<v8::Value> value) {
    if (value.IsEmpty() || !value->IsExternal()) return nullptr;
    auto* record = static_cast<ExternalRecord*>(value.As<v8::External>()->Value());
    if (record == nullptr || record->tag_ != &RecordTag<Record>::id) return nullptr;
    return static_cast<Record*>(record);
  }

 protected:
  explicit ExternalRecord(const void* tag) : tag_(tag) {}
  virtual ~ExternalRecord() = default;

  // Wraps the record in a new External that owns it from now on.
  v8::Local<v8::External> wrap(v8::Isolate* isolate) {
    v8::Local<v8::External> external = v8::External::New(isolate, this);
    self_.Reset(isolate, external);
    self_.SetWeak(this, &ExternalRecord::collected, v8::WeakCallbackType::kParameter);
    return external;
  }

 private:
  static void collected(const v8::WeakCallbackInfo<ExternalRecord>& info) {
    ExternalRecord* record = info.GetParameter();
    record->self_.Reset();
    delete record;
  }

  const void* tag_;
  v8::Global<v8::External> self_;
};

// A record of type T (with T derived from TaggedRecord<T>) made and wrapped
// in one step: the returned External owns it.
template <typename T>
class TaggedRecord : public ExternalRecord {
 public:
  template <typename... Args>
  static v8::Local<v8::External> create(v8::Isolate* isolate, Args&&... args) {
    return adopt(isolate, new T(std::forward<Args>(args)...));
  }

  // Hands a record made with new to a new External, which owns it.
  static v8::Local<v8::External> adopt(v8::Isolate* isolate, T* record) {
    return record->wrap(isolate);
  }

 protected:
  TaggedRecord() : ExternalRecord(&RecordTag<T>::id) {}
};

}  // namespace node_interop::helpers
