// The wake-up channel into the host thread, the one thread that runs the
// host's event loop and may touch script values.
//
// One channel per loop, opened on the host thread: a single long-lived
// uv_async_t and a locked queue of jobs. Any thread posts a job; the host
// thread runs it on its next wake-up. libuv merges wake-ups of one handle,
// so every wake-up drains the whole queue, and a post sends a wake-up only
// when none is on its way since the host last drained.
//
// Only the host thread initialises, references and closes the handle: libuv
// allows nothing but uv_async_send from other threads. Workers hold the
// channel by shared ownership, and send only under the lock and only while
// the channel is open, so a worker that comes late never touches a closed
// handle or freed state.
//
// Jobs run in the order they were posted.
//
// The handle is unreferenced while idle, so an open channel alone does not
// keep the loop (and the process) alive; hold() and release() do, for work
// whose result must still be delivered.
//
// No script engine in here: the script side builds on it (script_host.h).
#pragma once

#include <uv.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "install/installer_ornel/interop_helpers/exception_manager.h"

namespace node_interop::helpers {

// Work for the host thread. A job that is dropped without running (its
// channel closed first) is destroyed without run(); its destructor is where
// it lets its waiters go. Destructors may run on any thread.
class HostJob {
 public:
  HostJob() = default;
  virtual ~HostJob() = default;
  HostJob(const HostJob&) = delete;
  HostJob& operator=(const HostJob&) = delete;

  virtual void run() = 0;  // host thread
};

// The texts of the channel's failures.
std::string wakeUpSendError(int code);   // "Failed to send wake up event with error <code>"
std::string wakeUpInitError(int code);   // "Failed to initialize async loop with error <code>"
inline constexpr const char kNoLoopError[] = "Failed to initialize default loop";

class HostChannel : public std::enable_shared_from_this<HostChannel> {
 public:
  // Host thread: the thread that runs `loop`. Throws std::runtime_error with
  // kNoLoopError for a null loop and wakeUpInitError(code) when the handle
  // cannot be initialised.
  static std::shared_ptr<HostChannel> open(uv_loop_t* loop);

  ~HostChannel();
  HostChannel(const HostChannel&) = delete;
  HostChannel& operator=(const HostChannel&) = delete;

  // Any thread. Queues the job for the host thread. Throws std::runtime_error
  // with wakeUpSendError(code) when the wake-up cannot be sent, and with
  // wakeUpSendError(UV_ECANCELED) once the channel is closed; the job is
  // then destroyed unrun before post returns.
  void post(std::unique_ptr<HostJob> job);

  // Any thread. As post, but a failed wake-up leaves the job queued for the
  // next wake-up that succeeds. False (and the job destroyed unrun) only
  // when the channel is closed.
  bool tryPost(std::unique_ptr<HostJob> job);

  // Host thread. While holds outnumber releases the handle keeps the loop
  // alive.
  void hold();
  void release();

  // Host thread. Refuses further posts, destroys the queued jobs unrun and
  // closes the handle. The channel is freed once the close has completed and
  // the last worker has let go of it.
  void close();

  bool onHostThread() const { return std::this_thread::get_id() == hostThread_; }
  bool closed() const;
  uv_loop_t* loop() const { return loop_; }

  // Exceptions that escaped a job's run().
  std::shared_ptr<ExceptionManager> exceptions() const { return exceptions_; }

  // Test hooks. The next `count` wake-ups fail with `code` as if libuv had
  // returned it; the next open() fails its initialisation with `code`.
  void failWakeUps(int count, int code);
  static void failNextOpen(int code);

 private:
  explicit HostChannel(uv_loop_t* loop);
  static void onWakeUp(uv_async_t* handle);
  static void onClosed(uv_handle_t* handle);
  void drain();
  // Lock held. Sends the wake-up unless one is on its way already.
  int signal();
  // Queues the job; returns the wake-up's error, or UV_ECANCELED when
  // closed. With `keepOnError` false a failed job is handed back in `job`.
  int enqueue(std::unique_ptr<HostJob>& job, bool keepOnError);

  uv_loop_t* const loop_;
  const std::thread::id hostThread_;
  uv_async_t handle_{};

  // Guards queue_, signalled_, closed_ and every uv_async_send on handle_.
  mutable std::mutex lock_;
  std::deque<std::unique_ptr<HostJob>> queue_;
  bool signalled_ = false;  // a wake-up was sent and the host has not drained since
  bool closed_ = false;

  int holds_ = 0;                         // host thread only
  std::shared_ptr<HostChannel> self_;     // keeps the handle's memory until its close completed
  std::shared_ptr<ExceptionManager> exceptions_ = std::make_shared<ExceptionManager>();

  std::atomic<int> failingWakeUps_{0};
  std::atomic<int> wakeUpFault_{0};
};

// A job made of a callable, for the simple cases.
template <typename Fn>
class HostFunctionJob final : public HostJob {
 public:
  explicit HostFunctionJob(Fn fn) : fn_(std::move(fn)) {}
  void run() override { fn_(); }

 private:
  Fn fn_;
};

template <typename Fn>
std::unique_ptr<HostJob> makeHostJob(Fn fn) {
  return std::make_unique<HostFunctionJob<Fn>>(std::move(fn));
}

/*
 * The rendezvous of a worker that must wait until the host thread has taken
 * its call over. The host side calls taken(); a job destroyed unrun calls
 * abandoned(). Whichever comes first decides; wait() returns for taken and
 * throws for abandoned.
 */
class PickUp {
 public:
  PickUp() = default;
  PickUp(const PickUp&) = delete;
  PickUp& operator=(const PickUp&) = delete;

  void taken() { settle(State::kTaken); }
  void abandoned() { settle(State::kAbandoned); }
  // Worker thread. Throws std::runtime_error(wakeUpSendError(UV_ECANCELED))
  // when the call was abandoned.
  void wait();

 private:
  enum class State { kWaiting, kTaken, kAbandoned };
  void settle(State state);

  std::mutex waitLock_;
  std::condition_variable pickedUpCondition_;
  State state_ = State::kWaiting;
};

// Keeps a loop alive while it exists; may be dropped on any thread (the
// release then travels to the host thread as a job). Made on the host
// thread.
class LoopKeepAlive {
 public:
  explicit LoopKeepAlive(std::shared_ptr<HostChannel> channel);
  ~LoopKeepAlive();
  LoopKeepAlive(const LoopKeepAlive&) = delete;
  LoopKeepAlive& operator=(const LoopKeepAlive&) = delete;

 private:
  std::shared_ptr<HostChannel> channel_;
};

}  // namespace node_interop::helpers
