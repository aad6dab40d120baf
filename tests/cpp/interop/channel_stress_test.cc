// Many asynchronous results and blocking host calls at once, the way the
// add-on uses the pool and the channel. Meant to run clean under
// ThreadSanitizer as well (INSTALLER_ORNEL_TSAN). The order of host calls
// per thread and their running one at a time are tested end to end in
// tests/js/async.test.js.
#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "install/installer_ornel/interop_helpers/host_channel.h"
#include "install/installer_ornel/interop_helpers/thread_pool.h"

namespace {

using node_interop::helpers::HostChannel;
using node_interop::helpers::makeHostJob;
using node_interop::helpers::PickUp;
using node_interop::helpers::ThreadPool;

constexpr int kAsyncCalls = 3000;
constexpr int kWorkers = 8;
constexpr int kCallsPerWorker = 1000;

// A blocking host call: the host counts it and releases the worker; a call
// that is dropped unrun releases it too.
struct HostCall : node_interop::helpers::HostJob {
  HostCall(std::shared_ptr<PickUp> pickUp, int& count) : pickUp(std::move(pickUp)), count(count) {}
  ~HostCall() override { pickUp->abandoned(); }
  void run() override {
    pickUp->taken();
    ++count;
  }
  std::shared_ptr<PickUp> pickUp;
  int& count;
};

TEST(ChannelStress, AsyncResultsAndHostCallsAllArriveExactlyOnceOnTheHostThread) {
  uv_loop_t loop;
  ASSERT_EQ(uv_loop_init(&loop), 0);
  auto channel = HostChannel::open(&loop);
  // Host thread only, if the channel is right.
  std::vector<int> results(kAsyncCalls, 0);
  std::vector<int> hostCalls(kWorkers, 0);
  int finished = 0;
  int offHost = 0;
  const auto host = std::this_thread::get_id();
  const int expected = kAsyncCalls + kWorkers;
  // Every pool task and every worker ends with one "finished" job; the
  // last one lets the loop go.
  auto finish = [&] {
    if (std::this_thread::get_id() != host) ++offHost;
    if (++finished == expected) channel->release();
  };
  channel->hold();
  {
    ThreadPool pool;
    for (int id = 0; id < kAsyncCalls; ++id) {
      pool.enqueue([&, channel, id] {
        channel->tryPost(makeHostJob([&, id] {
          results[id] += id * 2;
          finish();
        }));
      });
    }
    // Blocking host calls: each worker waits until the host took its call over.
    std::vector<std::thread> workers;
    for (int w = 0; w < kWorkers; ++w) {
      workers.emplace_back([&, channel, w] {
        for (int call = 0; call < kCallsPerWorker; ++call) {
          auto pickUp = std::make_shared<PickUp>();
          channel->post(std::make_unique<HostCall>(pickUp, hostCalls[w]));
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
  EXPECT_EQ(hostCalls, std::vector<int>(kWorkers, kCallsPerWorker));
  EXPECT_EQ(channel->exceptions()->size(), 0u);
  channel->close();
  EXPECT_EQ(uv_run(&loop, UV_RUN_DEFAULT), 0);
  EXPECT_EQ(uv_loop_close(&loop), 0);
}

}  // namespace
