#include "install/installer_ornel/interop_helpers/object_holder.h"

namespace node_interop::helpers {

ObjectHolder::~ObjectHolder() { object_.Reset(); }

v8::Local<v8::Object> ObjectHolder::object() const {
  if (object_.IsEmpty()) return {};
  return object_.Get(isolate_);
}

}  // namespace node_interop::helpers
