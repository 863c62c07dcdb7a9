#pragma once

#include <algorithm>

#include "screens/Screens.h"

namespace tandemview {

/// Screens as a test sets them; number 1 is the main one.
class ScriptedScreens : public Screens {
 public:
  struct Screen {
    DisplayID id = 0;
    PixelSize pixelSize;
    ScreenRectangle bounds;
  };

  std::optional<std::uint32_t> activeDisplayCount() const override {
    if (!countsDisplays) return std::nullopt;
    return static_cast<std::uint32_t>(screens.size());
  }
  std::optional<std::vector<DisplayID>> activeDisplays(std::uint32_t limit) const override {
    if (!listsDisplays) return std::nullopt;
    std::vector<DisplayID> ids;
    for (const Screen& each : screens) ids.push_back(each.id);
    ids.resize(std::min<std::size_t>(ids.size(), limit));
    return ids;
  }
  ScreenRectangle bounds(DisplayID id) const override { return find(id) ? find(id)->bounds : ScreenRectangle(); }
  PixelSize pixelSize(DisplayID id) const override { return find(id) ? find(id)->pixelSize : PixelSize(); }
  bool isMain(DisplayID id) const override { return id == 1; }

  std::vector<Screen> screens;
  bool countsDisplays = true;
  bool listsDisplays = true;

 protected:
  const Screen* find(DisplayID id) const {
    const auto found = std::ranges::find(screens, id, &Screen::id);
    return found == screens.end() ? nullptr : &*found;
  }
};

}  // namespace tandemview
