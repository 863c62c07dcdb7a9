#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "display/DisplaySystem.h"
#include "platform/linux/x11/server/RandrLayout.h"

namespace tandemview {

/// One change to the arrangement of an X screen. For its lifetime it holds the server, so that the other clients see
/// the whole change or nothing of it. It has a connection of its own: what is left to undo can be undone even when
/// the program's other connections are broken.
class RandrEdit {
 public:
  /// Null if the server can't be reached or has no RandR. New modes are named for `owner`.
  static std::unique_ptr<RandrEdit> begin(const std::string& displayName, std::string owner);

  RandrEdit(const RandrEdit&) = delete;
  RandrEdit& operator=(const RandrEdit&) = delete;
  ~RandrEdit();

  /// The arrangement: CRTCs and new modes as changed so far, the outputs as they were at the beginning.
  const RandrLayout& layout() const { return layout_; }
  const ScreenSize& screenSize() const { return screenSize_; }

  /// To ask the server, which answers nobody else meanwhile.
  const X11Connection& connection() const { return *connection_; }

  /// Brings each CRTC to what is wanted of it and the screen to the smallest size that holds everything shown and is no
  /// smaller than `least`. Where the server lets us, it also has room for `owner`'s displays turned by a quarter, so
  /// that a rotation doesn't change the screen. False: refused, and everything is as it was.
  bool configure(const std::vector<RandrLayout::Crtc>& wanted, const ScreenSize& least);

  /// Brings the screen to the size that configure() would.
  bool fitScreen(const ScreenSize& least) { return setScreenSize(sizeFor(least)); }

  /// configure() with a new mode on one output, which replaces the mode and outputs of the first wanted CRTC.
  std::optional<xcb_randr_mode_t> configureWithNewMode(std::vector<RandrLayout::Crtc> wanted, xcb_randr_output_t output,
                                                       const VirtualDisplayMode& mode, const ScreenSize& least);

  /// Which request the server refused last, and with which error.
  const std::string& refusal() const { return refusal_; }

  /// Takes a mode that nothing shows from the output and out of the world.
  void removeMode(xcb_randr_output_t output, xcb_randr_mode_t mode);

 private:
  RandrEdit(std::shared_ptr<X11Connection> connection, std::string owner)
      : connection_(std::move(connection)), owner_(std::move(owner)) {}

  bool configureWithin(const ScreenSize& size, const std::vector<RandrLayout::Crtc>& wanted,
                       const std::vector<RandrLayout::Crtc>& before);
  bool accepts(const char* request, xcb_void_cookie_t cookie);
  bool refuse(const char* request, const xcb_generic_error_t* error);
  ScreenSize sizeForRotations(const ScreenSize& size) const;
  std::optional<xcb_randr_mode_t> addMode(xcb_randr_output_t output, const VirtualDisplayMode& mode);
  bool setCrtc(const RandrLayout::Crtc& wanted);
  bool setScreenSize(const ScreenSize& size);
  ScreenSize sizeFor(const ScreenSize& least) const;

  const std::shared_ptr<X11Connection> connection_;
  const std::string owner_;
  RandrLayout layout_;
  ScreenSize screenSize_;
  ScreenSize smallestSize_;
  ScreenSize largestSize_;
  std::string refusal_;
};

}  // namespace tandemview
