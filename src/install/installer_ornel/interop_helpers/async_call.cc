#include "install/installer_ornel/interop_helpers/async_call.h"

#include <algorithm>
#include <exception>

namespace node_interop::helpers {

AsyncCallBase::AsyncCallBase(ScriptHost& host, v8::Local<v8::Function> callback)
    : host_(host), callback_(host.isolate(), callback), asyncContext_(host.isolate(), "installer_ornel:call") {}

// The hold keeps the loop alive until the finish has run on the host.
void AsyncCallBase::start() {
  host_.channel()->hold();
  try {
    ThreadPool::instance().enqueue([self = shared_from_this()] { self->runOnWorker(); });
  } catch (...) {
    host_.channel()->release();
    abandon();
    throw;
  }
}

/*
 * Worker thread. The finish is posted whether the work succeeded or not:
 * the host must let the loop go and release the callback either way. A
 * failed wake-up keeps the finish queued for the next one. The exception is
 * passed on to the pool, which collects it.
 */
void AsyncCallBase::runOnWorker() {
  std::exception_ptr failure;
  try {
    work();
  } catch (...) {
    failure = std::current_exception();
  }
  bool succeeded = failure == nullptr;
  host_.channel()->tryPost(makeHostJob([self = shared_from_this(), succeeded] { self->finishOnHost(succeeded); }));
  if (failure) std::rethrow_exception(failure);
}

void AsyncCallBase::finishOnHost(bool succeeded) {
  if (done_) return;
  if (succeeded) deliver();
  releaseScript();
  done_ = true;
  host_.channel()->release();
}

// Host thread. A result that cannot be converted reaches the script as an
// uncaught Error with the conversion's message; the callback is not called.
void AsyncCallBase::deliver() {
  v8::Isolate* isolate = host_.isolate();
  v8::HandleScope scope(isolate);
  v8::Context::Scope contextScope(host_.context());
  v8::Local<v8::Value> argument;
  try {
    argument = result(isolate);
  } catch (const std::exception& e) {
    asyncContext_.raise(host_, v8::Exception::Error(utf8String(isolate, e.what())));
    return;
  }
  asyncContext_.call(host_, callback_.Get(isolate), argument);
}

void AsyncCallBase::releaseScript() {
  v8::HandleScope scope(host_.isolate());
  asyncContext_.dispose(host_.isolate());
  callback_.Reset();
}

void AsyncCallBase::abandon() {
  if (done_) return;
  releaseScript();
  done_ = true;
}

AsyncCallKeeperBase::AsyncCallKeeperBase() : sweeper_([this] { sweep(); }) {}

// The process-wide keepers are never destroyed; a keeper that is wakes its
// sweeper and joins it. Calls still running are kept alive by their pool
// tasks.
AsyncCallKeeperBase::~AsyncCallKeeperBase() {
  {
    std::lock_guard<std::mutex> lock(lock_);
    stop_ = true;
  }
  stopCondition_.notify_all();
  sweeper_.join();
}

size_t AsyncCallKeeperBase::size() const {
  std::lock_guard<std::mutex> lock(lock_);
  return calls_.size();
}

void AsyncCallKeeperBase::add(ScriptHost& host, std::shared_ptr<AsyncCallBase> call) {
  if (!teardownRegistered_) {
    host.atTeardown([this] { abandonAll(); });
    teardownRegistered_ = true;
  }
  {
    std::lock_guard<std::mutex> lock(lock_);
    calls_.push_back(call);
  }
  call->start();
}

// Done calls are destroyed outside the lock; they hold no script handles
// any more, so any thread may destroy them.
void AsyncCallKeeperBase::sweep() {
  std::unique_lock<std::mutex> lock(lock_);
  while (!stop_) {
    stopCondition_.wait_for(lock, kSweepPeriod, [this] { return stop_.load(); });
    auto firstDone = std::stable_partition(calls_.begin(), calls_.end(),
                                           [](const auto& call) { return !call->done(); });
    std::vector<std::shared_ptr<AsyncCallBase>> removed(std::make_move_iterator(firstDone),
                                                        std::make_move_iterator(calls_.end()));
    calls_.erase(firstDone, calls_.end());
    lock.unlock();
    removed.clear();
    lock.lock();
  }
}

// Host thread, at teardown, while the engine lives.
void AsyncCallKeeperBase::abandonAll() {
  std::vector<std::shared_ptr<AsyncCallBase>> calls;
  {
    std::lock_guard<std::mutex> lock(lock_);
    calls = calls_;
  }
  for (auto& call : calls) call->abandon();
}

}  // namespace node_interop::helpers
