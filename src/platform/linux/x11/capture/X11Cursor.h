#pragma once

#include <xcb/xfixes.h>

#include <cstdint>
#include <vector>

#include "platform/linux/picture/PixelRegion.h"
#include "platform/linux/x11/capture/SharedPixels.h"
#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

/// The pointer's picture as it lies over one display. Used on one thread.
class X11Cursor {
 public:
  explicit X11Cursor(std::shared_ptr<X11Connection> connection) : connection_(std::move(connection)) {}

  void shapeChanged() { shapeIsKnown_ = false; }

  /// Asks the server where the pointer is, and for its shape if that has changed. The display lies at (x, y) of the
  /// screen and has the given size.
  void requestPlace();
  void readPlace(std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height);

  /// What has to be drawn anew since the last draw(): where the cursor was drawn then and where it is now, if those
  /// differ or its shape does.
  void addChangesTo(PixelRegion& region) const;

  /// Draws the cursor over a picture of the display without it, and marks the place as stale.
  void draw(SharedPixels& picture);

 private:
  struct Appearance {
    PixelRectangle rectangle;  // within the display; empty if the cursor can't be seen
    std::uint64_t shape = 0;

    bool operator==(const Appearance&) const = default;
  };

  void readShape(const xcb_xfixes_get_cursor_image_reply_t* reply);

  const std::shared_ptr<X11Connection> connection_;
  xcb_query_pointer_cookie_t placeRequest_{};
  xcb_xfixes_get_cursor_image_cookie_t shapeRequest_{};
  bool shapeIsKnown_ = false;
  bool shapeIsRequested_ = false;

  std::uint64_t shapeNumber_ = 0;  // of the shape below
  std::vector<std::uint32_t> shape_;
  std::int32_t shapeWidth_ = 0;
  std::int32_t shapeHeight_ = 0;
  std::int32_t hotSpotX_ = 0;
  std::int32_t hotSpotY_ = 0;

  std::int32_t left_ = 0;  // of the whole shape, relative to the display
  std::int32_t top_ = 0;
  Appearance current_;
  Appearance drawn_;
};

}  // namespace tandemview
