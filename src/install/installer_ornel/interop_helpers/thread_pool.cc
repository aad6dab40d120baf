#include "install/installer_ornel/interop_helpers/thread_pool.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <system_error>

namespace node_interop::helpers {

namespace {

// After a failed dispatch (a thread could not be made) the manager retries
// after this pause instead of spinning on an exhausted system.
constexpr std::chrono::milliseconds kRetryPause{10};

}  // namespace

ThreadPool& ThreadPool::instance() {
  static ThreadPool pool;
  return pool;
}

ThreadPool::ThreadPool() : manager_([this] { manage(); }) {}

/*
 * Destruction. The manager is stopped and joined first, so nothing starts
 * or removes records any more. Then, under the lock:
 *  - a finished record's thread has already let go of the lock (it holds it
 *    from the end of its task until it has exited), so joining it only waits
 *    for its last notification and is short;
 *  - a running record's thread has not taken the lock yet; `closed` tells it
 *    not to notify anyone, and it is detached. It keeps Shared alive through
 *    its own reference, and its task through its own copy.
 */
ThreadPool::~ThreadPool() {
  stop_ = true;
  {
    std::lock_guard<std::mutex> lock(shared_->lock);
    shared_->pending = true;
  }
  shared_->wake.notify_all();
  manager_.join();
  closeRecords();
}

void ThreadPool::closeRecords() {
  std::lock_guard<std::mutex> lock(shared_->lock);
  shared_->closed = true;
  for (auto& record : records_) {
    if (record->waiting()) continue;
    if (record->finished()) {
      record->thread->join();
    } else {
      record->thread->detach();
    }
  }
  records_.clear();
}

void ThreadPool::enqueue(const std::function<void()>& task) {
  auto record = std::make_shared<Thread>(task);
  {
    std::lock_guard<std::mutex> lock(shared_->lock);
    records_.push_back(std::move(record));
    shared_->pending = true;
  }
  shared_->wake.notify_all();
}

size_t ThreadPool::recordCount() const {
  std::lock_guard<std::mutex> lock(shared_->lock);
  return records_.size();
}

void ThreadPool::manage() {
  while (!stop_) {
    std::unique_lock<std::mutex> lock(shared_->lock);
    shared_->wake.wait(lock, [this] { return shared_->pending; });
    try {
      dispatch();
      shared_->pending = false;
    } catch (const std::exception&) {
      // pending stays set: the next pass dispatches again after a pause.
      shared_->exceptions->add(std::current_exception());
      shared_->wake.wait_for(lock, kRetryPause, [this] { return stop_.load(); });
    }
  }
}

// Lock held. Cleans up, then fills the free slots in queueing order.
void ThreadPool::dispatch() {
  removeFinished();
  size_t running = std::count_if(records_.begin(), records_.end(),
                                 [](const auto& record) { return !record->waiting(); });
  for (auto& record : records_) {
    if (running >= kMaxThreads) break;
    if (!record->waiting()) continue;
    record->start(shared_);
    ++running;
  }
}

// Lock held. A finished thread has released the lock already (see the
// destructor), so the join is short and releases the thread's handle.
void ThreadPool::removeFinished() {
  auto finished = std::stable_partition(records_.begin(), records_.end(),
                                        [](const auto& record) { return !record->finished(); });
  for (auto it = finished; it != records_.end(); ++it) (*it)->thread->join();
  records_.erase(finished, records_.end());
}

bool ThreadPool::Thread::finished() const {
  return thread != nullptr &&
         done->wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

// The thread gets the task itself and a reference to Shared: nothing it
// uses belongs to the record, which the pool may drop at any time.
void ThreadPool::Thread::start(const std::shared_ptr<Shared>& shared) {
  if (thread != nullptr) throw std::runtime_error("Already initialized");
  std::packaged_task<void()> packaged([shared, task = task]() mutable { execute(shared, task); });
  auto future = std::make_unique<std::future<void>>(packaged.get_future());
  thread = std::make_unique<std::thread>(std::move(packaged));
  done = std::move(future);
  task = nullptr;
}

/*
 * Runs on the task's own thread. After the task, the thread takes the lock
 * and keeps it until it has completely ended: notify_all_at_thread_exit
 * releases it and wakes the manager only then. By that time the packaged
 * task has returned and `done` is ready, so the manager's next dispatch
 * sees this record finished, removes it and reuses its slot at once.
 */
void ThreadPool::execute(const std::shared_ptr<Shared>& shared, std::function<void()>& task) {
  try {
    task();
  } catch (...) {
    // Any exception: the task counts as done either way, so its slot and
    // record are released as after a normal end.
    shared->exceptions->add(std::current_exception());
  }
  task = nullptr;
  try {
    std::unique_lock<std::mutex> lock(shared->lock);
    shared->pending = true;
    if (shared->closed) return;
    std::notify_all_at_thread_exit(shared->wake, std::move(lock));
  } catch (const std::system_error&) {
    shared->exceptions->add(std::current_exception());
  }
}

}  // namespace node_interop::helpers
