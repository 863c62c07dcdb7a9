#include "platform/linux/AvahiQueuePoll.h"

#include <avahi-common/timeval.h>
#include <fcntl.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "runtime/Descriptor.h"

using tandemview::Descriptor;
using tandemview::DescriptorWatch;
using tandemview::Queue;

// The library leaves these two types to whoever provides the loop. Each object owns itself until the library frees it,
// which it may do within the object's own callback.

struct AvahiWatch : std::enable_shared_from_this<AvahiWatch> {
  void wait() {
    if (!queueWatch) return;
    if ((events & AVAHI_WATCH_IN) != 0 && !std::exchange(waitsForReadable, true)) {
      queueWatch->whenReadable([weak = weak_from_this()] {
        if (const auto watch = weak.lock()) watch->serve(watch->waitsForReadable);
      });
    }
    if ((events & AVAHI_WATCH_OUT) != 0 && !std::exchange(waitsForWritable, true)) {
      queueWatch->whenWritable([weak = weak_from_this()] {
        if (const auto watch = weak.lock()) watch->serve(watch->waitsForWritable);
      });
    }
  }

  /// Asks the system what has happened: the library wants to hear of errors and of nothing that it doesn't wait for.
  void serve(bool& waits) {
    waits = false;
    pollfd poll{.fd = descriptor, .events = static_cast<short>(events), .revents = 0};
    if (events != 0 && ::poll(&poll, 1, 0) > 0) {
      happened = static_cast<AvahiWatchEvent>(poll.revents);
      callback(this, descriptor, happened, userData);
      happened = {};
    }
    if (self) wait();
  }

  std::shared_ptr<AvahiWatch> self;
  int descriptor = -1;
  AvahiWatchEvent events{};
  AvahiWatchEvent happened{};
  AvahiWatchCallback callback = nullptr;
  void* userData = nullptr;
  Descriptor copy;  // the library watches one descriptor twice, and closes it while it is watched
  std::unique_ptr<DescriptorWatch> queueWatch;
  bool waitsForReadable = false;
  bool waitsForWritable = false;
};

struct AvahiTimeout : std::enable_shared_from_this<AvahiTimeout> {
  static constexpr AvahiUsec never = std::numeric_limits<AvahiUsec>::max();

  void set(const timeval* time) {
    deadline = time ? AvahiUsec{time->tv_sec} * 1'000'000 + time->tv_usec : never;
    wait();
  }

  /// A wait that is under way serves every later deadline too: however often it is put off, one timer is enough.
  void wait() {
    if (deadline >= wakeUp) return;
    wakeUp = deadline;
    const timeval time{.tv_sec = static_cast<time_t>(deadline / 1'000'000),
                       .tv_usec = static_cast<suseconds_t>(deadline % 1'000'000)};
    const double delay = std::max(0.0, -static_cast<double>(avahi_age(&time)) / 1e6);
    queue->after(delay, [weak = weak_from_this(), at = wakeUp] {
      if (const auto timeout = weak.lock()) timeout->serve(at);
    });
  }

  void serve(AvahiUsec at) {
    if (at != wakeUp) return;  // an earlier one has been set meanwhile
    wakeUp = never;
    if (deadline > at) return wait();
    deadline = never;
    callback(this, userData);
  }

  std::shared_ptr<AvahiTimeout> self;
  std::shared_ptr<Queue> queue;
  AvahiUsec deadline = never;  // microseconds of the wall clock
  AvahiUsec wakeUp = never;
  AvahiTimeoutCallback callback = nullptr;
  void* userData = nullptr;
};

namespace tandemview {

namespace {

AvahiWatch* newWatch(const AvahiPoll* poll, int descriptor, AvahiWatchEvent events, AvahiWatchCallback callback,
                     void* userData) {
  const auto watch = std::make_shared<AvahiWatch>();
  watch->self = watch;
  watch->descriptor = descriptor;
  watch->events = events;
  watch->callback = callback;
  watch->userData = userData;
  watch->copy = Descriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
  auto queueWatch = static_cast<Queue*>(poll->userdata)->watch(watch->copy.get());
  if (!queueWatch) {
    watch->self = nullptr;
    return nullptr;
  }
  watch->queueWatch = std::move(*queueWatch);
  watch->wait();
  return watch.get();
}

void updateWatch(AvahiWatch* watch, AvahiWatchEvent events) {
  watch->events = events;
  watch->wait();
}

void freeWatch(AvahiWatch* watch) {
  watch->queueWatch = nullptr;
  watch->self = nullptr;
}

AvahiTimeout* newTimeout(const AvahiPoll* poll, const timeval* time, AvahiTimeoutCallback callback, void* userData) {
  const auto timeout = std::make_shared<AvahiTimeout>();
  timeout->self = timeout;
  timeout->queue = static_cast<Queue*>(poll->userdata)->shared_from_this();
  timeout->callback = callback;
  timeout->userData = userData;
  timeout->set(time);
  return timeout.get();
}

}  // namespace

AvahiQueuePoll::AvahiQueuePoll(std::shared_ptr<Queue> queue)
    : queue_(std::move(queue)),
      poll_{.userdata = queue_.get(),
            .watch_new = newWatch,
            .watch_update = updateWatch,
            .watch_get_events = [](AvahiWatch* watch) { return watch->happened; },
            .watch_free = freeWatch,
            .timeout_new = newTimeout,
            .timeout_update = [](AvahiTimeout* timeout, const timeval* time) { timeout->set(time); },
            .timeout_free = [](AvahiTimeout* timeout) { timeout->self = nullptr; }} {}

}  // namespace tandemview
