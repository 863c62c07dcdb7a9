#include "runtime/Queue.h"

namespace tandemview {

std::shared_ptr<void> Queue::specific(const void* key) const {
  const auto found = specifics_.find(key);
  return found == specifics_.end() ? nullptr : found->second;
}

void Queue::setSpecific(const void* key, std::shared_ptr<void> value) {
  specifics_[key] = std::move(value);
}

}  // namespace tandemview
