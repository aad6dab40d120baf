// What tracing costs the code that traces, against baselines measured in
// the same run:
//   - a trace site whose level does not pass, against a plain load and
//     compare of a level word (the least such a site can cost);
//   - a line written to the trace file, against fwrite plus fflush of the
//     same bytes to a file in the same directory.
// Prints both ratios after the benchmark table.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>

#include "install/tracing/trace_site.h"
#include "install/tracing/tracer.h"

namespace {

using installer::tracing::getTracer;

std::atomic<std::uint32_t> baselineLevel{700};

void ComparisonBaseline(benchmark::State& state) {
  std::uint32_t siteLevel = 800;
  for (auto _ : state) {
    benchmark::DoNotOptimize(siteLevel);
    bool passes = siteLevel <= baselineLevel.load(std::memory_order_relaxed);
    benchmark::DoNotOptimize(passes);
  }
}
BENCHMARK(ComparisonBaseline)->Repetitions(5)->ReportAggregatesOnly(true);

void FilteredTraceSite(benchmark::State& state) {
  std::uint32_t siteLevel = 800;
  std::uint32_t code = 1603;
  for (auto _ : state) {
    benchmark::DoNotOptimize(siteLevel);
    INSTALLER_TRACE_SERVICE(siteLevel) << "Install failed: " << code;
  }
}
BENCHMARK(FilteredTraceSite)->Repetitions(5)->ReportAggregatesOnly(true);

// The bytes of one traced line of WrittenLine, time stamp and CR LF included.
const char kLine[] = "20:19:07\tbl\tApplication run 12345\r\n";

void RawFwriteFflush(benchmark::State& state) {
  FILE* file = std::fopen("raw.log", "ab");
  if (file == nullptr) {
    state.SkipWithError("cannot open raw.log");
    return;
  }
  for (auto _ : state) {
    std::fwrite(kLine, 1, sizeof kLine - 1, file);
    std::fflush(file);
  }
  std::fclose(file);
}
BENCHMARK(RawFwriteFflush)->Repetitions(5)->ReportAggregatesOnly(true);

void WrittenLine(benchmark::State& state) {
  auto tracer = getTracer();
  if (tracer->openLogFile() != 0) {
    state.SkipWithError("cannot open the trace file");
    return;
  }
  std::uint32_t value = 12345;
  for (auto _ : state) {
    INSTALLER_TRACE_SERVICE(700) << "Application run " << value;
  }
  tracer->closeLogFile();
}
BENCHMARK(WrittenLine)->Repetitions(5)->ReportAggregatesOnly(true);

// Keeps each benchmark's time per iteration while printing the table: the
// median of the repetitions where there are some, since file writes on a
// shared machine are noisy.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      const bool single = run.run_type == Run::RT_Iteration && run.repetitions <= 1;
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (single || median) nanoseconds[run.run_name.function_name] = run.GetAdjustedRealTime();
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> nanoseconds;
};

void printRatio(const std::map<std::string, double>& ns, const char* label, const std::string& measured,
                const std::string& baseline, bool baselineOverMeasured) {
  auto m = ns.find(measured), b = ns.find(baseline);
  if (m == ns.end() || b == ns.end() || m->second <= 0 || b->second <= 0) return;
  const double ratio = baselineOverMeasured ? b->second / m->second : m->second / b->second;
  std::printf("%s: %.2f ns vs %.2f ns, ratio: %.2f\n", label, m->second, b->second, ratio);
}

}  // namespace

int main(int argc, char** argv) {
  // A scratch machine and working directory: the trace file gets its bare
  // name, so it lands next to raw.log.
  char pattern[] = "/tmp/ornel-bench-XXXXXX";
  if (::mkdtemp(pattern) == nullptr) return 1;
  const std::string scratch = pattern;
  ::setenv("INSTALLER_ORNEL_MACHINE", scratch.c_str(), 1);
  if (::chdir(scratch.c_str()) != 0) return 1;

  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  std::printf("\n");
  printRatio(reporter.nanoseconds, "filtered trace site / load-and-compare", "FilteredTraceSite",
             "ComparisonBaseline", false);
  printRatio(reporter.nanoseconds, "written line, speed relative to fwrite+fflush (target >= 0.8)", "WrittenLine",
             "RawFwriteFflush", true);
  std::error_code ignored;
  std::filesystem::remove_all(scratch, ignored);
  return 0;
}
