// What one install message costs the thread that runs Windows Installer:
// a progress report through the add-on's external UI handler (decoding
// into the setup manager's progress state) and the setup service's message
// callback (the latest progress kept under its lock, the cancellation
// read), against a bare function call that takes and releases a lock of
// the same kind. Target: at most 2x. Prints the ratio after the table.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <future>
#include <mutex>
#include <string>
#include <thread>

#include "bench_support.h"
#include "install/msi/msi_setup_manager.h"

namespace {

using namespace installer::msi_wrapper;

LatestProgress latest;

std::int32_t keepLatest(const InstallMessage& message) { return latest.accept(message); }

std::mutex bareLock;
int bareCount = 0;

__attribute__((noinline)) std::int32_t bareCall(UINT type) {
  std::lock_guard<std::mutex> guard(bareLock);
  bareCount += static_cast<int>(type & 1);
  return IDOK;
}

void BareLockedCall(benchmark::State& state) {
  UINT type = INSTALLMESSAGE_PROGRESS;
  for (auto _ : state) {
    benchmark::DoNotOptimize(type);
    benchmark::DoNotOptimize(bareCall(type));
  }
}

void ProgressMessage(benchmark::State& state) {
  auto manager = createMsiSetupManager(keepLatest, u"", u"bench.msi", {});
  installUiHandler(nullptr, INSTALLMESSAGE_ACTIONSTART, u"Action 9:05:03: InstallFiles. Copying new files");
  installUiHandler(nullptr, INSTALLMESSAGE_PROGRESS, u"1: 0 2: 100000000 3: 0 4: 0 ");
  for (auto _ : state) {
    benchmark::DoNotOptimize(installUiHandler(nullptr, INSTALLMESSAGE_PROGRESS, u"1: 2 2: 1 "));
  }
}

// The machine is shared: the two sides take turns, round after round, and
// the ratio compares each side's best round.
void registerRounds() {
  for (int round = 1; round <= 5; ++round) {
    const std::string suffix = "/round:" + std::to_string(round);
    benchmark::RegisterBenchmark(("BareLockedCall" + suffix).c_str(), BareLockedCall);
    benchmark::RegisterBenchmark(("ProgressMessage" + suffix).c_str(), ProgressMessage);
  }
}

}  // namespace

int main(int argc, char** argv) {
  registerRounds();
  benchmark::Initialize(&argc, argv);
  // The handler runs in a process of many threads, where taking a lock is
  // an atomic operation; the C library skips that while there is one thread.
  std::promise<void> done;
  std::thread other([finished = done.get_future()] { finished.wait(); });
  bench::BestRoundReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  done.set_value();
  other.join();
  const double bare = reporter.seconds["BareLockedCall"] * 1e9;
  const double message = reporter.seconds["ProgressMessage"] * 1e9;
  std::printf("\ninstall message: %.2f ns vs bare locked call %.2f ns, ratio: %.2f (target <= 2)\n", message, bare,
              message / bare);
  benchmark::Shutdown();
  return 0;
}
