// The process-wide tracer. Each case runs in a child process, so that it
// sees the tracer's first creation and its end at process exit.
#include <dirent.h>
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
#include "platform/emulated/machine/machine_paths.h"

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
  std::u16string logsDirectory() const { return emulated::toWindowsPath(hostPath("Logs")); }
  static std::vector<std::string> filesIn(const std::string& directory) {
    std::vector<std::string> names;
    DIR* dir = ::opendir(directory.c_str());
    while (dirent* entry = dir ? ::readdir(dir) : nullptr) {
      if (entry->d_name[0] != '.') names.push_back(entry->d_name);
    }
    if (dir) ::closedir(dir);
    return names;
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

TEST_F(ProcessTracer, TracerClosedIsTheLastLineWhenTheProcessExitsWithTracingOn) {
  const std::u16string logs = logsDirectory();
  EXPECT_EQ(inChild([&] {
              auto tracer = getTracer();
              tracer->setLogDirectory(logs);
              if (tracer->openLogFile() != 0) return 1;
              INSTALLER_TRACE_SERVICE(700) << "Application run";
              INSTALLER_TRACE(800) << "filtered out";
              return 0;
            }),
            0);
  // The name holds the child's minute of creation: take the one file there.
  std::vector<std::string> names = filesIn(hostPath("Logs"));
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0].find("tolv_installer_"), 0u) << names[0];
  EXPECT_EQ(traceLines(hostPath("Logs/" + names[0])),
            (std::vector<std::string>{"bl\tApplication run", "tracer closed"}));
}

}  // namespace
