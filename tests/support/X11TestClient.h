#pragma once

#include "capture/PixelBuffer.h"
#include "platform/linux/x11/server/RandrLayout.h"
#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

/// Another program of the desktop: it paints, owns the pointer and looks at the arrangement with its own eyes. Each
/// operation returns when the server has carried it out.
class X11TestClient {
 public:
  explicit X11TestClient(const std::string& displayName);

  RandrLayout layout() const;
  xcb_randr_output_t outputNamed(const std::string& name) const;

  /// The arrangement as lines of text: the screen, every output that is lit or has modes, and every mode made at run
  /// time. Equal texts are equal arrangements.
  std::string arrangement() const;

  /// What a user does to the arrangement.
  void xrandr(const std::string& arguments) const;
  /// Makes a dark output show the same part of the screen as DUMMY0.
  void light(const std::string& output) const;
  /// Leaves the screen as large as it is.
  void darken(xcb_randr_output_t output);
  void setEdid(xcb_randr_output_t output, const std::vector<std::uint8_t>& edid);

  /// Paints in screen coordinates.
  void paint(const PixelRectangle& rectangle, std::uint32_t color);

  /// The pixels of the screen, without the cursor.
  std::vector<std::uint32_t> screenshot(const PixelRectangle& rectangle);

  /// Gives the pointer, over every window, an opaque square of 16 pixels with the hot spot at its upper left corner.
  void setSquareCursor(std::uint16_t red, std::uint16_t green, std::uint16_t blue);
  void movePointer(std::int16_t x, std::int16_t y);

 private:
  std::string displayName_;
  std::shared_ptr<X11Connection> connection_;
  xcb_gcontext_t context_ = XCB_NONE;
};

}  // namespace tandemview
