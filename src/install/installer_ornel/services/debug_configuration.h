// The `debug_configuration` service: debug mode.
#pragma once

#include "install/installer_ornel/interop_helpers/binder.h"

namespace installer {

class DebugConfiguration {
 public:
  static constexpr const char kName[] = "debug_configuration";

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {}
};

}  // namespace installer
