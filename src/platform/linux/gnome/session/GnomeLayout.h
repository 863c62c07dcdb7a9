#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "screens/Screens.h"

namespace tandemview {

/// How the monitors of a GNOME session are arranged at one moment.
struct GnomeLayout {
  struct Monitor {
    DisplayID id = 0;  // a number of ours: stays with the monitor for as long as it is there
    std::string connector;
    std::string product;
    std::string displayName;
    bool isBuiltIn = false;
    std::string mode;  // the current one's name; empty: the monitor is dark
    PixelSize size;    // in that mode
  };

  /// A part of the global space, which one monitor shows, or several that show the same.
  struct Screen {
    std::int32_t x = 0;  // the global space has its origin anywhere, and no negative coordinates
    std::int32_t y = 0;
    double scale = 1;
    std::uint32_t transform = 0;  // an odd one stands on its side
    bool isMain = false;
    std::vector<std::string> connectors;

    bool operator==(const Screen&) const = default;
  };

  std::uint32_t serial = 0;
  bool countsPixels = false;  // coordinates and sizes in pixels, whatever the scale
  std::vector<Monitor> monitors;
  std::vector<Screen> screens;

  /// Null for one that is unknown, or shows nothing.
  const Monitor* monitor(DisplayID id) const;
  const Monitor* monitor(const std::string& connector) const;
  const Screen* screenOf(const Monitor& monitor) const;

  /// The monitors that show a picture, one a screen.
  std::vector<const Monitor*> activeMonitors() const;

  /// In the global space.
  ScreenRectangle rectangle(const Screen& screen) const;

  /// In relation to the main screen's upper left corner; empty for a monitor that is unknown or shows nothing.
  ScreenRectangle bounds(DisplayID id) const;
};

}  // namespace tandemview
