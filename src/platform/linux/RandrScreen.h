#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "display/DisplaySystem.h"
#include "platform/linux/RandrEdit.h"

namespace tandemview {

/// What this program does to the arrangement of an X screen. The other screens keep their places, modes and roles.
/// Operations may be called from any thread.
class RandrScreen {
 public:
  /// An output that shows a mode of ours.
  struct Shown {
    xcb_randr_output_t output = XCB_NONE;
    xcb_randr_mode_t mode = XCB_NONE;
  };

  explicit RandrScreen(std::string displayName) : displayName_(std::move(displayName)) {}

  /// Shows `mode` on the output of `former`, where that lies, or, if there is no former, on a spare output to the
  /// right of all screens; `former`'s mode is removed. Absent: refused, and everything is as it was.
  std::optional<Shown> show(const VirtualDisplayMode& mode, const std::optional<Shown>& former);

  /// Darkens the output, removes its mode and gives the screen the size that it had before.
  void hide(const Shown& shown);

  /// Moves an active output. X has no negative coordinates: instead of there, the output goes to the right of all
  /// others, as the alternative, to shift every other screen, would shift the windows on them too.
  bool move(xcb_randr_output_t output, std::int32_t x, std::int32_t y);

  bool selectMode(xcb_randr_output_t output, xcb_randr_mode_t mode);

  /// Removes what is left of runs that have ended and what this process has shown itself.
  void removeLeftovers();

  /// removeLeftovers(); from then on everything is refused.
  void close();

 private:
  struct Sizes {
    ScreenSize original;  // before we showed anything
    ScreenSize ours;      // as we left it
  };

  std::unique_ptr<RandrEdit> begin() const;
  ScreenSize leastSize(const RandrEdit& edit) const;
  void remember(const RandrEdit& edit, const ScreenSize& least);

  const std::string displayName_;
  mutable std::mutex mutex_;  // one change at a time; guards the two below
  std::optional<Sizes> sizes_;
  bool isClosed_ = false;
};

}  // namespace tandemview
