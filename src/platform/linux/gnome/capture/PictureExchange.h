#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/linux/gnome/capture/PictureMemory.h"

namespace tandemview {

/// Where the pictures of one stream wait to be taken: only the newest, and only if it differs from the one taken before
/// it. From any thread. Copying a picture keeps whoever takes one waiting for about a millisecond, and never the other
/// way round.
class PictureExchange : public std::enable_shared_from_this<PictureExchange> {
 public:
  /// `mostLent`: how many pictures may be with their takers at a time.
  PictureExchange(std::int32_t width, std::int32_t height, int mostLent);

  bool fits(const PicturePixels& picture) const { return picture.width == width_ && picture.height == height_; }

  /// Copies a picture that fits. Whether there is one to take now.
  bool put(const PicturePixels& picture);

  /// Whether take() would give one.
  bool hasNews() const;

  /// The newest picture. Null if nothing has changed, or too many are lent: then the next that comes back is told of.
  std::shared_ptr<PixelBuffer> take();

  /// Calls `returned` on any thread whenever a picture has come back; null: never again, once this returns.
  void onReturn(std::function<void()> returned);

 private:
  struct Slot {
    std::unique_ptr<PictureMemory> picture;
    bool isLent = false;
  };

  Slot* freeSlot();
  bool isTakeable() const { return newest_ && lent_ < mostLent_; }
  void takeBack(Slot& slot);

  const std::int32_t width_;
  const std::int32_t height_;
  const int mostLent_;

  mutable std::mutex mutex_;  // guards what follows
  std::vector<Slot> slots_;
  Slot* taken_ = nullptr;   // the last one: what the next is compared with
  Slot* newest_ = nullptr;  // differs from it
  int lent_ = 0;
  std::function<void()> returned_;
};

}  // namespace tandemview
