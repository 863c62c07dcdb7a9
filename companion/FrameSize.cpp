#include "companion/FrameSize.h"

#include <fmt/format.h>

#include <charconv>

namespace tandemview {

namespace {

constexpr std::int64_t smallestSide = 16;

std::optional<std::int64_t> side(std::string_view text) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (value < smallestSide || value > longestScreenSide) return std::nullopt;
  return value;
}

}  // namespace

std::string FrameSize::text() const {
  return fmt::format("{}x{}", width, height);
}

std::optional<FrameSize> frameSizeFromText(std::string_view text) {
  const std::size_t separator = text.find('x');
  if (separator == std::string_view::npos) return std::nullopt;
  const auto width = side(text.substr(0, separator));
  const auto height = side(text.substr(separator + 1));
  if (!width || !height) return std::nullopt;
  return FrameSize{*width, *height};
}

}  // namespace tandemview
