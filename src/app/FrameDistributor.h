#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "runtime/Data.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Hands every frame to all links and keeps the last one: nothing is captured while nothing changes, so that a link
/// which had no room for the last picture of a burst would show an outdated one for as long as the desktop rests.
/// Works on the queue on which the frames are made, so that no earlier frame ever follows a later one.
class FrameDistributor : public std::enable_shared_from_this<FrameDistributor> {
 public:
  /// Offers a frame to one link, on the frames' queue; whether the link has taken it.
  using Link = std::function<bool(const Data& frame)>;

  FrameDistributor(const std::shared_ptr<Queue>& queue, std::vector<Link> links);

  /// On the frames' queue.
  void distribute(const Data& frame);

  /// A link that refused a frame has room again: it gets the last one, if it lacks that, once the picture rests. While
  /// the picture moves, the next frame serves it sooner. From any thread.
  void linkHasRoom();

  /// There is a phone that may have seen nothing yet: every link gets the last frame. From any thread.
  void showAgain();

 private:
  struct Receiver {
    Link link;
    bool hasLast = false;
  };

  void deliverLast();

  const std::weak_ptr<Queue> queue_;  // its last owner must not be on its own thread
  std::vector<Receiver> receivers_;
  Data last_;  // empty until there is one
};

}  // namespace tandemview
