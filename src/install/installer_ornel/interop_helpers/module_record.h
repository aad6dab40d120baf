// The add-on's module record, handed to the host from a static constructor
// when the image is loaded. The record is not context-aware. A load that
// finds the image in memory already (on another thread, or after the
// module left the require cache) runs no static constructor; the host then
// calls the exported node_register_module_v<ABI> instead. Both reach
// `init`, which decides whether this thread may use the add-on.
#pragma once

#include <node.h>

// Defines the record for module `name` with initialisation `init`
// (void init(v8::Local<v8::Object> exports)), and the exported constructor
// _register_<name>_ that registers it.
// MSVC has no constructor attribute: a pointer in the C runtime's
// initialiser section does the same. GCC and Clang, MinGW included, have it;
// on Windows the export is a DLL export instead of a visible symbol.
#if defined(_MSC_VER)
#pragma section(".CRT$XCU", read)
#define INSTALLER_ORNEL_CONSTRUCTOR(fn)                          \
  static void __cdecl fn(void);                                  \
  __declspec(dllexport, allocate(".CRT$XCU")) void(__cdecl * fn##_)(void) = fn; \
  static void __cdecl fn(void)
#elif defined(_WIN32)
#define INSTALLER_ORNEL_CONSTRUCTOR(fn) \
  extern "C" __declspec(dllexport) __attribute__((constructor)) void fn##_(void)
#else
#define INSTALLER_ORNEL_CONSTRUCTOR(fn) \
  extern "C" __attribute__((visibility("default"), constructor)) void fn##_(void)
#endif

#define INSTALLER_ORNEL_MODULE(name, init)                                                  \
  static void name##_initialize(v8::Local<v8::Object> exports, v8::Local<v8::Value>, void*) { \
    init(exports);                                                                          \
  }                                                                                         \
  static node::node_module name##_module = {                                                \
      NODE_MODULE_VERSION, 0, nullptr, __FILE__, name##_initialize, nullptr, #name,         \
      nullptr, nullptr};                                                                    \
  INSTALLER_ORNEL_CONSTRUCTOR(_register_##name) { node::node_module_register(&name##_module); } \
  extern "C" NODE_MODULE_EXPORT void NODE_MODULE_INITIALIZER(                                 \
      v8::Local<v8::Object> exports, v8::Local<v8::Value>, v8::Local<v8::Context>) {         \
    init(exports);                                                                          \
  }
