// The pool's limit of 20 and its exceptions are tested through the add-on
// (tests/js/async.test.js), and so is an idle pool's prompt end; here what
// script cannot reach: many producer threads, and the tasks that wait when
// the pool goes.
#include "install/installer_ornel/interop_helpers/thread_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "gate.h"

namespace {

using interop_test::eventually;
using interop_test::Gate;
using node_interop::helpers::ThreadPool;
using namespace std::chrono_literals;

// Long enough for a wrongly started extra task to show up.
constexpr auto kSettle = 150ms;

TEST(ThreadPool, RunsEveryTaskQueuedFromManyThreadsExactlyOnce) {
  constexpr int kThreads = 8;
  constexpr int kTasksPerThread = 250;
  auto runs = std::make_shared<std::vector<std::atomic<int>>>(kThreads * kTasksPerThread);
  ThreadPool pool;
  std::vector<std::thread> producers;
  for (int t = 0; t < kThreads; ++t) {
    producers.emplace_back([&pool, runs, t] {
      for (int i = 0; i < kTasksPerThread; ++i) {
        int id = t * kTasksPerThread + i;
        pool.enqueue([runs, id] { (*runs)[id]++; });
      }
    });
  }
  for (auto& producer : producers) producer.join();
  ASSERT_TRUE(eventually([&] { return pool.recordCount() == 0; }, 60s));
  for (size_t id = 0; id < runs->size(); ++id) EXPECT_EQ((*runs)[id].load(), 1) << "task " << id;
}

// Running tasks outlive the pool safely and finish later; waiting ones are
// dropped unrun.
TEST(ThreadPool, IsDestroyedAtOnceWithTasksStillRunning) {
  auto gate = std::make_shared<Gate>();
  auto start = std::chrono::steady_clock::now();
  {
    ThreadPool pool;
    for (int i = 0; i < 25; ++i) pool.enqueue([gate] { gate->pass(); });
    ASSERT_TRUE(gate->waitStarted(20));
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  gate->open(25);
  ASSERT_TRUE(gate->waitFinished(20));
  std::this_thread::sleep_for(kSettle);
  EXPECT_EQ(gate->started(), 20);
}

}  // namespace
