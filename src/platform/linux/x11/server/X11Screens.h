#pragma once

#include <memory>
#include <string>

#include "platform/linux/x11/server/RandrLayout.h"
#include "screens/Screens.h"

namespace tandemview {

/// The active outputs of an X server. A display's ID is its output's; points are pixels.
class X11Screens final : public Screens {
 public:
  /// `displayName` such as ":77"; empty stands for $DISPLAY. Without such a server there are no displays.
  explicit X11Screens(const std::string& displayName = {});

  std::optional<std::uint32_t> activeDisplayCount() const override;
  std::optional<std::vector<DisplayID>> activeDisplays(std::uint32_t limit) const override;
  ScreenRectangle bounds(DisplayID display) const override;
  PixelSize pixelSize(DisplayID display) const override;
  bool isMain(DisplayID display) const override;

 private:
  std::optional<RandrLayout> layout() const;

  const std::shared_ptr<X11Connection> connection_;  // null without a server
};

}  // namespace tandemview
