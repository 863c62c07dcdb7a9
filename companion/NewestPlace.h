#pragma once

#include <mutex>
#include <utility>

namespace tandemview {

/// A place for one thing on its way to another thread. A newer one takes the place of what has not been fetched: what
/// is fetched is always the newest. Both sides swap, so that buffers go round.
template <typename Value>
class NewestPlace {
 public:
  /// True if nothing else was waiting: the other thread has to be called.
  bool put(Value& value) {
    const std::scoped_lock lock(mutex_);
    std::swap(value_, value);
    return !std::exchange(isNew_, true);
  }

  /// False, and `value` stays as it is: there is nothing new.
  bool take(Value& value) {
    const std::scoped_lock lock(mutex_);
    if (!std::exchange(isNew_, false)) return false;
    std::swap(value_, value);
    return true;
  }

 private:
  std::mutex mutex_;
  bool isNew_ = false;
  Value value_{};
};

}  // namespace tandemview
