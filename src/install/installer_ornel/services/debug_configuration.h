// The `debug_configuration` service.
#pragma once

#include <cstdint>

#include "install/installer_ornel/interop_helpers/binder.h"

namespace installer {

class DebugConfiguration {
 public:
  static constexpr const char kName[] = "debug_configuration";

  // The installer never runs in a debug configuration: `debug` becomes false.
  std::uint32_t isDebug(bool& debug);

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {
    node_interop::helpers::bindMethod(holder, "isDebug", &DebugConfiguration::isDebug);
  }
};

}  // namespace installer
