#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "display/DisplaySystem.h"
#include "protocol/DisplayPlan.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Owner of the one virtual display: creates it, brings it to a size, keeps it off the other screens, removes it.
/// createDisplay() and destroyDisplay() may run on the display queue, everything else runs on the main queue.
class VirtualDisplayManager : public std::enable_shared_from_this<VirtualDisplayManager> {
 public:
  struct Surroundings {
    std::shared_ptr<DisplaySystem> displays;
    std::shared_ptr<Screens> screens;
    std::shared_ptr<Queue> mainQueue;
    std::shared_ptr<Queue> displayQueue;  // where displays are replaced
  };
  struct Size {
    std::int64_t width = 0;
    std::int64_t height = 0;

    bool operator==(const Size&) const = default;
  };
  using Completion = std::function<void(bool success)>;

  VirtualDisplayManager(std::string displayName, Surroundings surroundings);
  ~VirtualDisplayManager();

  /// The live display was reused or resized in place for the plan.
  std::function<void(const MacProtocol::DisplayPlan&)> onConfiguredInPlace;

  /// Makes a display of width × height pixels that can later be resized up to `envelope` pixels each way.
  bool createDisplay(std::int64_t width, std::int64_t height, std::int64_t envelope);

  /// Removes the display, if any, and then keeps the thread for half a second: the system needs it to settle.
  void destroyDisplay();

  /// Brings the display to width × height: reuses it, resizes it in place (both end in onConfiguredInPlace), or
  /// replaces it on the display queue, which ends in `completion` on the main queue.
  void configureDisplay(std::int64_t width, std::int64_t height, std::optional<std::int64_t> requestedEnvelope,
                        const MacProtocol::DisplayPlan& plan, Completion completion);

  bool resizeInPlace(std::int64_t width, std::int64_t height);

  /// Makes the system show the display in its mode of exactly this size.
  bool selectMode(std::int64_t width, std::int64_t height);

  /// Moves the display beside the first screen that it overlaps, and on until it lies over none. True if it was moved.
  bool fixOverlap();

  /// Absent without a display, and for a while after it was created.
  std::optional<DisplayID> displayID() const;

  /// Whether the display comes by itself when the user unlocks the screen.
  bool isWithheld() const;

  std::optional<Size> currentModeSize() const;

  /// The size in points that the system shows the display at; 0 while it shows none.
  Size shownSize() const;

  /// Whether that is `size` and so is its mode, in pixels: only a display shown at 1:1 is.
  bool isShownAt(const Size& size) const;

  /// The size last configured; 0 at first.
  Size currentSize() const { return currentSize_; }

  /// The largest size in pixels, either way, that the live display accepts; 0 when there is none.
  std::int64_t envelope() const;

 private:
  std::shared_ptr<VirtualDisplay> virtualDisplay() const;
  void removeDisplay();
  std::vector<DisplayID> activeDisplays() const;
  std::optional<DisplayID> findExistingDisplay() const;
  std::shared_ptr<VirtualDisplay> makeVirtualDisplay(const VirtualDisplayDescriptor& descriptor) const;
  std::optional<VirtualDisplayMode> makeDisplayMode(std::int64_t width, std::int64_t height) const;
  static bool applyDisplaySettings(VirtualDisplay& display, const VirtualDisplaySettings& settings);

  const std::string displayName_;
  const Surroundings surroundings_;
  Size currentSize_;

  mutable std::mutex mutex_;  // guards the two below: the display queue replaces them
  std::shared_ptr<VirtualDisplay> virtualDisplay_;
  std::int64_t envelope_ = 0;
};

}  // namespace tandemview
