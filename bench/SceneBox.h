#pragma once

#include <cairo.h>

#include <functional>
#include <string>

#include "bench/SceneImage.h"

namespace tandemview {

/// The window within the picture: title bar, rounded corners, soft shadow and a body of its own.
class SceneBox {
 public:
  static constexpr int shadow = 28;  // pixels around the window
  static constexpr int titleHeight = 30;

  /// The size of window and body, without the shadow. `drawBody` draws with the body's top left as its origin.
  SceneBox(int width, int height, const std::string& title, const std::function<void(cairo_t*)>& drawBody);

  int width() const { return width_; }
  int height() const { return height_; }
  int bodyHeight() const { return height_ - titleHeight; }

  void redrawBody(const std::function<void(cairo_t*)>& drawBody);

  /// With the window's top left at (x, y).
  void show(const SceneView& target, int x, int y) const { image_.blend(target, x - shadow, y - shadow); }

 private:
  void drawChrome(cairo_t* context, const std::string& title) const;
  void clipToWindow(cairo_t* context) const;

  int width_;
  int height_;
  SceneImage image_;
};

}  // namespace tandemview
