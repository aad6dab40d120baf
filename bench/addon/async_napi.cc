// The asynchronous call as an N-API add-on writes it: one napi_async_work
// per call, run on libuv's thread pool.
#include <node_api.h>

#include <cstdint>

namespace {

struct Work {
  napi_async_work work = nullptr;
  napi_ref callback = nullptr;
  std::int32_t value = 0;
};

void execute(napi_env, void* data) { static_cast<Work*>(data)->value += 1; }

void complete(napi_env env, napi_status, void* data) {
  auto* work = static_cast<Work*>(data);
  napi_value callback, global, argument, result;
  napi_get_reference_value(env, work->callback, &callback);
  napi_get_global(env, &global);
  napi_create_int32(env, work->value, &argument);
  napi_call_function(env, global, callback, 1, &argument, &result);
  napi_delete_reference(env, work->callback);
  napi_delete_async_work(env, work->work);
  delete work;
}

napi_value next(napi_env env, napi_callback_info info) {
  size_t argc = 2;
  napi_value argv[2];
  napi_get_cb_info(env, info, &argc, argv, nullptr, nullptr);
  auto* work = new Work();
  napi_get_value_int32(env, argv[0], &work->value);
  napi_create_reference(env, argv[1], 1, &work->callback);
  napi_value name;
  napi_create_string_utf8(env, "bench_async", NAPI_AUTO_LENGTH, &name);
  napi_create_async_work(env, nullptr, name, execute, complete, work, &work->work);
  napi_queue_async_work(env, work->work);
  return nullptr;
}

napi_value init(napi_env env, napi_value exports) {
  napi_value function;
  napi_create_function(env, "next", NAPI_AUTO_LENGTH, next, nullptr, &function);
  napi_set_named_property(env, exports, "next", function);
  return exports;
}

}  // namespace

NAPI_MODULE(NODE_GYP_MODULE_NAME, init)
