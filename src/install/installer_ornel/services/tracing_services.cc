// The three services over the process-wide tracer. They hold nothing: every
// call asks for the tracer.
#include "install/installer_ornel/services/debug_configuration.h"
#include "install/installer_ornel/services/trace_helper.h"
#include "install/installer_ornel/services/tracer_controller.h"
#include "install/tracing/tracer.h"

namespace installer {

using tracing::getTracer;

std::uint32_t TraceHelper::trace(const platform::wstring& message, std::int32_t& level) {
  return getTracer()->traceText(message, static_cast<std::uint32_t>(level));
}

std::uint32_t DebugConfiguration::isDebug(bool& debug) {
  debug = false;
  return 0;
}

std::uint32_t TracerController::turnOnTraces() { return getTracer()->openLogFile(); }

std::uint32_t TracerController::turnOffTraces() {
  getTracer()->closeLogFile();
  return 0;
}

std::uint32_t TracerController::setTraceLevel(std::uint32_t& level) {
  getTracer()->setTraceLevel(level);
  return 0;
}

std::uint32_t TracerController::getTraceState(bool& enabled, std::uint32_t& level) {
  auto tracer = getTracer();
  enabled = tracer->isLogFileOpen();
  level = tracer->traceLevel();
  return 0;
}

}  // namespace installer
