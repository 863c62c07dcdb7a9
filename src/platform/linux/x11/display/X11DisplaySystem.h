#pragma once

#include <memory>
#include <string>

#include "display/DisplaySystem.h"
#include "platform/linux/x11/display/RandrScreen.h"
#include "platform/linux/x11/server/X11Connection.h"
#include "runtime/UserDefaults.h"

namespace tandemview {

/// The outputs of an X server as displays; a display's ID is its output's. A virtual display is a spare output. One
/// system per process and server: it removes whatever this process and ended ones have left on the server, when it is
/// made and when it is destroyed.
class X11DisplaySystem final : public DisplaySystem {
 public:
  /// `displayName` such as ":77"; empty stands for $DISPLAY. Without such a server there are no displays. Where the
  /// user puts a virtual display is kept in `settings`, if there are any.
  explicit X11DisplaySystem(const std::string& displayName = {}, std::shared_ptr<UserDefaults> settings = nullptr);
  ~X11DisplaySystem() override;

  /// Follows on `queue` what other programs do to the arrangement. Calls `onConnectionLost` there, once, when the
  /// connection breaks, or soon if there is none. The displays are unknown from then on, but what this process shows is
  /// still removed if the server lives. Called on `queue`, where the system is destroyed too.
  void watch(const std::shared_ptr<Queue>& queue, Work onConnectionLost);

  /// All four alike: whether there is an output for a virtual display, in use by us or spare.
  bool hasDescriptorClass() const override { return hasVirtualDisplays(); }
  bool hasDisplayClass() const override { return hasVirtualDisplays(); }
  bool hasSettingsClass() const override { return hasVirtualDisplays(); }
  bool hasModeClass() const override { return hasVirtualDisplays(); }

  /// The output is chosen when the display is lit.
  VirtualDisplayCreation makeVirtualDisplay(const VirtualDisplayDescriptor& descriptor) override;
  std::optional<VirtualDisplayMode> makeDisplayMode(std::uint32_t width, std::uint32_t height,
                                                    double refreshRate) override;

  std::vector<DisplayID> activeDisplays() const override;
  DisplayRectangle bounds(DisplayID display) const override;
  bool isMain(DisplayID display) const override;
  bool isBuiltIn(DisplayID display) const override;
  std::optional<DisplayMode> currentMode(DisplayID display) const override;
  std::vector<DisplayMode> allModes(DisplayID display) const override;
  ConfigurationOutcome configureMode(DisplayID display, const DisplayMode& mode) override;

  ConfigurationOutcome configureOrigin(DisplayID display, std::int32_t x, std::int32_t y) override;

  /// X has no negative coordinates.
  double leftEdge() const override { return 0; }

  /// On the queue that watch() has, if that was called.
  void onArrangementChange(const std::shared_ptr<Queue>& queue, std::function<void()> changed) override;
  void pause(double seconds) override;

 private:
  bool hasVirtualDisplays() const;
  RandrLayout layout() const;
  ConfigurationOutcome outcome(bool isCompleted) const;
  void watchNotices(const std::shared_ptr<Queue>& queue);
  void waitForEnd();
  void waitForNotices();
  void lose();

  const std::shared_ptr<X11Connection> connection_;  // for questions, from any thread; null without a server
  const std::shared_ptr<X11Connection> notices_;     // nothing else is read here, so that none stays unnoticed
  const std::shared_ptr<RandrScreen> screen_;
  std::unique_ptr<DescriptorWatch> connectionWatch_;
  std::unique_ptr<DescriptorWatch> noticesWatch_;
  Work connectionLost_;
  Work arrangementChanged_;
};

}  // namespace tandemview
