#include "bench/SceneImage.h"

#include <algorithm>

namespace tandemview {

namespace {

/// `top` over `bottom`, two colours at a time; off by one at most.
std::uint32_t over(std::uint32_t top, std::uint32_t bottom) {
  const std::uint32_t through = 256 - (top >> 24);
  const std::uint32_t redBlue = (bottom & 0x00FF00FF) * through >> 8 & 0x00FF00FF;
  const std::uint32_t green = (bottom & 0x0000FF00) * through >> 8 & 0x0000FF00;
  return top + redBlue + green;
}

CairoOwned<cairo_surface_t> surfaceOn(const SceneView& view) {
  return CairoOwned<cairo_surface_t>(
      cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(view.pixels.data()), CAIRO_FORMAT_ARGB32,
                                          view.width, view.height, view.width * 4));
}

}  // namespace

SceneImage::SceneImage(int width, int height)
    : width_(width), height_(height), pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

void SceneImage::draw(const std::function<void(cairo_t*)>& work) {
  drawOn({width_, height_, pixels_}, work);
}

void SceneImage::paintOn(cairo_t* context) {
  const CairoOwned<cairo_surface_t> surface = surfaceOn({width_, height_, pixels_});
  cairo_set_source_surface(context, surface.get(), 0, 0);
  cairo_paint(context);
}

void SceneImage::copyRows(int firstRow, int rows, const SceneView& target, int x, int y) const {
  const auto from = pixels_.begin() + static_cast<std::ptrdiff_t>(firstRow) * width_;
  const std::span<std::uint32_t> to = target.pixels.subspan(
      static_cast<std::size_t>(y) * static_cast<std::size_t>(target.width) + static_cast<std::size_t>(x));
  if (width_ == target.width) {
    std::copy_n(from, static_cast<std::ptrdiff_t>(rows) * width_, to.begin());
    return;
  }
  for (int row = 0; row < rows; ++row) {
    std::copy_n(from + static_cast<std::ptrdiff_t>(row) * width_, width_,
                to.begin() + static_cast<std::ptrdiff_t>(row) * target.width);
  }
}

void SceneImage::blend(const SceneView& target, int x, int y) const {
  const int left = std::max(0, -x);
  const int right = std::min(width_, target.width - x);
  const int bottom = std::min(height_, target.height - y);
  for (int row = std::max(0, -y); row < bottom && left < right; ++row) {
    const std::uint32_t* from = pixels_.data() + static_cast<std::ptrdiff_t>(row) * width_;
    std::uint32_t* to = target.row(y + row).data() + x;
    for (int column = left; column < right; ++column) to[column] = over(from[column], to[column]);
  }
}

void drawOn(const SceneView& view, const std::function<void(cairo_t*)>& work) {
  const CairoOwned<cairo_surface_t> surface = surfaceOn(view);
  const CairoOwned<cairo_t> context(cairo_create(surface.get()));
  work(context.get());
  cairo_surface_flush(surface.get());
}

}  // namespace tandemview
