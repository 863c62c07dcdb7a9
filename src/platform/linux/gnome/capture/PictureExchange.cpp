#include "platform/linux/gnome/capture/PictureExchange.h"

#include <algorithm>
#include <utility>

namespace tandemview {

/// Beside those that are lent there are the last one taken and the newest, so that a slot is always free.
PictureExchange::PictureExchange(std::int32_t width, std::int32_t height, int mostLent)
    : width_(width), height_(height), mostLent_(mostLent), slots_(static_cast<std::size_t>(mostLent) + 2) {}

bool PictureExchange::put(const PicturePixels& picture) {
  const std::lock_guard lock(mutex_);
  if (!newest_) newest_ = freeSlot();
  newest_->picture->fill(picture, taken_ ? taken_->picture.get() : nullptr);
  if (newest_->picture->damage().empty()) newest_ = nullptr;
  return isTakeable();
}

bool PictureExchange::hasNews() const {
  const std::lock_guard lock(mutex_);
  return isTakeable();
}

std::shared_ptr<PixelBuffer> PictureExchange::take() {
  const std::lock_guard lock(mutex_);
  if (!isTakeable()) return nullptr;
  taken_ = std::exchange(newest_, nullptr);
  taken_->isLent = true;
  ++lent_;
  return {taken_->picture.get(), [self = shared_from_this(), slot = taken_](PixelBuffer*) { self->takeBack(*slot); }};
}

void PictureExchange::onReturn(std::function<void()> returned) {
  const std::lock_guard lock(mutex_);
  returned_ = std::move(returned);
}

PictureExchange::Slot* PictureExchange::freeSlot() {
  Slot& free = *std::ranges::find_if(slots_, [this](const Slot& slot) { return !slot.isLent && &slot != taken_; });
  if (!free.picture) free.picture = std::make_unique<PictureMemory>(width_, height_);
  return &free;
}

void PictureExchange::takeBack(Slot& slot) {
  const std::lock_guard lock(mutex_);
  slot.isLent = false;
  --lent_;
  if (returned_) returned_();
}

}  // namespace tandemview
