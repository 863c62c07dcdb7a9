#pragma once

#include "display/DisplaySystem.h"
#include "platform/macos/MacVirtualDisplayClasses.h"

namespace tandemview {

/// The displays of Core Graphics.
class MacDisplaySystem final : public DisplaySystem {
 public:
  explicit MacDisplaySystem(const MacVirtualDisplayClasses& classes);
  ~MacDisplaySystem() override;

  bool hasDescriptorClass() const override;
  bool hasDisplayClass() const override;
  bool hasSettingsClass() const override;
  bool hasModeClass() const override;
  VirtualDisplayCreation makeVirtualDisplay(const VirtualDisplayDescriptor& descriptor) override;
  std::optional<VirtualDisplayMode> makeDisplayMode(std::uint32_t width, std::uint32_t height,
                                                    double refreshRate) override;

  bool isBuiltIn(DisplayID display) const override;
  std::optional<DisplayMode> currentMode(DisplayID display) const override;
  std::vector<DisplayMode> allModes(DisplayID display) const override;

  ConfigurationOutcome configureMode(DisplayID display, const DisplayMode& mode) override;
  ConfigurationOutcome configureOrigin(DisplayID display, std::int32_t x, std::int32_t y) override;

  double leftEdge() const override;
  void onArrangementChange(const std::shared_ptr<Queue>& queue, std::function<void()> changed) override;
  void pause(double seconds) override;

 private:
  struct ArrangementObserver;

  const MacVirtualDisplayClasses classes_;
  std::unique_ptr<ArrangementObserver> observer_;
};

}  // namespace tandemview
