#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <string>

#include "capture/PixelBuffer.h"

namespace tandemview {

/// A window of one colour at a place of a private desktop's space, that nobody manages.
class PaintedWindow {
 public:
  PaintedWindow(const std::string& displayName, const PixelRectangle& place);
  ~PaintedWindow() { xcb_disconnect(connection_); }
  PaintedWindow(const PaintedWindow&) = delete;
  PaintedWindow& operator=(const PaintedWindow&) = delete;

  /// Returns when the X server has it.
  void paint(std::uint32_t color);

 private:
  xcb_connection_t* const connection_;
  const xcb_window_t window_;
};

}  // namespace tandemview
