// Test services for the pool and the host-loop channel.
#pragma once

#include "install/installer_ornel/interop_helpers/object_registry.h"

namespace async_probe {

// Registers "gates" and "host_calls".
void registerServices(node_interop::helpers::ObjectRegistry& registry);

}  // namespace async_probe
