// What the native benchmarks share: the machine is shared and noisy, so
// each side runs in rounds and the ratio compares each side's best round; a
// private machine root keeps a run out of the user's emulated machine; and
// the packages a benchmark generates are kept beside its binary, built once.
#pragma once

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include <map>
#include <string>
#include <vector>

namespace bench {

// Keeps each benchmark's best time per iteration (its name up to the first
// '/': the rounds of one benchmark share it) while printing the table.
class BestRoundReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const std::string name = run.benchmark_name();
      if (run.iterations == 0 || run.error_occurred) continue;
      const double time = run.real_accumulated_time / double(run.iterations);
      double& best = seconds[name.substr(0, name.find('/'))];
      if (best == 0 || time < best) best = time;
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> seconds;
};

// The emulated machine of this run, removed when the run ends.
class PrivateMachine {
 public:
  PrivateMachine() {
    if (::mkdtemp(root_) != nullptr) ::setenv("INSTALLER_ORNEL_MACHINE", root_, 1);
  }
  PrivateMachine(const PrivateMachine&) = delete;
  PrivateMachine& operator=(const PrivateMachine&) = delete;
  // 0 once the machine is gone.
  int remove() const { return std::system((std::string("rm -rf '") + root_ + "'").c_str()) == 0 ? 0 : 1; }

 private:
  char root_[32] = "/tmp/ornel-bench-machine-XXXXXX";
};

// The folder of the benchmark's binary (build/bench).
inline std::string binaryFolder() {
  char path[4096];
  const ssize_t n = ::readlink("/proc/self/exe", path, sizeof path - 1);
  const std::string binary = n > 0 ? std::string(path, size_t(n)) : "./bench";
  return binary.substr(0, binary.rfind('/'));
}

// The folder the generated packages live in, made if missing.
inline std::string generatedFolder() {
  const std::string folder = binaryFolder() + "/fixtures";
  ::mkdir(folder.c_str(), 0755);
  return folder;
}

// True when a generated package `path` was built by an earlier run.
inline bool alreadyBuilt(const std::string& path) {
  struct stat info;
  return ::stat(path.c_str(), &info) == 0;
}

}  // namespace bench
