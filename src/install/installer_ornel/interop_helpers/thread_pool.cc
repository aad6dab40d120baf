#include "install/installer_ornel/interop_helpers/thread_pool.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace node_interop::helpers {

namespace {

// After a failed start (a thread could not be made) the manager retries
// after this pause instead of spinning on an exhausted system.
constexpr std::chrono::milliseconds kRetryPause{10};

}  // namespace

ThreadPool& ThreadPool::instance() {
  static ThreadPool* const pool = new ThreadPool;
  return *pool;
}

ThreadPool::ThreadPool() : manager_([this] { manage(); }) {}

/*
 * Destruction (of a pool other than the process-wide one) returns at once.
 * The manager is stopped and joined; `closed` then tells running task
 * threads that nothing waits for them. They are detached already and keep
 * Shared alive through their own reference, and their task through their
 * own copy. Waiting records are dropped unrun.
 */
ThreadPool::~ThreadPool() {
  stop_ = true;
  {
    std::lock_guard<std::mutex> lock(shared_->lock);
    shared_->pending = true;
  }
  shared_->wake.notify_all();
  manager_.join();
  std::lock_guard<std::mutex> lock(shared_->lock);
  shared_->closed = true;
  shared_->records.clear();
}

/*
 * The record is queued and, when a slot is free, started right here, so the
 * common case needs no hand-over to the manager. Threads are made after the
 * lock is released: making one takes long enough that ending tasks would
 * otherwise queue up behind it for the lock.
 */
void ThreadPool::enqueue(const std::function<void()>& task) {
  auto record = std::make_shared<Thread>(task);
  std::vector<Shared::Launch> launches;
  {
    std::lock_guard<std::mutex> lock(shared_->lock);
    shared_->records.push_back(std::move(record));
    launches = shared_->claim();
  }
  Shared::launch(shared_, std::move(launches));
}

size_t ThreadPool::recordCount() const {
  std::lock_guard<std::mutex> lock(shared_->lock);
  return shared_->records.size();
}

// Starts waiting records when a task's end has freed a slot for them, and
// retries starts that failed, after a pause.
void ThreadPool::manage() {
  std::unique_lock<std::mutex> lock(shared_->lock);
  while (!stop_) {
    shared_->wake.wait(lock, [this] { return shared_->pending; });
    if (stop_) break;
    shared_->pending = false;
    std::vector<Shared::Launch> launches = shared_->claim();
    lock.unlock();
    bool failed = !Shared::launch(shared_, std::move(launches));
    lock.lock();
    if (failed) shared_->wake.wait_for(lock, kRetryPause, [this] { return stop_.load(); });
  }
}

std::vector<ThreadPool::Shared::Launch> ThreadPool::Shared::claim() {
  std::vector<Launch> launches;
  for (auto& record : records) {
    if (running >= kMaxThreads || closed) break;
    if (record->started) continue;
    record->started = true;
    launches.push_back({record.get(), std::move(record->task)});
    ++running;
  }
  return launches;
}

bool ThreadPool::Shared::launch(const std::shared_ptr<Shared>& self, std::vector<Launch> launches) {
  bool allStarted = true;
  for (Launch& launch : launches) {
    try {
      std::thread([self, record = launch.record, task = launch.task]() mutable {
        execute(self, record, task);
      }).detach();
    } catch (const std::exception&) {
      self->exceptions->add(std::current_exception());
      self->giveBack(std::move(launch));
      allStarted = false;
    }
  }
  return allStarted;
}

void ThreadPool::Shared::giveBack(Launch launch) {
  {
    std::lock_guard<std::mutex> lock(this->lock);
    auto it = std::find_if(records.begin(), records.end(),
                           [&launch](const auto& r) { return r.get() == launch.record; });
    if (it == records.end()) return;  // dropped by the pool's destruction
    (*it)->started = false;
    (*it)->task = std::move(launch.task);
    --running;
    pending = true;
  }
  wake.notify_all();
}

void ThreadPool::Shared::finish(const Thread* record) {
  auto it = std::find_if(records.begin(), records.end(),
                         [record](const auto& r) { return r.get() == record; });
  if (it == records.end()) return;  // dropped by the pool's destruction
  records.erase(it);
  --running;
}

/*
 * Runs on the task's own thread. `record` only names the record: the thread
 * removes it under the lock, and touches nothing else of it. When tasks
 * wait for the freed slot, the manager is woken to start them.
 */
void ThreadPool::execute(const std::shared_ptr<Shared>& shared, const Thread* record,
                         std::function<void()>& task) {
  try {
    task();
  } catch (...) {
    // Any exception: the task counts as done either way, so its slot and
    // record are released as after a normal end.
    shared->exceptions->add(std::current_exception());
  }
  task = nullptr;
  bool othersWait;
  {
    std::lock_guard<std::mutex> lock(shared->lock);
    shared->finish(record);
    othersWait = !shared->closed && shared->records.size() > shared->running;
    if (othersWait) shared->pending = true;
  }
  if (othersWait) shared->wake.notify_all();
}

}  // namespace node_interop::helpers
