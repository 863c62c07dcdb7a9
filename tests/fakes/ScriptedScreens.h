#pragma once

#include <algorithm>

#include "screens/Screens.h"

namespace tandemview {

/// Screens as a test sets them.
class ScriptedScreens final : public Screens {
 public:
  struct Display {
    DisplayID displayID = 0;
    PixelSize pixelSize;
    ScreenRectangle bounds;
  };

  std::optional<std::uint32_t> activeDisplayCount() const override {
    if (!countsDisplays) return std::nullopt;
    return static_cast<std::uint32_t>(displays.size());
  }
  std::optional<std::vector<DisplayID>> activeDisplays(std::uint32_t limit) const override {
    if (!listsDisplays) return std::nullopt;
    std::vector<DisplayID> displayIDs;
    for (const Display& each : displays) displayIDs.push_back(each.displayID);
    displayIDs.resize(std::min<std::size_t>(displayIDs.size(), limit));
    return displayIDs;
  }
  ScreenRectangle bounds(DisplayID id) const override { return display(id).bounds; }
  PixelSize pixelSize(DisplayID id) const override { return display(id).pixelSize; }
  bool isMain(DisplayID id) const override { return id == mainDisplay; }

  std::vector<Display> displays;
  DisplayID mainDisplay = 1;
  bool countsDisplays = true;
  bool listsDisplays = true;

 private:
  Display display(DisplayID id) const {
    const auto found = std::ranges::find(displays, id, &Display::displayID);
    return found == displays.end() ? Display{} : *found;
  }
};

}  // namespace tandemview
