#pragma once

#include <optional>
#include <string>

#include "runtime/Data.h"

namespace tandemview {

enum class TouchMode {
  Direct,    // the finger points at a place on the display
  Trackpad,  // the finger moves the pointer from where it is
};

enum class DragPhase { Other, Began, Moved, Ended };

/// A touch message of the phone.
struct TouchEvent {
  std::string type;
  double x = 0;  // in direct mode a place, in trackpad mode a movement, as a fraction of the display's width and
  double y = 0;  // height; for scrolling pixels
  TouchMode mode = TouchMode::Direct;
  DragPhase phase = DragPhase::Other;
  std::string direction;  // of a swipe; the name of a gesture; empty if missing

  /// Absent if `payload` (contiguous) is malformed. The numbers are finite, and may be beyond all sense.
  static std::optional<TouchEvent> fromPayload(const Data& payload);
};

}  // namespace tandemview
