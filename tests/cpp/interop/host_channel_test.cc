#include "install/installer_ornel/interop_helpers/host_channel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "../support/throws.h"

namespace {

using node_interop::helpers::HostChannel;
using node_interop::helpers::HostJob;
using node_interop::helpers::LoopKeepAlive;
using node_interop::helpers::makeHostJob;
using node_interop::helpers::PickUp;
using test_support::messageOf;

// A job that counts its runs and its destruction.
class CountingJob : public HostJob {
 public:
  CountingJob(std::atomic<int>& runs, std::atomic<int>& destroyed) : runs_(runs), destroyed_(destroyed) {}
  ~CountingJob() override { ++destroyed_; }
  void run() override { ++runs_; }

 private:
  std::atomic<int>& runs_;
  std::atomic<int>& destroyed_;
};

// The test's own thread is the host thread: it owns the loop and runs it.
class Channel : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(uv_loop_init(&loop_), 0);
    channel_ = HostChannel::open(&loop_);
  }
  void TearDown() override {
    channel_->close();
    ASSERT_EQ(uv_run(&loop_, UV_RUN_DEFAULT), 0);
    EXPECT_EQ(uv_loop_close(&loop_), 0);
  }
  // Runs the loop on a worker's behalf: `worker` runs on its own thread while the loop is held; the loop ends
  // when the worker's last job has let go of it.
  void runWithWorker(const std::function<void()>& worker) {
    channel_->hold();
    std::thread thread([&] {
      worker();
      channel_->post(makeHostJob([this] { channel_->release(); }));
    });
    uv_run(&loop_, UV_RUN_DEFAULT);
    thread.join();
  }

  uv_loop_t loop_;
  std::shared_ptr<HostChannel> channel_;
};

// A job whose wake-up failed waits for the next wake-up instead of being lost; a post whose wake-up failed
// throws (its message is tested end to end, tests/js/async.test.js) and frees its job unrun.
TEST_F(Channel, AFailedWakeUpKeepsATryPostAndDropsAPost) {
  std::vector<int> order;
  std::atomic<int> runs{0}, destroyed{0};
  channel_->failWakeUps(2, UV_EINVAL);
  runWithWorker([&] {
    EXPECT_TRUE(channel_->tryPost(makeHostJob([&] { order.push_back(1); })));
    EXPECT_NE(messageOf([&] { channel_->post(std::make_unique<CountingJob>(runs, destroyed)); }), "<no exception>");
    EXPECT_EQ(destroyed, 1);
    channel_->post(makeHostJob([&] { order.push_back(2); }));
  });
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  EXPECT_EQ(runs, 0);
}

TEST_F(Channel, ClosingDropsQueuedJobsAndRefusesLaterOnes) {
  std::atomic<int> runs{0}, destroyed{0};
  channel_->post(std::make_unique<CountingJob>(runs, destroyed));
  auto pickUp = std::make_shared<PickUp>();
  struct AbandoningJob : HostJob {
    explicit AbandoningJob(std::shared_ptr<PickUp> p) : pickUp(std::move(p)) {}
    ~AbandoningJob() override { pickUp->abandoned(); }
    void run() override { pickUp->taken(); }
    std::shared_ptr<PickUp> pickUp;
  };
  channel_->post(std::make_unique<AbandoningJob>(pickUp));
  channel_->close();
  EXPECT_EQ(std::make_pair(runs.load(), destroyed.load()), std::make_pair(0, 1));
  const std::string cancelled = "Failed to send wake up event with error " + std::to_string(UV_ECANCELED);
  EXPECT_EQ(messageOf([&] { pickUp->wait(); }), cancelled);
  EXPECT_EQ(messageOf([&] { channel_->post(std::make_unique<CountingJob>(runs, destroyed)); }), cancelled);
  EXPECT_FALSE(channel_->tryPost(std::make_unique<CountingJob>(runs, destroyed)));
  EXPECT_EQ(destroyed, 3);
  EXPECT_TRUE(channel_->closed());
}

TEST_F(Channel, AWorkerWaitsUntilTheHostTookItsCallOver) {
  std::atomic<bool> returned{false};
  bool returnedBeforeTaken = true;
  runWithWorker([&] {
    auto pickUp = std::make_shared<PickUp>();
    channel_->post(makeHostJob([&, pickUp] {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      returnedBeforeTaken = returned;
      pickUp->taken();
    }));
    pickUp->wait();
    returned = true;
  });
  EXPECT_TRUE(returned && !returnedBeforeTaken);
}

TEST_F(Channel, AKeepAliveDroppedOnAWorkerLetsTheLoopGo) {
  auto keepAlive = std::make_unique<LoopKeepAlive>(channel_);
  std::thread worker([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    keepAlive.reset();
  });
  EXPECT_EQ(uv_run(&loop_, UV_RUN_DEFAULT), 0);
  worker.join();
  EXPECT_EQ(keepAlive, nullptr);
}

TEST(ChannelOpen, FailuresThrowTheirMessages) {
  EXPECT_EQ(messageOf([] { HostChannel::open(nullptr); }), "Failed to initialize default loop");
  uv_loop_t loop;
  ASSERT_EQ(uv_loop_init(&loop), 0);
  HostChannel::failNextOpen(UV_EMFILE);
  EXPECT_EQ(messageOf([&] { HostChannel::open(&loop); }),
            "Failed to initialize async loop with error " + std::to_string(UV_EMFILE));
  auto channel = HostChannel::open(&loop);
  channel->close();
  EXPECT_EQ(uv_run(&loop, UV_RUN_DEFAULT), 0);
  EXPECT_EQ(uv_loop_close(&loop), 0);
}

}  // namespace
