#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "runtime/Queue.h"

namespace tandemview {

/// Tells when no picture has come for a while. Used on one queue; at rest nothing runs, and while pictures come, a few
/// looks a second.
class RestWatch : public std::enable_shared_from_this<RestWatch> {
 public:
  RestWatch(const std::shared_ptr<Queue>& queue, std::function<void()> onRest)
      : queue_(queue), onRest_(std::move(onRest)) {}

  void pictureCame();

 private:
  void lookLater();

  const std::weak_ptr<Queue> queue_;  // its last owner must not be on its own thread
  const std::function<void()> onRest_;
  std::uint64_t pictures_ = 0;
  bool isLooking_ = false;
};

}  // namespace tandemview
