// The process-wide tracer, created once however many threads race to it.
// The case runs in a child process, so that it sees the first creation. The
// tracer's last line at process exit is tested end to end by
// tests/js/tracing.test.js.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

#include "install/tracing/trace_site.h"
#include "install/tracing/tracer.h"
#include "machine_fixture.h"

namespace {

using installer::tracing::existingTracer;
using installer::tracing::getTracer;

class ProcessTracer : public tracing_test::MachineTest {
 protected:
  // Runs `body` in a child that ends through exit(), so static destructors
  // run; the child's exit status is body's result.
  static int inChild(const std::function<int()>& body) {
    pid_t child = ::fork();
    if (child == 0) std::exit(body());
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + WTERMSIG(status);
  }
};

TEST_F(ProcessTracer, IsCreatedOnceWhenThreadsRaceToIt) {
  EXPECT_EQ(inChild([] {
              if (existingTracer() != nullptr) return 1;
              std::atomic<bool> go{false};
              std::vector<installer::tracing::Tracer*> seen(8);
              std::vector<std::thread> threads;
              for (size_t i = 0; i < seen.size(); ++i) {
                threads.emplace_back([&, i] {
                  while (!go.load()) {
                  }
                  seen[i] = getTracer().get();
                });
              }
              go = true;
              for (std::thread& t : threads) t.join();
              for (auto* tracer : seen) {
                if (tracer == nullptr || tracer != seen[0]) return 2;
              }
              if (existingTracer().get() != seen[0] || &installer::tracing::siteTracer() != seen[0]) return 3;
              return 0;
            }),
            0);
}

}  // namespace
