// The `trace_helper` service: script trace lines.
#pragma once

#include "install/installer_ornel/interop_helpers/binder.h"

namespace installer {

class TraceHelper {
 public:
  static constexpr const char kName[] = "trace_helper";

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {}
};

}  // namespace installer
