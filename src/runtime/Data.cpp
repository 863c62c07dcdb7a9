#include "runtime/Data.h"

#include <algorithm>
#include <cstring>

#include "runtime/Assertion.h"

namespace tandemview {

Data::Data(std::shared_ptr<const void> owner, std::span<const std::byte> bytes) : size_(bytes.size()) {
  if (!bytes.empty()) segments_.push_back({std::move(owner), bytes});
}

Data::Data(std::vector<Segment> segments) : segments_(std::move(segments)) {
  for (const Segment& segment : segments_) size_ += segment.bytes.size();
}

Data Data::copying(std::span<const std::byte> bytes) {
  std::shared_ptr<std::byte[]> storage(new std::byte[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), storage.get());
  const std::span<const std::byte> stored(storage.get(), bytes.size());
  return {std::move(storage), stored};
}

Data Data::copying(std::string_view text) {
  return copying(std::as_bytes(std::span(text)));
}

Data Data::joinedWith(const Data& tail) const {
  Data joined;
  joined.segments_.reserve(segments_.size() + tail.segments_.size());
  joined.segments_.insert(joined.segments_.end(), segments_.begin(), segments_.end());
  joined.segments_.insert(joined.segments_.end(), tail.segments_.begin(), tail.segments_.end());
  joined.size_ = size_ + tail.size_;
  return joined;
}

Data Data::contiguous() const {
  if (segments_.size() <= 1) return *this;
  std::shared_ptr<std::byte[]> storage(new std::byte[size_]);
  std::byte* end = storage.get();
  for (const Segment& segment : segments_) end = std::copy(segment.bytes.begin(), segment.bytes.end(), end);
  const std::span<const std::byte> stored(storage.get(), size_);
  return {std::move(storage), stored};
}

std::span<const std::byte> Data::bytes() const {
  require(segments_.size() <= 1, "data is contiguous");
  return segments_.empty() ? std::span<const std::byte>() : segments_.front().bytes;
}

std::string_view Data::text() const {
  const std::span<const std::byte> all = bytes();
  return {reinterpret_cast<const char*>(all.data()), all.size()};
}

bool operator==(const Data& left, const Data& right) {
  const Data leftBytes = left.contiguous();
  const Data rightBytes = right.contiguous();
  return std::ranges::equal(leftBytes.bytes(), rightBytes.bytes());
}

}  // namespace tandemview
