#include "platform/linux/places/DisplayPlace.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sstream>
#include <string_view>
#include <tuple>

namespace tandemview {

namespace {

using Alignment = DisplayPlace::Alignment;
using Position = DisplayPlace::Position;

constexpr std::array<std::string_view, 5> alignmentNames = {"before", "start", "center", "end", "after"};

/// What a screen covers along one axis.
struct AxisRange {
  std::int64_t start = 0;
  std::int64_t length = 0;

  std::int64_t end() const { return start + length; }
};

AxisRange across(const PlacedScreen& screen) {
  return {screen.x, screen.width};
}

AxisRange down(const PlacedScreen& screen) {
  return {screen.y, screen.height};
}

/// How far apart the two are; negative if they are abreast.
std::int64_t gap(const AxisRange& left, const AxisRange& right) {
  return std::max(left.start, right.start) - std::min(left.end(), right.end());
}

std::int64_t centered(std::int64_t length, const AxisRange& neighbour) {
  return neighbour.start + (neighbour.length - length) / 2;
}

Position positionOf(const AxisRange& own, const AxisRange& neighbour) {
  if (own.end() <= neighbour.start) return {Alignment::Before};
  if (own.start >= neighbour.end()) return {Alignment::After};
  const auto position = [](Alignment alignment, std::int64_t offset) {
    return Position{alignment, static_cast<std::int32_t>(offset)};
  };
  return std::min(
      {position(Alignment::Start, own.start - neighbour.start), position(Alignment::End, own.end() - neighbour.end()),
       position(Alignment::Center, own.start - centered(own.length, neighbour))},
      [](const Position& left, const Position& right) { return std::abs(left.offset) < std::abs(right.offset); });
}

std::int32_t startOf(const Position& position, std::int64_t length, const AxisRange& neighbour) {
  const auto abreast = [&](std::int64_t start) {
    // Still abreast by a pixel when the neighbour has shrunk, so that the pointer finds its way.
    return static_cast<std::int32_t>(
        std::clamp(start + position.offset, neighbour.start - length + 1, neighbour.end() - 1));
  };
  switch (position.alignment) {
    case Alignment::Before:
      return static_cast<std::int32_t>(neighbour.start - length);
    case Alignment::Start:
      return abreast(neighbour.start);
    case Alignment::Center:
      return abreast(centered(length, neighbour));
    case Alignment::End:
      return abreast(neighbour.end() - length);
    case Alignment::After:
      return static_cast<std::int32_t>(neighbour.end());
  }
  return 0;
}

Arrangement without(Arrangement arrangement, std::uint32_t screen) {
  std::erase_if(arrangement, [screen](const PlacedScreen& each) { return each.id == screen; });
  return arrangement;
}

}  // namespace

std::optional<DisplayPlace> DisplayPlace::of(const Arrangement& arrangement, std::uint32_t screen) {
  const auto own = std::ranges::find(arrangement, screen, &PlacedScreen::id);
  const Arrangement others = without(arrangement, screen);
  if (own == arrangement.end() || others.empty()) return std::nullopt;
  // A common edge is nearer than a common corner.
  const auto distance = [&](const PlacedScreen& other) {
    const std::int64_t gapAcross = gap(across(*own), across(other));
    const std::int64_t gapDown = gap(down(*own), down(other));
    return std::tuple(std::max(gapAcross, gapDown), gapAcross >= 0 && gapDown >= 0, !other.isMain);
  };
  const PlacedScreen& neighbour = *std::ranges::min_element(others, {}, distance);
  if (std::get<0>(distance(neighbour)) < 0) return std::nullopt;
  return DisplayPlace{.x = positionOf(across(*own), across(neighbour)),
                      .y = positionOf(down(*own), down(neighbour)),
                      .neighbour = neighbour.name};
}

std::optional<DisplayPlace::Point> DisplayPlace::origin(const Arrangement& arrangement, std::uint32_t screen,
                                                        std::uint32_t width, std::uint32_t height) const {
  const Arrangement others = without(arrangement, screen);
  if (others.empty()) return std::nullopt;
  auto found = std::ranges::find(others, neighbour, &PlacedScreen::name);
  if (found == others.end()) found = std::ranges::find(others, true, &PlacedScreen::isMain);
  const PlacedScreen& beside = found == others.end() ? others.front() : *found;
  const Point origin = {.x = startOf(x, width, across(beside)), .y = startOf(y, height, down(beside))};
  const bool isFree = std::ranges::all_of(others, [&](const PlacedScreen& other) {
    return gap({origin.x, width}, across(other)) >= 0 || gap({origin.y, height}, down(other)) >= 0;
  });
  return isFree ? std::optional(origin) : std::nullopt;
}

std::string DisplayPlace::text() const {
  const auto word = [](const Position& position) {
    return alignmentNames[static_cast<std::size_t>(position.alignment)];
  };
  return fmt::format("{} {} {} {} {}", word(x), x.offset, word(y), y.offset, neighbour);
}

std::optional<DisplayPlace> DisplayPlace::parse(const std::string& text) {
  std::istringstream words(text);
  const auto readPosition = [&words](Position& position) {
    std::string word;
    words >> word >> position.offset;
    const auto found = std::ranges::find(alignmentNames, word);
    if (found == alignmentNames.end()) return false;
    position.alignment = static_cast<Alignment>(found - alignmentNames.begin());
    return true;
  };
  DisplayPlace place;
  if (!readPosition(place.x) || !readPosition(place.y) || !std::getline(words >> std::ws, place.neighbour)) {
    return std::nullopt;
  }
  return place;
}

}  // namespace tandemview
