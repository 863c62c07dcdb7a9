#pragma once

#include <limits>

#include "display/DisplaySystem.h"
#include "fakes/ScriptedScreens.h"

namespace tandemview {

/// Displays that exist on paper. Every operation that changes something is kept in `calls`.
class RecordingDisplaySystem final : public DisplaySystem, public ScriptedScreens {
 public:
  RecordingDisplaySystem() { screens = {{.id = 1, .bounds = {0, 0, 1280, 800}}}; }

  bool hasDescriptorClass() const override { return missingClass != "descriptor"; }
  bool hasDisplayClass() const override { return missingClass != "display"; }
  bool hasSettingsClass() const override { return missingClass != "settings"; }
  bool hasModeClass() const override { return missingClass != "mode"; }

  VirtualDisplayCreation makeVirtualDisplay(const VirtualDisplayDescriptor& descriptor) override {
    descriptors.push_back(descriptor);
    if (creationOutcome != CreationOutcome::Created) return {creationOutcome, nullptr};
    return {CreationOutcome::Created, std::make_shared<Display>(*this)};
  }
  std::optional<VirtualDisplayMode> makeDisplayMode(std::uint32_t width, std::uint32_t height,
                                                    double refreshRate) override {
    if (!makesModes) return std::nullopt;
    return VirtualDisplayMode{width, height, refreshRate};
  }

  PixelSize pixelSize(DisplayID id) const override {
    return {static_cast<std::int64_t>(bounds(id).width), static_cast<std::int64_t>(bounds(id).height)};
  }
  bool isBuiltIn(DisplayID) const override { return false; }
  std::optional<DisplayMode> currentMode(DisplayID id) const override {
    if (!find(id)) return std::nullopt;
    return DisplayMode{pixelSize(id).width, pixelSize(id).height, 1};
  }
  std::vector<DisplayMode> allModes(DisplayID) const override { return modes; }
  ConfigurationOutcome configureMode(DisplayID id, const DisplayMode& mode) override {
    calls.push_back("configureMode " + std::to_string(mode.handle));
    if (configurationOutcome == ConfigurationOutcome::Completed) {
      resize(id, static_cast<double>(mode.width), static_cast<double>(mode.height));
    }
    return configurationOutcome;
  }
  ConfigurationOutcome configureOrigin(DisplayID id, std::int32_t x, std::int32_t y) override {
    calls.push_back("configureOrigin " + std::to_string(x) + "," + std::to_string(y));
    if (configurationOutcome == ConfigurationOutcome::Completed) place(id, x, y);
    return configurationOutcome;
  }
  double leftEdge() const override { return -std::numeric_limits<double>::infinity(); }
  void onArrangementChange(const std::shared_ptr<Queue>& queue, std::function<void()> changed) override {
    arrangementQueue_ = queue;
    arrangementChanged_ = std::move(changed);
  }
  void pause(double seconds) override { calls.push_back("pause " + std::to_string(seconds).substr(0, 3)); }

  /// Somebody else moves a screen.
  void move(DisplayID id, double x, double y) {
    place(id, x, y);
    arrangementQueue_->async(arrangementChanged_);
  }
  void resize(DisplayID id, double width, double height) { setBounds(id, {bounds(id).x, bounds(id).y, width, height}); }

  /// The user locks the screen: the virtual display goes, and comes back by itself when he unlocks it.
  void lockScreen() {
    removeVirtualScreen();
    isLocked_ = true;
  }
  void unlockScreen(bool bringsDisplay = true) {
    isLocked_ = false;
    if (bringsDisplay) showWanted();
    arrangementQueue_->async(arrangementChanged_);
  }

  static constexpr DisplayID virtualID = 77;

  std::vector<DisplayMode> modes;
  std::vector<VirtualDisplayDescriptor> descriptors;
  std::vector<std::string> calls;
  std::string missingClass;
  bool makesModes = true;
  bool canTerminate = true;
  bool assignsID = true;
  /// Whether a resize takes effect at once; otherwise bounds stay until resize() is called.
  bool resizesAtOnce = true;
  CreationOutcome creationOutcome = CreationOutcome::Created;
  ApplyOutcome applyOutcome = ApplyOutcome::Applied;
  ConfigurationOutcome configurationOutcome = ConfigurationOutcome::Completed;

 private:
  class Display final : public VirtualDisplay {
   public:
    explicit Display(RecordingDisplaySystem& system) : system_(system) {}
    ~Display() override {
      system_.calls.push_back("let go");
      system_.removeVirtualScreen();
    }

    std::optional<DisplayID> displayID() const override {
      return system_.assignsID && system_.find(virtualID) ? std::optional(virtualID) : std::nullopt;
    }
    bool isWithheld() const override { return system_.isLocked_; }
    ApplyOutcome applySettings(const VirtualDisplaySettings& settings) override {
      if (settings.modes.empty()) {
        system_.calls.push_back("apply nothing");
        return ApplyOutcome::Applied;
      }
      const VirtualDisplayMode& mode = settings.modes.front();
      system_.calls.push_back("apply " + std::to_string(mode.width) + "x" + std::to_string(mode.height));
      if (system_.applyOutcome != ApplyOutcome::Applied) return system_.applyOutcome;
      system_.wanted_ = mode;
      if (system_.isLocked_) return ApplyOutcome::Applied;
      if (!system_.find(virtualID)) {
        system_.showWanted();
      } else if (system_.resizesAtOnce) {
        system_.resize(virtualID, mode.width, mode.height);
      }
      return ApplyOutcome::Applied;
    }
    bool canTerminate() const override { return system_.canTerminate; }
    void terminate() override {
      system_.calls.push_back("terminate");
      system_.removeVirtualScreen();
    }
    bool canInvalidate() const override { return true; }
    void invalidate() override { system_.calls.push_back("invalidate"); }

   private:
    RecordingDisplaySystem& system_;
  };

  std::shared_ptr<Queue> arrangementQueue_;
  std::function<void()> arrangementChanged_;
  VirtualDisplayMode wanted_;
  bool isLocked_ = false;

  void removeVirtualScreen() {
    std::erase_if(screens, [](const Screen& screen) { return screen.id == virtualID; });
  }
  void showWanted() {
    screens.push_back({.id = virtualID, .bounds = {1280, 0, 0, 0}});  // beside the main one
    resize(virtualID, wanted_.width, wanted_.height);
  }
  void place(DisplayID id, double x, double y) { setBounds(id, {x, y, bounds(id).width, bounds(id).height}); }
  void setBounds(DisplayID id, const ScreenRectangle& bounds) {
    for (Screen& screen : screens) {
      if (screen.id == id) screen.bounds = bounds;
    }
  }
};

}  // namespace tandemview
