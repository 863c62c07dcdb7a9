#pragma once

#include <cstdint>
#include <utility>

namespace tandemview {

/// A phone that pings but never reads must not fill our memory with answers.
inline constexpr int maxPendingPongs = 64;

/// The frames of a sender's link that are on their way. The sender guards it: frames come from any thread.
class PendingSends {
 public:
  /// Counts one more. False: too many are on their way, and this one is refused.
  bool add() {
    if (count_ < most) {
      ++count_;
      return true;
    }
    hasRefused_ = true;
    return false;
  }

  /// One that was sent over the link of this number is done. True: another was refused meanwhile and there is room now.
  bool remove(std::uint64_t link) {
    if (link != link_) return false;
    --count_;
    return std::exchange(hasRefused_, false);
  }

  /// From now on another link counts, or none: what an earlier one still has on its way doesn't.
  void startAnew() {
    ++link_;
    count_ = 0;
  }

  /// The number of the link that counts; no two have the same.
  std::uint64_t link() const { return link_; }

 private:
  /// More frames in flight would only be older when they arrive.
  static constexpr int most = 3;

  int count_ = 0;
  bool hasRefused_ = false;  // since there was room last
  std::uint64_t link_ = 0;
};

}  // namespace tandemview
