// The `tracer_controller` service: file tracing on and off, and the trace
// level. All state is the process-wide tracer's.
#pragma once

#include <cstdint>

#include "install/installer_ornel/interop_helpers/binder.h"

namespace installer {

class TracerController {
 public:
  static constexpr const char kName[] = "tracer_controller";

  // Opens the trace file for appending: 0, or 0x8000004B when it cannot be
  // opened (tracing then stays off). While tracing is on, changes nothing.
  std::uint32_t turnOnTraces();
  std::uint32_t turnOffTraces();
  std::uint32_t setTraceLevel(std::uint32_t& level);
  // `enabled`: whether the trace file is open; `level`: the trace level.
  std::uint32_t getTraceState(bool& enabled, std::uint32_t& level);

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {
    using node_interop::helpers::bindMethod;
    bindMethod(holder, "turnOnTraces", &TracerController::turnOnTraces);
    bindMethod(holder, "turnOffTraces", &TracerController::turnOffTraces);
    bindMethod(holder, "setTraceLevel", &TracerController::setTraceLevel);
    bindMethod(holder, "getTraceState", &TracerController::getTraceState);
  }
};

}  // namespace installer
