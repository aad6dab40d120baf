// The `trace_helper` service: the script's own lines in the trace file.
#pragma once

#include <cstdint>

#include "install/installer_ornel/interop_helpers/binder.h"
#include "platform/windows.h"

namespace installer {

class TraceHelper {
 public:
  static constexpr const char kName[] = "trace_helper";

  // Writes `message` (UTF-8, no prefix) when `level`, taken as unsigned, passes
  // the trace level. Always 0.
  std::uint32_t trace(const platform::wstring& message, std::int32_t& level);

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {
    node_interop::helpers::bindMethod(holder, "trace", &TraceHelper::trace);
  }
};

}  // namespace installer
