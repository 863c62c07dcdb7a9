#include "fakes/ManualQueue.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "runtime/Assertion.h"

namespace tandemview {

/// What a watch waits for, until the work for it begins. It goes with the watch.
struct ManualQueue::Waits {
  bool toRead = false;
  bool toWrite = false;
};

class ManualQueue::Watch final : public DescriptorWatch {
 public:
  Watch(std::weak_ptr<ManualQueue> queue, int descriptor) : queue_(std::move(queue)), descriptor_(descriptor) {}
  ~Watch() override {
    waits_ = nullptr;
    const auto queue = queue_.lock();
    if (!queue) return;
    queue->watched_.erase(descriptor_);
    std::erase_if(queue->waits_, [](const Wait& wait) { return wait.of.expired(); });
  }
  void whenReadable(Work work) override { wait(POLLIN, &Waits::toRead, std::move(work)); }
  void whenWritable(Work work) override { wait(POLLOUT, &Waits::toWrite, std::move(work)); }

 private:
  void wait(short events, bool Waits::*kind, Work work) {
    require(!(waits_.get()->*kind), "one wait at a time");
    waits_.get()->*kind = true;
    if (const auto queue = queue_.lock()) {
      queue->waits_.push_back({descriptor_, events, waits_, kind, std::move(work)});
    }
  }

  std::weak_ptr<ManualQueue> queue_;
  int descriptor_;
  std::shared_ptr<Waits> waits_ = std::make_shared<Waits>();
};

Result<std::unique_ptr<DescriptorWatch>> ManualQueue::watch(int descriptor) {
  if (watched_.size() >= mostWatched_) return tl::unexpected(posixError(ENOSPC));
  if (!watched_.insert(descriptor).second) return tl::unexpected(posixError(EEXIST));
  return std::make_unique<Watch>(std::static_pointer_cast<ManualQueue>(shared_from_this()), descriptor);
}

/// Nothing if none waits.
Work ManualQueue::nextWork() {
  const std::lock_guard lock(mutex_);
  if (works_.empty()) return nullptr;
  Work work = std::move(works_.front());
  works_.pop_front();
  return work;
}

void ManualQueue::drain() {
  do {
    while (const Work work = nextWork()) work();
  } while (runReadyDescriptors(0));
}

void ManualQueue::advance(double seconds) {
  const double end = now_ + seconds;
  drain();
  while (!timers_.empty() && timers_.begin()->first <= end + 1e-9) {
    auto timer = timers_.extract(timers_.begin());
    now_ = std::max(now_, timer.key());
    timer.mapped()();
    drain();
  }
  now_ = end;
}

bool ManualQueue::drainUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  drain();
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    runReadyDescriptors(10);
    drain();
  }
  return true;
}

/// Queues the works of the waits whose descriptors are ready; true if there was one.
bool ManualQueue::runReadyDescriptors(int milliseconds) {
  std::vector<pollfd> polled;
  for (const Wait& wait : waits_) polled.push_back({wait.descriptor, wait.events, 0});
  if (::poll(polled.data(), polled.size(), milliseconds) <= 0) return false;
  std::vector<Wait> ready;
  for (std::size_t index = polled.size(); index-- > 0;) {
    require((polled[index].revents & POLLNVAL) == 0, "a descriptor stays open while it is watched");
    if (polled[index].revents == 0) continue;
    ready.push_back(std::move(waits_[index]));
    waits_.erase(waits_.begin() + static_cast<std::ptrdiff_t>(index));
  }
  for (Wait& wait : ready) {
    push([of = wait.of, kind = wait.kind, work = std::move(wait.work)] {
      const auto waits = of.lock();
      if (!waits) return;
      waits.get()->*kind = false;
      work();
    });
  }
  return !ready.empty();
}

}  // namespace tandemview
