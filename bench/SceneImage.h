#pragma once

#include <cairo.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace tandemview {

struct CairoDeleter {
  void operator()(cairo_t* context) const { cairo_destroy(context); }
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  void operator()(cairo_pattern_t* pattern) const { cairo_pattern_destroy(pattern); }
};
template <typename Object>
using CairoOwned = std::unique_ptr<Object, CairoDeleter>;

/// Pixels that somebody else owns, row by row without gaps: 0xAARRGGBB with the colours multiplied by the alpha.
struct SceneView {
  int width = 0;
  int height = 0;
  std::span<std::uint32_t> pixels;

  std::span<std::uint32_t> row(int y) const {
    return pixels.subspan(static_cast<std::size_t>(y) * static_cast<std::size_t>(width),
                          static_cast<std::size_t>(width));
  }
};

/// A piece of the picture that is drawn once and then copied from.
class SceneImage {
 public:
  SceneImage() = default;
  /// Transparent at first.
  SceneImage(int width, int height);

  int width() const { return width_; }
  int height() const { return height_; }

  /// Draws with cairo.
  void draw(const std::function<void(cairo_t*)>& work);

  /// Paints the image at the origin of `context`.
  void paintOn(cairo_t* context);

  /// Copies `rows` rows from `firstRow` on, as far as they are wide, to (x, y). They must lie within `target`.
  void copyRows(int firstRow, int rows, const SceneView& target, int x, int y) const;

  /// Lays the image over `target` at (x, y), by its alpha; what lies outside is cut off.
  void blend(const SceneView& target, int x, int y) const;

 private:
  int width_ = 0;
  int height_ = 0;
  std::vector<std::uint32_t> pixels_;
};

/// Draws with cairo on pixels that somebody else owns.
void drawOn(const SceneView& view, const std::function<void(cairo_t*)>& work);

}  // namespace tandemview
