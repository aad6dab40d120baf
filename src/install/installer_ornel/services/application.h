// The `application` service: `run` turns file tracing on in the directory
// of the bootstrapper's "/log" switch, and `join` lets go of the
// process-wide package and setup objects, which are made again when next
// used. Both always return true.
//
// join empties process-wide slots that have locks of their own: a call
// still using the product information or the setup state keeps what it
// holds, and the next one finds a new object.
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
