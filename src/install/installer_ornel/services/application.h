// The `application` service: run and join: tracing from the bootstrapper's /log switch, and release of the shared objects.
#pragma once

#include "install/installer_ornel/interop_helpers/binder.h"

namespace installer {

class Application {
 public:
  static constexpr const char kName[] = "application";

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {}
};

}  // namespace installer
