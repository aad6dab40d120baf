// The `application` service: `run` turns file tracing on in the directory
// of the bootstrapper's "/log" switch, and `join` lets go of the
// process-wide package and setup objects, which are made again when next
// used. Both always return true.
//
// join empties two process-wide slots, each under its own lock: it waits
// for a call that is using the shared product information, and a call or
// task that holds the setup state keeps it alive until it is done. The next
// use of either makes a new one.
#pragma once

#include "install/installer_ornel/interop_helpers/binder.h"

namespace installer {

class Application {
 public:
  static constexpr const char kName[] = "application";

  bool run();
  bool join();

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {
    using node_interop::helpers::bindMethod;
    bindMethod(holder, "run", &Application::run);
    bindMethod(holder, "join", &Application::join);
  }
};

}  // namespace installer
