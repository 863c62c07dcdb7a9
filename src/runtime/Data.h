#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace tandemview {

/// Immutable bytes, shared and joined without copying: a rope of segments, each kept alive by its owner.
class Data {
 public:
  struct Segment {
    std::shared_ptr<const void> owner;
    std::span<const std::byte> bytes;
  };

  Data() = default;

  /// Bytes that stay valid for as long as `owner` lives.
  Data(std::shared_ptr<const void> owner, std::span<const std::byte> bytes);

  /// The bytes of all segments, of which none is empty.
  explicit Data(std::vector<Segment> segments);

  static Data copying(std::span<const std::byte> bytes);
  static Data copying(std::string_view text);

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  const std::vector<Segment>& segments() const { return segments_; }

  /// This data followed by `tail`; both keep sharing their bytes.
  Data joinedWith(const Data& tail) const;

  /// The same bytes in one segment; copies only if there are several.
  Data contiguous() const;

  /// The bytes of data that is contiguous (at most one segment).
  std::span<const std::byte> bytes() const;
  std::string_view text() const;

 private:
  std::vector<Segment> segments_;
  std::size_t size_ = 0;
};

/// Equal bytes, however they are cut into segments.
bool operator==(const Data& left, const Data& right);

}  // namespace tandemview
