// The registry of named services and the `query` export.
//
// Factories are registered once, at module initialisation; each service
// object is made on the first successful query of its name and the same
// object is handed out for the life of the process. Host thread only: the
// registry has no lock.
#pragma once

#include <v8.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <unordered_map>

#include "install/installer_ornel/interop_helpers/binder.h"
#include "install/installer_ornel/interop_helpers/object_holder.h"

namespace node_interop::helpers {

using ObjectFactory = std::function<std::shared_ptr<ObjectHolder>()>;

class ObjectRegistry {
 public:
  // Never destroyed: service objects hold engine handles, which must not be
  // released after the engine is gone at process exit.
  static ObjectRegistry& instance();

  ObjectRegistry(const ObjectRegistry&) = delete;
  ObjectRegistry& operator=(const ObjectRegistry&) = delete;

  void add(const std::string& name, ObjectFactory factory);

  // The cached holder, or a new one from the factory. False for an unknown
  // name; a factory that throws leaves no cache entry.
  bool lookup(const std::string& name, std::shared_ptr<ObjectHolder>& out);

 private:
  ObjectRegistry() = default;

  std::unordered_map<std::string, ObjectFactory> factories_;
  std::map<std::string, std::shared_ptr<ObjectHolder>> instances_;
};

// Registers a service class. The class provides
//   static constexpr const char kName[];      the query name
//   static void bindMethods(ObjectHolder&);   its methods, in order
// and is default-constructible.
// A service with a static create() supplies its own implementation object
// (a process-wide one, say); any other gets a new one.
template <typename Service, typename = void>
struct HasCreate : std::false_type {};
template <typename Service>
struct HasCreate<Service, std::void_t<decltype(Service::create())>> : std::true_type {};

template <typename Service>
std::shared_ptr<Service> createService() {
  if constexpr (HasCreate<Service>::value) {
    return Service::create();
  } else {
    return std::make_shared<Service>();
  }
}

template <typename Service>
void registerService(ObjectRegistry& registry) {
  registry.add(Service::kName, [] {
    auto holder = std::make_shared<ObjectHolder>(createService<Service>());
    Service::bindMethods(*holder);
    return holder;
  });
}

// Puts the function `query` on the module's exports.
void installQuery(v8::Local<v8::Object> exports);

}  // namespace node_interop::helpers
