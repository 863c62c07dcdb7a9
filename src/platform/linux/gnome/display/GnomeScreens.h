#pragma once

#include <memory>

#include "platform/linux/gnome/session/GnomeSession.h"
#include "screens/Screens.h"

namespace tandemview {

/// The monitors of a GNOME session; those that show the same are one screen. Points are the desktop's: pixels by the
/// monitor's scale, unless the desktop counts pixels.
class GnomeScreens final : public Screens {
 public:
  explicit GnomeScreens(std::shared_ptr<const GnomeSession> session) : session_(std::move(session)) {}

  std::optional<std::uint32_t> activeDisplayCount() const override;
  std::optional<std::vector<DisplayID>> activeDisplays(std::uint32_t limit) const override;
  ScreenRectangle bounds(DisplayID display) const override { return session_->layout().bounds(display); }
  PixelSize pixelSize(DisplayID display) const override;
  bool isMain(DisplayID display) const override;

 private:
  const std::shared_ptr<const GnomeSession> session_;
};

}  // namespace tandemview
