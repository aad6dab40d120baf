// Test tasks that block until the test lets them through.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace interop_test {

using namespace std::chrono_literals;

class Gate {
 public:
  // Called by a task: counts it as started, blocks until a pass is free.
  void pass() {
    std::unique_lock<std::mutex> lock(mutex_);
    ++started_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return passes_ > 0; });
    --passes_;
    ++finished_;
    changed_.notify_all();
  }

  void open(int passes) {
    std::lock_guard<std::mutex> lock(mutex_);
    passes_ += passes;
    changed_.notify_all();
  }

  // Waits (up to `timeout`) until started() reaches `count`.
  bool waitStarted(int count, std::chrono::milliseconds timeout = 10s) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return started_ >= count; });
  }
  bool waitFinished(int count, std::chrono::milliseconds timeout = 10s) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return finished_ >= count; });
  }

  int started() {
    std::lock_guard<std::mutex> lock(mutex_);
    return started_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int started_ = 0;
  int finished_ = 0;
  int passes_ = 0;
};

// Polls `condition` until it holds or `timeout` passes.
template <typename Condition>
bool eventually(Condition condition, std::chrono::milliseconds timeout = 10s) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(1ms);
  }
  return true;
}

}  // namespace interop_test
