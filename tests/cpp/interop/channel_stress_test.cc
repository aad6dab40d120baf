// Many asynchronous results and blocking host calls at once, the way the
// add-on uses the pool and the channel. Meant to run clean under
// ThreadSanitizer as well (INSTALLER_ORNEL_TSAN).
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "install/installer_ornel/interop_helpers/host_channel.h"
#include "install/installer_ornel/interop_helpers/thread_pool.h"

namespace {

using node_interop::helpers::HostChannel;
using node_interop::helpers::HostJob;
using node_interop::helpers::makeHostJob;
using node_interop::helpers::PickUp;
using node_interop::helpers::ThreadPool;

constexpr int kAsyncCalls = 3000;
constexpr int kWorkers = 8;
constexpr int kCallsPerWorker = 1000;
constexpr int kReceivers = 4;

// What the host thread sees of one receiver. Host thread only, except for
// the call lock, which proves that no two calls overlap.
struct Receiver {
  std::mutex callLock;
  std::vector<int> lastCall = std::vector<int>(kWorkers, -1);
  int calls = 0;
  int outOfOrder = 0;
  int overlaps = 0;
};

// A blocking host call: the host releases the worker, then "calls the
// script" under the receiver's call lock.
class StressCall : public HostJob {
 public:
  StressCall(Receiver& receiver, int worker, int call, std::shared_ptr<PickUp> pickUp)
      : receiver_(receiver), worker_(worker), call_(call), pickUp_(std::move(pickUp)) {}
  ~StressCall() override { pickUp_->abandoned(); }
  void run() override {
    pickUp_->taken();
    std::unique_lock<std::mutex> lock(receiver_.callLock, std::try_to_lock);
    if (!lock.owns_lock()) ++receiver_.overlaps;
    if (receiver_.lastCall[worker_] >= call_) ++receiver_.outOfOrder;
    receiver_.lastCall[worker_] = call_;
    ++receiver_.calls;
  }

 private:
  Receiver& receiver_;
  int worker_;
  int call_;
  std::shared_ptr<PickUp> pickUp_;
};

TEST(ChannelStress, AsyncResultsAndHostCallsAllArriveExactlyOnce) {
  uv_loop_t loop;
  ASSERT_EQ(uv_loop_init(&loop), 0);
  auto channel = HostChannel::open(&loop);
  std::vector<Receiver> receivers(kReceivers);
  std::vector<int> results(kAsyncCalls, 0);  // host thread only
  int finished = 0;                          // host thread only
  const int expected = kAsyncCalls + kWorkers;

  // Every pool task and every worker ends with one "finished" job; the
  // last one lets the loop go.
  const auto host = std::this_thread::get_id();
  int offHost = 0;  // host thread only, if the channel is right
  auto finish = [&] {
    if (std::this_thread::get_id() != host) ++offHost;
    if (++finished == expected) channel->release();
  };
  channel->hold();
  {
    ThreadPool pool;
    for (int id = 0; id < kAsyncCalls; ++id) {
      pool.enqueue([&, channel, id] {
        int value = id * 2;  // the "method"
        channel->tryPost(makeHostJob([&, id, value] {
          results[id] += value;
          finish();
        }));
      });
    }
    std::vector<std::thread> workers;
    for (int w = 0; w < kWorkers; ++w) {
      workers.emplace_back([&, channel, w] {
        for (int call = 0; call < kCallsPerWorker; ++call) {
          auto pickUp = std::make_shared<PickUp>();
          channel->post(std::make_unique<StressCall>(receivers[(w + call) % kReceivers], w, call, pickUp));
          pickUp->wait();
        }
        channel->post(makeHostJob(finish));
      });
    }
    uv_run(&loop, UV_RUN_DEFAULT);
    for (auto& worker : workers) worker.join();
  }

  EXPECT_EQ(finished, expected);
  EXPECT_EQ(offHost, 0);
  for (int id = 0; id < kAsyncCalls; ++id) ASSERT_EQ(results[id], id * 2) << "call " << id;
  // Each worker's calls go to the receivers in turn; each receiver sees
  // them in the order the worker made them.
  int delivered = 0;
  for (auto& receiver : receivers) {
    EXPECT_EQ(receiver.overlaps, 0);
    EXPECT_EQ(receiver.outOfOrder, 0);
    delivered += receiver.calls;
  }
  EXPECT_EQ(delivered, kWorkers * kCallsPerWorker);
  EXPECT_EQ(channel->exceptions()->size(), 0u);

  channel->close();
  EXPECT_EQ(uv_run(&loop, UV_RUN_DEFAULT), 0);
  EXPECT_EQ(uv_loop_close(&loop), 0);
}

}  // namespace
