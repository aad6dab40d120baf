// ObjectHolder: the script object of one service, and the native
// implementation attached to it.
//
// The object is a plain Object whose prototype is an External carrying the
// implementation record; bound methods find the implementation there, and
// nowhere else. The holder keeps the object alive with a strong handle;
// the records are owned by the engine (see external_record.h).
#pragma once

#include <v8.h>

#include <memory>

#include "install/installer_ornel/interop_helpers/external_record.h"
#include "install/installer_ornel/interop_helpers/script_error.h"

namespace node_interop::helpers {

template <typename Impl>
class ImplementationRecord : public TaggedRecord<ImplementationRecord<Impl>> {
 public:
  explicit ImplementationRecord(std::shared_ptr<Impl> impl) : impl(std::move(impl)) {}
  std::shared_ptr<Impl> impl;
};

class ObjectHolder {
 public:
  template <typename Impl>
  explicit ObjectHolder(std::shared_ptr<Impl> impl) : isolate_(v8::Isolate::GetCurrent()) {
    v8::HandleScope scope(isolate_);
    v8::Local<v8::Object> object = v8::Object::New(isolate_);
    object_.Reset(isolate_, object);
    v8::Local<v8::External> record = ImplementationRecord<Impl>::create(isolate_, std::move(impl));
    checked(object->SetPrototype(isolate_->GetCurrentContext(), record));
  }
  virtual ~ObjectHolder();

  ObjectHolder(const ObjectHolder&) = delete;
  ObjectHolder& operator=(const ObjectHolder&) = delete;

  // The service's script object in the caller's handle scope; empty if none.
  virtual v8::Local<v8::Object> object() const;

  v8::Isolate* isolate() const { return isolate_; }

 private:
  v8::Isolate* isolate_;
  v8::Global<v8::Object> object_;
};

}  // namespace node_interop::helpers
