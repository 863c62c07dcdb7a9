#pragma once

#include <algorithm>
#include <limits>

#include "display/DisplaySystem.h"
#include "fakes/ManualQueue.h"

namespace tandemview {

/// Displays that exist on paper. Every operation that changes something is kept in `calls`.
class RecordingDisplaySystem final : public DisplaySystem, public Screens {
 public:
  struct Screen {
    DisplayID id;
    ScreenRectangle bounds;
    bool isMain = false;
    bool isBuiltIn = false;
  };

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

  std::optional<std::uint32_t> activeDisplayCount() const override {
    return static_cast<std::uint32_t>(screens.size());
  }
  std::optional<std::vector<DisplayID>> activeDisplays(std::uint32_t limit) const override {
    std::vector<DisplayID> ids;
    for (const Screen& screen : screens) {
      if (ids.size() < limit) ids.push_back(screen.id);
    }
    return ids;
  }
  ScreenRectangle bounds(DisplayID id) const override {
    const Screen* screen = find(id);
    return screen ? screen->bounds : ScreenRectangle();
  }
  PixelSize pixelSize(DisplayID id) const override {
    return {static_cast<std::int64_t>(bounds(id).width), static_cast<std::int64_t>(bounds(id).height)};
  }
  bool isMain(DisplayID id) const override { return find(id) && find(id)->isMain; }
  bool isBuiltIn(DisplayID id) const override { return find(id) && find(id)->isBuiltIn; }
  std::optional<DisplayMode> currentMode(DisplayID id) const override {
    const Screen* screen = find(id);
    if (!screen) return std::nullopt;
    return DisplayMode{static_cast<std::int64_t>(screen->bounds.width),
                       static_cast<std::int64_t>(screen->bounds.height), 1};
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
  double leftEdge() const override { return leftmost; }
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
  void resize(DisplayID id, double width, double height) {
    const auto screen = std::ranges::find(screens, id, &Screen::id);
    if (screen != screens.end()) screen->bounds = {screen->bounds.x, screen->bounds.y, width, height};
  }

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

  std::vector<Screen> screens = {{.id = 1, .bounds = {0, 0, 1280, 800}, .isMain = true}};
  std::vector<DisplayMode> modes;
  std::vector<VirtualDisplayDescriptor> descriptors;
  std::vector<std::string> calls;
  std::string missingClass;
  bool makesModes = true;
  bool canTerminate = true;
  bool canInvalidate = true;
  bool assignsID = true;
  /// Whether a resize takes effect at once; otherwise bounds stay until resize() is called.
  bool resizesAtOnce = true;
  double leftmost = -std::numeric_limits<double>::infinity();
  ScreenRectangle origin = {1280, 0, 0, 0};  // where the virtual display appears
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
    bool canInvalidate() const override { return system_.canInvalidate; }
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
    screens.push_back({.id = virtualID, .bounds = origin});
    resize(virtualID, wanted_.width, wanted_.height);
  }
  void place(DisplayID id, double x, double y) {
    const auto screen = std::ranges::find(screens, id, &Screen::id);
    if (screen != screens.end()) screen->bounds = {x, y, screen->bounds.width, screen->bounds.height};
  }
  const Screen* find(DisplayID id) const {
    const auto found = std::ranges::find(screens, id, &Screen::id);
    return found == screens.end() ? nullptr : &*found;
  }
};

}  // namespace tandemview
