// Binding native member functions to script methods, and the call frame
// that runs on every call.
//
//   bindMethod(holder, "getProperty", &MsiProductInfoService::getProperty);
//
// One template serves every shape: the member function's parameter types
// choose the argument conversions, its result type the result conversion.
// A call converts its arguments (each one read past the end of the call's
// arguments fails with "Index is out of range"), then either calls the
// member function at once and writes out-parameters back, or, when one
// more argument than the method takes is present and the last one is a
// function, runs it asynchronously and returns undefined.
#pragma once

#include <v8.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <tuple>
#include <type_traits>
#include <utility>

#include "install/installer_ornel/interop_helpers/async_call.h"
#include "install/installer_ornel/interop_helpers/convert.h"
#include "install/installer_ornel/interop_helpers/convert_list.h"
#include "install/installer_ornel/interop_helpers/convert_record.h"
#include "install/installer_ornel/interop_helpers/object_holder.h"
#include "install/installer_ornel/interop_helpers/script_error.h"
#include "install/installer_ornel/interop_helpers/write_back.h"

namespace node_interop::helpers {

// A method called on something that is not its service object.
class IllegalInvocation : public ScriptTypeError {
 public:
  IllegalInvocation() : ScriptTypeError("Illegal invocation") {}
};

template <typename MemFn>
struct MethodTraits;

template <typename Impl_, typename R, typename... P>
struct MethodTraits<R (Impl_::*)(P...)> {
  using Impl = Impl_;
  using Result = R;
  // What the frame converts into and passes to the method by reference.
  using Arguments = std::tuple<std::remove_cv_t<std::remove_reference_t<P>>...>;
  static constexpr size_t arity = sizeof...(P);
};

template <typename Impl_, typename R, typename... P>
struct MethodTraits<R (Impl_::*)(P...) const> : MethodTraits<R (Impl_::*)(P...)> {};

// Shapes whose arguments are converted last to first. The first argument
// read is then the last one, so the count check comes before any
// conversion.
template <typename Arguments>
struct ConvertsLastFirst : std::false_type {};
template <>
struct ConvertsLastFirst<std::tuple<bool, std::uint32_t>> : std::true_type {};

template <typename MemFn>
class MethodRecord : public TaggedRecord<MethodRecord<MemFn>> {
 public:
  explicit MethodRecord(MemFn method) : method(method) {}
  MemFn method;
};

inline constexpr const char kIndexMessage[] = "Index is out of range";

// Sets the call's result. 32-bit integers and booleans take the engine's
// direct paths, which allocate nothing.
template <typename R>
void setResult(const v8::FunctionCallbackInfo<v8::Value>& info, const R& value) {
  if constexpr (std::is_same_v<R, bool>) {
    info.GetReturnValue().Set(value);
  } else if constexpr (std::is_integral_v<R> && sizeof(R) == 4) {
    info.GetReturnValue().Set(static_cast<std::int32_t>(value));
  } else {
    info.GetReturnValue().Set(Convert<R>::toScript(info.GetIsolate(), value));
  }
}

template <typename MemFn>
class CallFrame {
  using Traits = MethodTraits<MemFn>;
  using Impl = typename Traits::Impl;
  using Result = typename Traits::Result;
  using Arguments = typename Traits::Arguments;
  static constexpr size_t kArity = Traits::arity;

 public:
  static void entry(const v8::FunctionCallbackInfo<v8::Value>& info) {
    runGuarded(info, [&info] { invoke(info); });
  }

