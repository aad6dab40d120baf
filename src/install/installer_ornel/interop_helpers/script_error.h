// The one place where native failures become script exceptions.
//
// Every entry from script (query and every bound method) runs its body
// through runGuarded(). Whatever derives from std::exception is turned into
// a script Error whose message is exactly what(): no prefix, no class name.
#pragma once

#include <v8.h>

#include <exception>
#include <stdexcept>

namespace node_interop::helpers {

// Thrown when an engine call failed because script code (a getter, a proxy
// trap) threw: the script exception is already pending and must reach the
// caller as it is, so translation adds nothing.
class ScriptExceptionPending : public std::exception {
 public:
  const char* what() const noexcept override { return "script exception pending"; }
};

// Misuse of the script interface itself, such as a method called on an
// object that is not its service: the script sees a TypeError, as for the
// engine's own "Illegal invocation".
class ScriptTypeError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

template <typename T>
v8::Local<T> checked(v8::MaybeLocal<T> value) {
  v8::Local<T> local;
  if (!value.ToLocal(&local)) throw ScriptExceptionPending();
  return local;
}

template <typename T>
T checked(v8::Maybe<T> value) {
  T result;
  if (!value.To(&result)) throw ScriptExceptionPending();
  return result;
}

enum class ErrorKind { kError, kTypeError };

void throwScriptError(v8::Isolate* isolate, const char* message,
                      v8::ReturnValue<v8::Value> returnValue, ErrorKind kind = ErrorKind::kError);

template <typename Body>
void runGuarded(const v8::FunctionCallbackInfo<v8::Value>& info, Body&& body) {
  v8::Isolate* isolate = info.GetIsolate();
  v8::HandleScope scope(isolate);
  try {
    body();
  } catch (const ScriptExceptionPending&) {
    // Already thrown into script by the engine.
  } catch (const ScriptTypeError& e) {
    throwScriptError(isolate, e.what(), info.GetReturnValue(), ErrorKind::kTypeError);
  } catch (const std::exception& e) {
    throwScriptError(isolate, e.what(), info.GetReturnValue());
  }
}

}  // namespace node_interop::helpers
