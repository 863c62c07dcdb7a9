#pragma once

#include <poll.h>

#include <atomic>
#include <deque>
#include <limits>
#include <mutex>
#include <set>
#include <vector>

#include "runtime/MediaClock.h"
#include "runtime/Queue.h"
#include "runtime/WallClock.h"

namespace tandemview {

/// A queue on virtual time, driven by the test on one thread: a 2-second retry costs nothing. Descriptors are real:
/// waiting for them costs only what the kernel needs. It refuses what SerialQueue refuses, and more: a descriptor that
/// is closed while it is watched ends the test.
class ManualQueue final : public Queue {
 public:
  static std::shared_ptr<ManualQueue> make() { return std::make_shared<ManualQueue>(); }

  /// The one call that other threads may make.
  void async(Work work) override {
    ++workCount_;
    push(std::move(work));
  }
  void after(double seconds, Work work) override { timers_.emplace(now_ + seconds, std::move(work)); }
  Result<std::unique_ptr<DescriptorWatch>> watch(int descriptor) override;

  /// How many descriptors can be watched at a time, as a system has its bound.
  void setMostWatched(std::size_t count) { mostWatched_ = count; }

  /// Seconds of virtual time.
  double now() const { return now_; }

  /// Runs everything that can run without time passing: queued works and descriptors that are ready.
  void drain();

  /// Lets virtual time pass, running each timer at its moment and everything that follows from it.
  void advance(double seconds);

  /// Drains until the condition holds, waiting for descriptors for at most 5 real seconds. Virtual time stands still.
  bool drainUntil(const std::function<bool()>& condition);

  /// The same while virtual time runs, ten seconds with each look at the condition.
  bool advanceUntil(const std::function<bool()>& condition) {
    return drainUntil([&] {
      advance(10);
      return condition();
    });
  }

  /// How many works async() has taken so far.
  int workCount() const { return workCount_; }

 private:
  class Watch;
  struct Waits;
  struct Wait {
    int descriptor;
    short events;
    std::weak_ptr<Waits> of;
    bool Waits::*kind;
    Work work;
  };

  void push(Work work) {
    const std::lock_guard lock(mutex_);
    works_.push_back(std::move(work));
  }
  Work nextWork();
  bool runReadyDescriptors(int milliseconds);

  double now_ = 0;
  std::mutex mutex_;  // guards the works
  std::deque<Work> works_;
  std::atomic<int> workCount_ = 0;
  std::multimap<double, Work> timers_;
  std::set<int> watched_;
  std::size_t mostWatched_ = std::numeric_limits<std::size_t>::max();
  std::vector<Wait> waits_;
};

/// A media clock that follows a manual queue, ahead by `offset` seconds.
class ManualClock final : public MediaClock {
 public:
  explicit ManualClock(std::shared_ptr<const ManualQueue> queue, double offset = 1000)
      : queue_(std::move(queue)), offset_(offset) {}
  double now() const override { return queue_->now() + offset_; }

 private:
  std::shared_ptr<const ManualQueue> queue_;
  double offset_;
};

/// A time of day that follows a manual queue.
class ManualWallClock final : public WallClock {
 public:
  explicit ManualWallClock(std::shared_ptr<const ManualQueue> queue) : queue_(std::move(queue)) {}
  double now() const override { return queue_->now() + 1'700'000'000; }

 private:
  std::shared_ptr<const ManualQueue> queue_;
};

}  // namespace tandemview
