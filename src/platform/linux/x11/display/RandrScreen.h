#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "display/DisplaySystem.h"
#include "platform/linux/places/PlaceMemory.h"
#include "platform/linux/x11/display/RandrEdit.h"
#include "platform/linux/x11/display/X11Claim.h"
#include "runtime/UserDefaults.h"

namespace tandemview {

/// What this program does to the arrangement of an X screen. The other screens keep their modes and roles, and their
/// places, too, but where the user wants the virtual display left of or above them: X has no negative coordinates, so
/// they make way, and come back. Operations may be called from any thread.
class RandrScreen {
 public:
  /// An output that shows a mode of ours.
  struct Shown {
    xcb_randr_output_t output = XCB_NONE;
    xcb_randr_mode_t mode = XCB_NONE;
  };

  /// `connection` is one to the server of that name; null if there is none. The server tells there of every change to
  /// the arrangement, and for as long as it lives, other copies of the program leave alone what this one shows. The
  /// user's arrangement is kept in `settings`, if there are any.
  RandrScreen(std::string displayName, std::shared_ptr<X11Connection> connection,
              std::shared_ptr<UserDefaults> settings = nullptr);

  /// Shows `mode` on the output of `former`, while that is ours, or, if there is no former, on a spare output;
  /// `former`'s mode is removed.
  /// It comes where the user put a display of that size, or else where the former lies in relation to its neighbour, or
  /// else to the right of all screens. Absent: refused, and everything is as it was.
  std::optional<Shown> show(const VirtualDisplayMode& mode, const std::optional<Shown>& former);

  /// Whether the output still shows that mode, and nothing but it. Somebody may have darkened it, given it another
  /// mode (a monitor that was plugged in, a desktop's profile) or joined an output of theirs to it: then it is theirs.
  bool shows(const Shown& shown) const;

  /// Darkens the output, if it is still ours, removes its mode and gives the screen the size that it had before.
  void hide(const Shown& shown);

  /// Moves an active output. False for negative coordinates: to shift every other screen, and the windows on them, is
  /// the user's decision.
  bool move(xcb_randr_output_t output, std::int32_t x, std::int32_t y);

  bool selectMode(xcb_randr_output_t output, xcb_randr_mode_t mode);

  /// To be called for what the server tells, where its notices are read.
  void arrangementChanged();

  /// Whether one of this program's virtual displays is among what is shown.
  bool showsDisplay(const RandrLayout& layout) const { return claim_ && layout.showsModeOf(claim_->name()); }

  /// Removes what is left of runs that have ended and what this process has shown itself.
  void removeLeftovers();

  /// removeLeftovers(); from then on everything is refused.
  void close();

 private:
  struct Sizes {
    ScreenSize original;  // before we showed anything
    ScreenSize ours;      // as we left it
  };

  /// With whichever server has the name by now: where ours has ended, another one may have taken its place, with
  /// outputs and modes of the same numbers. What we undo is known by its mode's name.
  std::unique_ptr<RandrEdit> begin();
  /// Only with the server on which our claim stands: for what is to be shown or moved.
  std::unique_ptr<RandrEdit> beginWithClaim();
  bool isOurMode(const RandrLayout& layout, xcb_randr_mode_t id) const;
  bool isOurs(const RandrLayout& layout, const Shown& shown) const;
  bool isLeftover(const RandrEdit& edit, std::string_view owner) const;
  std::vector<DisplayPlace::Point> origins(const RandrLayout& layout, const RandrLayout::Output& output,
                                           const VirtualDisplayMode& mode) const;
  ScreenSize leastSize(const RandrEdit& edit) const;
  void remember(const RandrEdit& edit, const ScreenSize& least);

  const std::string displayName_;
  const std::shared_ptr<X11Connection> connection_;
  const std::unique_ptr<X11Claim> claim_;  // on what this process shows; null without a server
  std::mutex mutex_;                       // one change at a time; guards what follows
  PlaceMemory places_;
  std::optional<Sizes> sizes_;
  std::set<xcb_randr_output_t> refusing_;  // have refused a display and are asked last
  bool isClosed_ = false;
};

}  // namespace tandemview
