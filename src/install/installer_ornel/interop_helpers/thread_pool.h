// The bounded launcher that runs the native half of asynchronous method
// calls.
//
// Every queued task gets a record and, once a slot is free, a thread of its
// own that runs that one task and ends; no thread is kept idle. At most
// kMaxThreads task threads run at a time, later tasks wait in the queue. One
// manager thread does all starting and cleaning up; it is woken whenever a
// task is queued and whenever a task thread has ended.
//
// The pool knows nothing of the script engine or the event loop, so it can
// be used and tested on its own.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "install/installer_ornel/interop_helpers/exception_manager.h"

namespace node_interop::helpers {

class ThreadPool {
 public:
  static constexpr size_t kMaxThreads = 20;

  // The process-wide pool, made on first use and destroyed at process exit.
  static ThreadPool& instance();

  ThreadPool();
  // Returns at once even with tasks still running: their threads are
  // detached and keep what they use (see Shared). Tasks still waiting for a
  // slot are dropped unrun.
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  // Any thread. Queues a copy of `task`; blocks only for the lock.
  void enqueue(const std::function<void()>& task);

  // Every exception that left a task (or a dispatch step) ends up here.
  std::shared_ptr<ExceptionManager> exceptionManager() const { return shared_->exceptions; }

  // Records not yet removed: waiting, running, and finished ones that the
  // manager has not cleaned up yet.
  size_t recordCount() const;

 private:
  // What task threads touch besides their own task. Held by shared
  // ownership, so a task thread still running when the pool is destroyed
  // keeps it alive.
  struct Shared {
    std::mutex lock;                 // guards records, pending and closed
    std::condition_variable wake;    // the manager waits on it under lock
    bool pending = false;            // there is something for the manager to do
    bool closed = false;             // the pool is gone; nobody waits for thread ends
    std::shared_ptr<ExceptionManager> exceptions = std::make_shared<ExceptionManager>();
  };

  // One queued task. States: waiting (no thread), running (thread, done not
  // ready), finished (thread, done ready).
  struct Thread {
    explicit Thread(const std::function<void()>& task) : task(task) {}
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    void start(const std::shared_ptr<Shared>& shared);
    bool waiting() const { return thread == nullptr; }
    bool finished() const;

    std::function<void()> task;           // moved to its thread by start()
    std::unique_ptr<std::thread> thread;  // set once started
    std::unique_ptr<std::future<void>> done;
  };

  void manage();
  void dispatch();
  void removeFinished();
  void closeRecords();
  static void execute(const std::shared_ptr<Shared>& shared, std::function<void()>& task);

  std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
  std::vector<std::shared_ptr<Thread>> records_;  // in queueing order; guarded by shared_->lock
  std::atomic<bool> stop_{false};
  std::thread manager_;
};

}  // namespace node_interop::helpers
