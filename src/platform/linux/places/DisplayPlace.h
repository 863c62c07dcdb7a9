#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/linux/places/Arrangement.h"

namespace tandemview {

/// Where a screen lies in relation to a neighbour, in terms that still make sense when either has another size: "to the
/// right of it, the lower edges in line".
struct DisplayPlace {
  /// Along one axis: beside the neighbour, or abreast of it, with two edges or the two centres in line.
  enum class Alignment { Before, Start, Center, End, After };

  struct Position {
    Alignment alignment = Alignment::Start;
    std::int32_t offset = 0;  // pixels from that line; none beside the neighbour

    bool operator==(const Position&) const = default;
  };
  struct Point {
    std::int32_t x = 0;
    std::int32_t y = 0;
  };

  Position x;
  Position y;
  std::string neighbour;  // its name

  bool operator==(const DisplayPlace&) const = default;

  /// The place of a screen among the others, by the nearest, the main one if there is a choice. Absent if it is not
  /// there, alone, or lies over another.
  static std::optional<DisplayPlace> of(const Arrangement& arrangement, std::uint32_t screen);

  /// Where the screen has to lie to have this place with a size of width × height: coordinates may be negative. If the
  /// neighbour is dark, the main screen stands in. Absent if there is no other screen, or it would lie over one.
  std::optional<Point> origin(const Arrangement& arrangement, std::uint32_t screen, std::uint32_t width,
                              std::uint32_t height) const;

  /// For the settings. A text that isn't one of these is no place.
  std::string text() const;
  static std::optional<DisplayPlace> parse(const std::string& text);
};

}  // namespace tandemview
