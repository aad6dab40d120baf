// Trace sites: the one way service code writes a trace line.
//
//   INSTALLER_TRACE_SERVICE(700) << "Application run";       // "bl\t" prefix
//   INSTALLER_TRACE(800) << commandLine;                      // no prefix
//   INSTALLER_TRACE_TO(tracer, 700) << "bl\t" << code;         // a given tracer
//
// When the level does not pass, a site costs one load of the level and one
// comparison: the operands after << are not evaluated and nothing is
// allocated. Otherwise the line is built in a 512-byte record and written
// with its time stamp at the end of the statement. Each macro is one
// statement and is safe under an unbraced if/else.
#pragma once

#include <cstdint>

#include "install/tracing/trace_line_stream.h"
#include "install/tracing/trace_record.h"
#include "install/tracing/tracer.h"

namespace installer::tracing {

// The prefix of every line of the service code: "b", "l", a tab.
inline constexpr char kServicePrefix[] = "bl\t";

// The process-wide tracer, looked up once per process. The reference stays
// valid until the process ends: the process-wide tracer is never freed.
inline Tracer& siteTracer() {
  static Tracer& tracer = *getTracer();
  return tracer;
}

// A trace site's tracer and level, each evaluated once.
struct TraceSite {
  Tracer& tracer;
  std::uint32_t level;
  bool passes() const noexcept { return tracer.passes(level); }
};

// One line being built; written when the object is destroyed.
class TraceLine {
 public:
  TraceLine(Tracer& tracer, std::uint32_t level) noexcept : record_(tracer, level), stream_(record_) {}
  explicit TraceLine(const TraceSite& site) noexcept : TraceLine(site.tracer, site.level) {}
  ~TraceLine() { record_.write(stream_.length()); }
  TraceLine(const TraceLine&) = delete;
  TraceLine& operator=(const TraceLine&) = delete;

  TraceLineStream& stream() noexcept { return stream_; }

 private:
  TraceRecord record_;
  TraceLineStream stream_;
};

}  // namespace installer::tracing

#define INSTALLER_TRACE_TO(tracer, level)                                                          \
  if (const ::installer::tracing::TraceSite installer_trace_site_{(tracer), (level)};            \
      !installer_trace_site_.passes()) {                                                          \
  } else                                                                                          \
    ::installer::tracing::TraceLine(installer_trace_site_).stream()

#define INSTALLER_TRACE(level) INSTALLER_TRACE_TO(::installer::tracing::siteTracer(), level)

#define INSTALLER_TRACE_SERVICE(level) INSTALLER_TRACE(level) << ::installer::tracing::kServicePrefix
