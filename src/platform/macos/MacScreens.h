#pragma once

#include "screens/Screens.h"

namespace tandemview {

/// The active displays of Core Graphics.
class MacScreens final : public Screens {
 public:
  std::optional<std::uint32_t> activeDisplayCount() const override;
  std::optional<std::vector<DisplayID>> activeDisplays(std::uint32_t limit) const override;
  ScreenRectangle bounds(DisplayID display) const override;
  PixelSize pixelSize(DisplayID display) const override;
  bool isMain(DisplayID display) const override;
};

}  // namespace tandemview
