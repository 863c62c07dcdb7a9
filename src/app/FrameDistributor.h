#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "runtime/Data.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Hands every frame to all links and keeps the last one: nothing is captured while nothing changes, so that a link
/// which had no room for the last picture of a burst would show an outdated one for as long as the desktop rests.
/// Works on the queue on which the frames are made, so that no earlier frame ever follows a later one.
class FrameDistributor : public std::enable_shared_from_this<FrameDistributor> {
 public:
  /// One way to the phone, over which one link follows another. Used on the frames' queue.
  struct Way {
    /// Offers a frame; the number of the link that has taken it.
    std::function<std::optional<std::uint64_t>(const Data& frame)> send;
    /// The number of the link that stands now.
    std::function<std::optional<std::uint64_t>()> link;
  };

  FrameDistributor(const std::shared_ptr<Queue>& queue, std::vector<Way> ways);

  /// On the frames' queue.
  void distribute(const Data& frame);

  /// A link that refused a frame has room again: it gets the last one, if it lacks that, once the picture rests. While
  /// the picture moves, the next frame serves it sooner. From any thread.
  void linkHasRoom();

  /// A phone looks at a picture that may be at rest: a link that lacks the last frame gets it. From any thread.
  void phoneLooks();

 private:
  struct Receiver {
    Way way;
    std::optional<std::uint64_t> hasLast;  // the link that has taken the last frame
  };

  void deliverLastAfter(double delay);
  void deliverLast();

  const std::weak_ptr<Queue> queue_;  // its last owner must not be on its own thread
  std::vector<Receiver> receivers_;
  Data last_;  // empty until there is one
};

}  // namespace tandemview
