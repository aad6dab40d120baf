// The empty plain object: what a script passes to receive a value back.
#pragma once

#include <v8.h>

namespace node_interop::helpers {

// True when the object's constructor is named "Object" (or "Context", the
// name of a global object) and it has no own enumerable string keys.
bool isEmptyPlainObject(v8::Isolate* isolate, v8::Local<v8::Object> object);

}  // namespace node_interop::helpers
