// The process-wide tracer.
//
// It is created once, under std::call_once, by the first getTracer call of
// any thread. Its shared pointer is kept in storage that is never freed:
// trace sites cache a plain reference to the tracer, and threads of the
// add-on may still trace while the process runs its static destructors.
// Instead of being destroyed, the tracer is shut down at exit ("tracer
// closed", then the file is closed), after which lines are built and
// discarded, never written to freed memory.
#include <atomic>
#include <mutex>

#include "install/tracing/tracer.h"

namespace installer::tracing {

namespace {

std::once_flag created;
std::shared_ptr<Tracer>* instance = nullptr;  // set once, under `created`
std::atomic<bool> exists{false};

// A namespace-scope object is set up when the module loads, before any
// function-local singleton of the add-on, so its destructor runs after
// theirs: "tracer closed" comes after the lines they write while dying.
struct ShutDownAtExit {
  ~ShutDownAtExit() {
    if (exists.load(std::memory_order_acquire)) (*instance)->shutDown();
  }
} shutDownAtExit;

}  // namespace

std::shared_ptr<Tracer> getTracer() {
  std::call_once(created, [] {
    instance = new std::shared_ptr<Tracer>(std::make_shared<Tracer>());
    exists.store(true, std::memory_order_release);
  });
  return *instance;
}

std::shared_ptr<Tracer> existingTracer() noexcept {
  return exists.load(std::memory_order_acquire) ? *instance : nullptr;
}

}  // namespace installer::tracing
