#include "install/installer_ornel/interop_helpers/script_error.h"

namespace node_interop::helpers {

void throwScriptError(v8::Isolate* isolate, const char* message,
                      v8::ReturnValue<v8::Value> returnValue, ErrorKind kind) {
  v8::Local<v8::String> text;
  if (!v8::String::NewFromUtf8(isolate, message, v8::NewStringType::kNormal, -1).ToLocal(&text)) {
    text = v8::String::Empty(isolate);
  }
  v8::Local<v8::Value> error =
      kind == ErrorKind::kTypeError ? v8::Exception::TypeError(text) : v8::Exception::Error(text);
  returnValue.Set(isolate->ThrowException(error));
}

}  // namespace node_interop::helpers
