#pragma once

#include <limits>
#include <memory>

#include "display/DisplaySystem.h"
#include "platform/linux/gnome/session/GnomeSession.h"

namespace tandemview {

/// The monitors of a GNOME session as displays, under the session's numbers of them.
class GnomeDisplaySystem final : public DisplaySystem {
 public:
  explicit GnomeDisplaySystem(std::shared_ptr<GnomeSession> session) : session_(std::move(session)) {}

  /// All four alike: whether the compositor is there that makes displays.
  bool hasDescriptorClass() const override { return session_->isOffered(); }
  bool hasDisplayClass() const override { return session_->isOffered(); }
  bool hasSettingsClass() const override { return session_->isOffered(); }
  bool hasModeClass() const override { return session_->isOffered(); }

  VirtualDisplayCreation makeVirtualDisplay(const VirtualDisplayDescriptor& descriptor) override;

  /// Absent for sizes that could be more than the graphics take.
  std::optional<VirtualDisplayMode> makeDisplayMode(std::uint32_t width, std::uint32_t height,
                                                    double refreshRate) override;

  bool isBuiltIn(DisplayID display) const override;
  std::optional<DisplayMode> currentMode(DisplayID display) const override;

  /// Only the current one: a virtual display takes any size, but by its settings alone.
  std::vector<DisplayMode> allModes(DisplayID display) const override;
  ConfigurationOutcome configureMode(DisplayID display, const DisplayMode& mode) override;
  ConfigurationOutcome configureOrigin(DisplayID display, std::int32_t x, std::int32_t y) override;

  double leftEdge() const override { return -std::numeric_limits<double>::infinity(); }
  void onArrangementChange(const std::shared_ptr<Queue>& queue, std::function<void()> changed) override;
  void pause(double seconds) override;

 private:
  const std::shared_ptr<GnomeSession> session_;
};

}  // namespace tandemview
