#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "fakes/ManualQueue.h"
#include "runtime/SerialQueue.h"

namespace tandemview {

/// A queue and who serves it, so that one test runs on the fake and on the program's own.
class QueueDriver {
 public:
  virtual ~QueueDriver() = default;

  virtual const std::shared_ptr<Queue>& queue() const = 0;

  /// Runs `work` on the queue and returns when it is done.
  virtual void perform(const Work& work) = 0;

  /// Serves the queue until the condition, which is asked there, holds; for at most 5 real seconds.
  virtual bool waitUntil(const std::function<bool()>& condition) = 0;
};

/// The test's own thread serves it.
class ManualQueueDriver final : public QueueDriver {
 public:
  const std::shared_ptr<Queue>& queue() const override { return queue_; }
  void perform(const Work& work) override { work(); }
  bool waitUntil(const std::function<bool()>& condition) override { return manual_->drainUntil(condition); }

 private:
  const std::shared_ptr<ManualQueue> manual_ = ManualQueue::make();
  const std::shared_ptr<Queue> queue_ = manual_;
};

/// Other threads serve it, until `end`.
class ThreadedQueueDriver final : public QueueDriver {
 public:
  ThreadedQueueDriver(std::shared_ptr<Queue> queue, Work end) : queue_(std::move(queue)), end_(std::move(end)) {}
  ~ThreadedQueueDriver() override { end_(); }

  const std::shared_ptr<Queue>& queue() const override { return queue_; }
  void perform(const Work& work) override {
    std::promise<void> isDone;
    queue_->async([&] {
      work();
      isDone.set_value();
    });
    isDone.get_future().wait();
  }
  bool waitUntil(const std::function<bool()>& condition) override {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    bool holds = false;
    while (true) {
      perform([&] { holds = condition(); });
      if (holds || std::chrono::steady_clock::now() > deadline) return holds;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

 private:
  const std::shared_ptr<Queue> queue_;
  const Work end_;
};

/// The parameter of a test that runs on each of them.
using MakeQueueDriver = std::shared_ptr<QueueDriver> (*)();

inline std::shared_ptr<QueueDriver> makeManualQueueDriver() {
  return std::make_shared<ManualQueueDriver>();
}
/// A thread of its own serves it.
inline std::shared_ptr<QueueDriver> makeSerialQueueDriver() {
  const auto queue = SerialQueue::withThread("test");
  return std::make_shared<ThreadedQueueDriver>(queue, [queue] { queue->stopAndJoin(); });
}

#ifdef __APPLE__
/// On Grand Central Dispatch, which serves the program's queues there.
std::shared_ptr<QueueDriver> makeDispatchQueueDriver();

inline const auto everyQueue =
    testing::Values(&makeManualQueueDriver, &makeSerialQueueDriver, &makeDispatchQueueDriver);
#else
inline const auto everyQueue = testing::Values(&makeManualQueueDriver, &makeSerialQueueDriver);
#endif

inline std::string nameOfQueue(const testing::TestParamInfo<MakeQueueDriver>& parameter) {
  if (parameter.param == &makeManualQueueDriver) return "Manual";
  return parameter.param == &makeSerialQueueDriver ? "Serial" : "Dispatch";
}

}  // namespace tandemview
