#include "bench/SceneBox.h"

#include <array>
#include <numbers>

#include "bench/SceneColors.h"

namespace tandemview {

namespace {

constexpr double cornerRadius = 10;

void roundedRectangle(cairo_t* context, double x, double y, double width, double height, double radius) {
  constexpr double quarter = std::numbers::pi / 2;
  cairo_new_sub_path(context);
  cairo_arc(context, x + width - radius, y + radius, radius, -quarter, 0);
  cairo_arc(context, x + width - radius, y + height - radius, radius, 0, quarter);
  cairo_arc(context, x + radius, y + height - radius, radius, quarter, 2 * quarter);
  cairo_arc(context, x + radius, y + radius, radius, 2 * quarter, 3 * quarter);
  cairo_close_path(context);
}

}  // namespace

SceneBox::SceneBox(int width, int height, const std::string& title, const std::function<void(cairo_t*)>& drawBody)
    : width_(width), height_(height), image_(width + 2 * shadow, height + 2 * shadow) {
  image_.draw([&](cairo_t* context) {
    cairo_translate(context, shadow, shadow);
    drawChrome(context, title);
  });
  redrawBody(drawBody);
}

void SceneBox::redrawBody(const std::function<void(cairo_t*)>& drawBody) {
  image_.draw([&](cairo_t* context) {
    cairo_translate(context, shadow, shadow);
    clipToWindow(context);
    cairo_rectangle(context, 0, titleHeight, width_, bodyHeight());
    cairo_clip(context);
    cairo_translate(context, 0, titleHeight);
    drawBody(context);
  });
}

void SceneBox::drawChrome(cairo_t* context, const std::string& title) const {
  // Many faint outlines, one within the other, add up to a soft shadow.
  for (int spread = shadow; spread > 0; spread -= 2) {
    roundedRectangle(context, -spread, -spread + shadow / 4.0, width_ + 2 * spread, height_ + 2 * spread - shadow / 4.0,
                     cornerRadius + spread);
    SceneColors::set(context, 0x000000, 0.035);
    cairo_fill(context);
  }
  clipToWindow(context);
  SceneColors::set(context, SceneColors::titleBar);
  cairo_paint(context);
  constexpr std::array<std::uint32_t, 3> buttons = {0xF0685C, 0xF3BD4E, 0x5FC454};
  for (std::size_t index = 0; index < buttons.size(); ++index) {
    cairo_arc(context, 18 + 20 * static_cast<double>(index), titleHeight / 2.0, 6, 0, 2 * std::numbers::pi);
    SceneColors::set(context, buttons[index]);
    cairo_fill(context);
  }
  cairo_select_font_face(context, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
  cairo_set_font_size(context, 12);
  cairo_text_extents_t extents;
  cairo_text_extents(context, title.c_str(), &extents);
  cairo_move_to(context, (width_ - extents.x_advance) / 2, titleHeight / 2.0 + 4.5);
  SceneColors::set(context, SceneColors::titleText);
  cairo_show_text(context, title.c_str());
}

void SceneBox::clipToWindow(cairo_t* context) const {
  roundedRectangle(context, 0, 0, width_, height_, cornerRadius);
  cairo_clip(context);
}

}  // namespace tandemview
