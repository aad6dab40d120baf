// The same method as an N-API add-on writes it: a wrapped native object,
// unwrapped from the receiver on every call; and, as a floor, a callback
// that ignores its receiver.
#include <node_api.h>

#include <cstdint>

namespace {

struct Counter {
  std::int32_t count = 0;
};

napi_value next(napi_env env, napi_callback_info info) {
  napi_value self;
  if (napi_get_cb_info(env, info, nullptr, nullptr, &self, nullptr) != napi_ok) return nullptr;
  void* native = nullptr;
  if (napi_unwrap(env, self, &native) != napi_ok) {
    napi_throw_type_error(env, nullptr, "Illegal invocation");
    return nullptr;
  }
  napi_value result;
  napi_create_int32(env, ++static_cast<Counter*>(native)->count, &result);
  return result;
}

// The least an N-API callback does: no receiver, a module-level counter.
std::int32_t plainCount = 0;

napi_value plainNext(napi_env env, napi_callback_info) {
  napi_value result;
  napi_create_int32(env, ++plainCount, &result);
  return result;
}

void destroy(napi_env, void* data, void*) { delete static_cast<Counter*>(data); }

napi_value init(napi_env env, napi_value exports) {
  napi_value counter;
  napi_create_object(env, &counter);
  napi_wrap(env, counter, new Counter(), destroy, nullptr, nullptr);
  napi_value function;
  napi_create_function(env, "next", NAPI_AUTO_LENGTH, next, nullptr, &function);
  napi_set_named_property(env, counter, "next", function);
  napi_set_named_property(env, exports, "counter", counter);

  napi_value plain;
  napi_create_object(env, &plain);
  napi_create_function(env, "next", NAPI_AUTO_LENGTH, plainNext, nullptr, &function);
  napi_set_named_property(env, plain, "next", function);
  napi_set_named_property(env, exports, "plain", plain);
  return exports;
}

}  // namespace

NAPI_MODULE(NODE_GYP_MODULE_NAME, init)
