#include "install/installer_ornel/interop_helpers/host_channel.h"

#include <stdexcept>
#include <utility>

namespace node_interop::helpers {

namespace {

std::atomic<int> nextOpenFault{0};

}  // namespace

std::string wakeUpSendError(int code) {
  return "Failed to send wake up event with error " + std::to_string(code);
}

std::string wakeUpInitError(int code) {
  return "Failed to initialize async loop with error " + std::to_string(code);
}

HostChannel::HostChannel(uv_loop_t* loop) : loop_(loop), hostThread_(std::this_thread::get_id()) {}

HostChannel::~HostChannel() = default;

// The channel stays closed (and never touches the handle) when the
// initialisation fails.
std::shared_ptr<HostChannel> HostChannel::open(uv_loop_t* loop) {
  if (loop == nullptr) throw std::runtime_error(kNoLoopError);
  std::shared_ptr<HostChannel> channel(new HostChannel(loop));
  int code = nextOpenFault.exchange(0);
  if (code == 0) code = uv_async_init(loop, &channel->handle_, &HostChannel::onWakeUp);
  if (code != 0) {
    channel->closed_ = true;
    throw std::runtime_error(wakeUpInitError(code));
  }
  channel->handle_.data = channel.get();
  uv_unref(reinterpret_cast<uv_handle_t*>(&channel->handle_));
  channel->self_ = channel;
  return channel;
}

/*
 * Posting. The job is queued and, unless a wake-up is on its way, one is
 * sent, both under the lock. The host clears `signalled_` when it swaps the
 * whole queue out under the same lock, so every queued job is either in
 * the batch of a wake-up already sent or sends its own. A failed send
 * leaves `signalled_` clear, so the next post tries again.
 *
 * A rejected job is destroyed after the lock is released: its destructor
 * may post a job of its own.
 */
void HostChannel::post(std::unique_ptr<HostJob> job) {
  int error = enqueue(job, false);
  if (error == 0) return;
  job.reset();
  throw std::runtime_error(wakeUpSendError(error));
}

bool HostChannel::tryPost(std::unique_ptr<HostJob> job) {
  return enqueue(job, true) != UV_ECANCELED;
}

int HostChannel::enqueue(std::unique_ptr<HostJob>& job, bool keepOnError) {
  std::lock_guard<std::mutex> lock(lock_);
  if (closed_) return UV_ECANCELED;
  int error = signal();
  if (error == 0 || keepOnError) queue_.push_back(std::move(job));
  return error;
}

int HostChannel::signal() {
  if (signalled_) return 0;
  int failing = failingWakeUps_.load();
  int error = failing > 0 ? wakeUpFault_.load() : uv_async_send(&handle_);
  if (failing > 0) failingWakeUps_ = failing - 1;
  if (error == 0) signalled_ = true;
  return error;
}

void HostChannel::onWakeUp(uv_async_t* handle) { static_cast<HostChannel*>(handle->data)->drain(); }

// Host thread. Jobs run outside the lock, so a job may post again (its
// wake-up then comes as a new event). One job's exception does not keep
// the others from running.
void HostChannel::drain() {
  std::deque<std::unique_ptr<HostJob>> jobs;
  {
    std::lock_guard<std::mutex> lock(lock_);
    jobs.swap(queue_);
    signalled_ = false;
  }
  for (auto& job : jobs) {
    try {
      job->run();
    } catch (...) {
      exceptions_->add(std::current_exception());
    }
    job.reset();
  }
}

void HostChannel::hold() {
  if (holds_++ == 0 && !closed()) uv_ref(reinterpret_cast<uv_handle_t*>(&handle_));
}

void HostChannel::release() {
  if (--holds_ == 0 && !closed()) uv_unref(reinterpret_cast<uv_handle_t*>(&handle_));
}

bool HostChannel::closed() const {
  std::lock_guard<std::mutex> lock(lock_);
  return closed_;
}

/*
 * Closing. Once closed_ is set under the lock no worker sends any more, and
 * every send that came before has finished, so uv_close may follow. The
 * self-reference keeps the handle's memory until libuv reports the close.
 */
void HostChannel::close() {
  std::deque<std::unique_ptr<HostJob>> dropped;
  {
    std::lock_guard<std::mutex> lock(lock_);
    if (closed_) return;
    closed_ = true;
    dropped.swap(queue_);
  }
  dropped.clear();
  uv_close(reinterpret_cast<uv_handle_t*>(&handle_), &HostChannel::onClosed);
}

void HostChannel::onClosed(uv_handle_t* handle) {
  auto* channel = static_cast<HostChannel*>(handle->data);
  std::shared_ptr<HostChannel> last = std::move(channel->self_);
}

void HostChannel::failWakeUps(int count, int code) {
  std::lock_guard<std::mutex> lock(lock_);
  wakeUpFault_ = code;
  failingWakeUps_ = count;
}

void HostChannel::failNextOpen(int code) { nextOpenFault = code; }

void PickUp::settle(State state) {
  {
    std::lock_guard<std::mutex> lock(waitLock_);
    if (state_ != State::kWaiting) return;
    state_ = state;
  }
  pickedUpCondition_.notify_all();
}

void PickUp::wait() {
  std::unique_lock<std::mutex> lock(waitLock_);
  pickedUpCondition_.wait(lock, [this] { return state_ != State::kWaiting; });
  if (state_ == State::kAbandoned) throw std::runtime_error(wakeUpSendError(UV_ECANCELED));
}

LoopKeepAlive::LoopKeepAlive(std::shared_ptr<HostChannel> channel) : channel_(std::move(channel)) {
  channel_->hold();
}

LoopKeepAlive::~LoopKeepAlive() {
  if (channel_->onHostThread()) {
    channel_->release();
    return;
  }
  try {
    channel_->post(makeHostJob([channel = channel_] { channel->release(); }));
  } catch (const std::exception&) {
    // Closed: the handle no longer keeps the loop alive anyway.
  }
}

}  // namespace node_interop::helpers
