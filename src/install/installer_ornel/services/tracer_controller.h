// The `tracer_controller` service: file tracing on and off, and the trace level.
#pragma once

#include "install/installer_ornel/interop_helpers/binder.h"

namespace installer {

class TracerController {
 public:
  static constexpr const char kName[] = "tracer_controller";

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {}
};

}  // namespace installer
