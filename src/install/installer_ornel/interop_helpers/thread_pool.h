// The bounded launcher that runs the native half of asynchronous method
// calls.
//
// Every queued task gets a record and, once a slot is free, a thread of its
// own that runs that one task and ends; no thread is kept idle. At most
// kMaxThreads task threads run at a time, later tasks wait in the queue.
//
// The common case costs no hand-over: a task queued while a slot is free
// starts on the queueing thread at once, and a task that ends with nobody
// waiting removes its own record. Only the queue needs a manager: when a
// task ends while others wait, it wakes the manager thread, which starts
// the waiting tasks in queueing order.
//
// The pool knows nothing of the script engine or the event loop, so it can
// be used and tested on its own.
//
// Process exit. Task threads are detached, and exit() does not wait for
// them: while it runs the static destructors, they go on with their task,
// possibly blocked inside Windows Installer for as long as it takes. No
// ordering at exit can wait for such a thread, so instead nothing that a
// task thread can reach is ever destroyed: the process-wide pool, the
// keepers of asynchronous calls, the host channel, the shared product
// information with its locks, the default package's name, the tracer and
// the emulated machine's handle tables are all made on the heap on first
// use and never freed. Static destruction then finds nothing of the
// add-on to destroy, and the threads end with the process. The one object
// destroyed at exit, the tracer's shutdown guard, only closes the trace
// file under the tracer's lock; later lines are dropped.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "install/installer_ornel/interop_helpers/exception_manager.h"

namespace node_interop::helpers {

class ThreadPool {
 public:
  static constexpr size_t kMaxThreads = 20;

  // The process-wide pool, made on first use and never destroyed (see
  // "Process exit" above).
  static ThreadPool& instance();

  ThreadPool();
  // Returns at once even with tasks still running: their threads are
  // detached and keep what they use (see Shared). Tasks still waiting for a
  // slot are dropped unrun.
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  // Any thread. Queues a copy of `task` and, when a slot is free, starts its
  // thread at once; blocks only for the lock, never for a thread's start.
  void enqueue(const std::function<void()>& task);

  // Every exception that left a task (or a dispatch step) ends up here.
  std::shared_ptr<ExceptionManager> exceptionManager() const { return shared_->exceptions; }

  // Records of tasks that wait or run.
  size_t recordCount() const;

 private:
  // One queued task: waiting until started, then running until its thread
  // removes the record. Threads are detached when they start: nothing waits
  // for a thread's teardown.
  struct Thread {
    explicit Thread(const std::function<void()>& task) : task(task) {}
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    bool started = false;
    std::function<void()> task;  // moved to its thread when it starts
  };

  // What task threads touch besides their own task. Held by shared
  // ownership, so a task thread still running when the pool is destroyed
  // keeps it alive.
  struct Shared {
    std::mutex lock;                // guards everything below
    std::condition_variable wake;   // the manager waits on it under lock
    bool pending = false;           // there is something for the manager to do
    bool closed = false;            // the pool is gone: start nothing more
    std::vector<std::shared_ptr<Thread>> records;  // in queueing order
    size_t running = 0;             // records whose thread runs
    std::shared_ptr<ExceptionManager> exceptions = std::make_shared<ExceptionManager>();

    // A record given a slot, with its task, to be started outside the lock.
    struct Launch {
      const Thread* record;
      std::function<void()> task;
    };

    // Lock held. Gives free slots to waiting records in queueing order.
    std::vector<Launch> claim();
    // Lock not held. Starts one detached thread per launch. A thread that
    // cannot be made gives its slot back, leaves its record waiting and wakes
    // the manager to retry; the failure goes to `exceptions`.
    // Returns false when a thread could not be made.
    static bool launch(const std::shared_ptr<Shared>& self, std::vector<Launch> launches);
    // Lock not held. Undoes the claim of a launch that could not start.
    void giveBack(Launch launch);
    // Lock held. Removes a record whose task is over and frees its slot.
    void finish(const Thread* record);
  };

  void manage();
  static void execute(const std::shared_ptr<Shared>& shared, const Thread* record,
                      std::function<void()>& task);

  std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
  std::atomic<bool> stop_{false};
  std::thread manager_;
};

}  // namespace node_interop::helpers
