#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include "fakes/ManualQueue.h"
#include "runtime/NotificationCenter.h"
#include "runtime/SerialQueue.h"
#include "runtime/Timer.h"

namespace tandemview {
namespace {

TEST(SerialQueueTest, RunsWorksFromManyThreadsOneAtATime) {
  const auto queue = SerialQueue::withThread("test");
  int count = 0;  // unguarded: the queue is the guard
  std::mutex mutex;
  std::condition_variable done;
  bool isDone = false;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < 1000; ++turn) queue->async([&] { ++count; });
    });
  }
  for (std::thread& thread : threads) thread.join();
  queue->after(0.001, [&] {
    queue->async([&] {
      const std::lock_guard lock(mutex);
      isDone = true;
      done.notify_one();
    });
  });
  std::unique_lock lock(mutex);
  ASSERT_TRUE(done.wait_for(lock, std::chrono::seconds(10), [&] { return isDone; }));
  EXPECT_EQ(count, 4000);
}

TEST(TimerTest, RepeatsUntilInvalidatedEvenByItself) {
  const auto queue = ManualQueue::make();
  int ticks = 0;
  std::shared_ptr<Timer> timer;
  timer = Timer::repeating(queue, 2.0, [&] {
    if (++ticks == 3) timer->invalidate();
  });
  queue->advance(1.9);
  EXPECT_EQ(ticks, 0);
  queue->advance(2.2);
  EXPECT_EQ(ticks, 2);
  queue->advance(100);
  EXPECT_EQ(ticks, 3);
}

TEST(NotificationCenterTest, ObserversMayRemoveEachOtherWhileTheyAreTold) {
  NotificationCenter center;
  std::vector<std::string> calls;
  NotificationCenter::Token second = 0;
  const NotificationCenter::Token first = center.addObserver("name", &center, [&](const std::any&) {
    calls.push_back("first");
    center.removeObserver(second);
  });
  second = center.addObserver("name", &center, [&](const std::any&) { calls.push_back("second"); });
  center.addObserver("name", nullptr, [&](const std::any&) { calls.push_back("other object"); });
  center.post("name", &center, {});
  center.removeObserver(first);
  center.post("name", &center, {});
  EXPECT_EQ(calls, std::vector<std::string>{"first"});
}

}  // namespace
}  // namespace tandemview