 private:
  static void invoke(const v8::FunctionCallbackInfo<v8::Value>& info) {
    MemFn method = static_cast<MethodRecord<MemFn>*>(info.Data().As<v8::External>()->Value())->method;
    ImplementationRecord<Impl>* record = implementationOf(info);

    Arguments arguments;
    if constexpr (ConvertsLastFirst<Arguments>::value) {
      convertAll(info, arguments, reversed(std::make_index_sequence<kArity>()));
    } else {
      convertAll(info, arguments, std::make_index_sequence<kArity>());
    }

    const int count = info.Length();
    if (count >= static_cast<int>(kArity) + 1 && info[count - 1]->IsFunction()) {
      callAsync(info, record->impl, method, std::move(arguments), info[count - 1].As<v8::Function>());
      return;
    }
    // The receiver holds the prototype that owns the implementation for
    // the whole synchronous call, so no extra reference is needed here.
    Result result = std::apply([&](auto&... a) { return (record->impl.get()->*method)(a...); }, arguments);
    writeBackAll(info, arguments, std::make_index_sequence<kArity>());
    setResult(info, result);
  }

  static ImplementationRecord<Impl>* implementationOf(const v8::FunctionCallbackInfo<v8::Value>& info) {
    v8::Local<v8::Object> receiver = info.This();
    if (receiver.IsEmpty() || !receiver->IsObject()) throw IllegalInvocation();
    auto* record = ExternalRecord::from<ImplementationRecord<Impl>>(receiver->GetPrototype());
    if (record == nullptr) throw IllegalInvocation();
    return record;
  }

  template <size_t... I>
  static constexpr auto reversed(std::index_sequence<I...>) {
    return std::index_sequence<(kArity - 1 - I)...>();
  }

  // The comma fold runs left to right: the first failure ends the call.
  template <size_t... I>
  static void convertAll(const v8::FunctionCallbackInfo<v8::Value>& info, Arguments& arguments,
                         std::index_sequence<I...>) {
    (convertOne<I>(info, arguments), ...);
  }

  template <size_t I>
  static void convertOne(const v8::FunctionCallbackInfo<v8::Value>& info, Arguments& arguments) {
    if (info.Length() <= static_cast<int>(I)) throw std::invalid_argument(kIndexMessage);
    using T = std::tuple_element_t<I, Arguments>;
    std::get<I>(arguments) = Convert<T>::toNative(info.GetIsolate(), info[I]);
  }

  template <size_t... I>
  static void writeBackAll(const v8::FunctionCallbackInfo<v8::Value>& info, const Arguments& arguments,
                           std::index_sequence<I...>) {
    (WriteBack<std::tuple_element_t<I, Arguments>>::apply(info.GetIsolate(), info[I],
                                                          std::get<I>(arguments)),
     ...);
  }

  // The task owns its own reference to the implementation: the service
  // must outlive the call even if nothing else holds it meanwhile.
  static void callAsync(const v8::FunctionCallbackInfo<v8::Value>& info, std::shared_ptr<Impl> impl,
                        MemFn method, Arguments arguments, v8::Local<v8::Function> callback) {
    std::function<Result()> task = [impl = std::move(impl), method,
                                    arguments = std::move(arguments)]() mutable {
      return std::apply([&](auto&... a) { return (impl.get()->*method)(a...); }, arguments);
    };
    startAsyncCall<Result>(info.GetIsolate(), callback, std::move(task));
  }
};

template <typename MemFn>
void bindMethod(ObjectHolder& holder, const char* name, MemFn method) {
  v8::Isolate* isolate = holder.isolate();
  v8::HandleScope scope(isolate);
  v8::Local<v8::Context> context = isolate->GetCurrentContext();
  v8::Local<v8::External> data = MethodRecord<MemFn>::create(isolate, method);
  v8::Local<v8::FunctionTemplate> tmpl =
      v8::FunctionTemplate::New(isolate, &CallFrame<MemFn>::entry, data, v8::Local<v8::Signature>(), 0,
                                v8::ConstructorBehavior::kAllow);
  v8::Local<v8::Function> function = checked(tmpl->GetFunction(context));
  v8::Local<v8::String> key = utf8String(isolate, name);
  function->SetName(key);
  checked(holder.object()->Set(context, key, function));
}

}  // namespace node_interop::helpers
