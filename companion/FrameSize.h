#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tandemview {

/// Hosts ignore the description of a screen with a longer one.
constexpr std::int64_t longestScreenSide = 16384;

/// A size in pixels.
struct FrameSize {
  std::int64_t width = 0;
  std::int64_t height = 0;

  bool operator==(const FrameSize&) const = default;

  /// "1290x2796".
  std::string text() const;
};

/// The size that `text` ("1290x2796") gives. Sides from 16 to 16384 pixels; anything else gives nothing.
std::optional<FrameSize> frameSizeFromText(std::string_view text);

}  // namespace tandemview
