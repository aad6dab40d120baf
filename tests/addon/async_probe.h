// Test services for the pool and the host-loop channel.
#pragma once

#include "install/installer_ornel/interop_helpers/binder.h"
#include "install/installer_ornel/interop_helpers/object_registry.h"

namespace async_probe {

// Binds methods given as name, member, name, member, ... in that order.
template <typename MemFn, typename... Rest>
void bindMethods(node_interop::helpers::ObjectHolder& holder, const char* name, MemFn method, Rest... rest) {
  node_interop::helpers::bindMethod(holder, name, method);
  if constexpr (sizeof...(rest) > 0) bindMethods(holder, rest...);
}

// Registers "gates" and "host_calls".
void registerServices(node_interop::helpers::ObjectRegistry& registry);

}  // namespace async_probe
