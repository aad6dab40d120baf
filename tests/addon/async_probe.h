// Test services for the pool and the host-loop channel, and what the test add-on's services share.
#pragma once

#include <cstdint>

#include "install/installer_ornel/interop_helpers/binder.h"
#include "install/installer_ornel/interop_helpers/object_registry.h"
#include "install/installer_ornel/interop_helpers/record_fields.h"

namespace async_probe {

// A sample's level, and the step that "progressChanged" carries.
struct Level { platform::wstring label; std::uint32_t amount = 0; };

}  // namespace async_probe

template <>
struct node_interop::helpers::RecordFields<async_probe::Level> {
  static constexpr auto fields =
      std::make_tuple(field("label", &async_probe::Level::label), field("amount", &async_probe::Level::amount));
};

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
