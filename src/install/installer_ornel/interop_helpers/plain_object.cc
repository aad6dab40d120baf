#include "install/installer_ornel/interop_helpers/plain_object.h"

#include <cstring>

#include "install/installer_ornel/interop_helpers/script_error.h"

namespace node_interop::helpers {

namespace {

bool hasPlainConstructorName(v8::Isolate* isolate, v8::Local<v8::Object> object) {
  v8::Local<v8::String> name = object->GetConstructorName();
  // Both names are short ASCII: compare without building a std::string.
  char buffer[8];
  int length = name->Length();
  if (length != 6 && length != 7) return false;
  name->WriteUtf8(isolate, buffer, sizeof buffer, nullptr, v8::String::NO_NULL_TERMINATION);
  return (length == 6 && std::memcmp(buffer, "Object", 6) == 0) ||
         (length == 7 && std::memcmp(buffer, "Context", 7) == 0);
}

}  // namespace

bool isEmptyPlainObject(v8::Isolate* isolate, v8::Local<v8::Object> object) {
  if (!hasPlainConstructorName(isolate, object)) return false;
  v8::Local<v8::Array> names = checked(object->GetOwnPropertyNames(isolate->GetCurrentContext()));
  return names->Length() == 0;
}

}  // namespace node_interop::helpers
