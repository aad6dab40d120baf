// Collects the exceptions that leave tasks on worker threads. Nothing reads
// them back: a failed asynchronous call simply never calls its callback,
// and the captured exception lives until the pool that owns the manager.
#pragma once

#include <exception>
#include <mutex>
#include <vector>

namespace node_interop::helpers {

class ExceptionManager {
 public:
  ExceptionManager() = default;
  ExceptionManager(const ExceptionManager&) = delete;
  ExceptionManager& operator=(const ExceptionManager&) = delete;

  // Any thread. The mutex only serialises appends.
  void add(std::exception_ptr exception) {
    std::lock_guard<std::mutex> lock(mutex_);
    exceptions_.push_back(std::move(exception));
  }

  size_t size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return exceptions_.size();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::exception_ptr> exceptions_;
};

}  // namespace node_interop::helpers
