#include "support/PaintedWindow.h"

#include <array>
#include <cstdlib>

namespace tandemview {

PaintedWindow::PaintedWindow(const std::string& displayName, const PixelRectangle& place)
    : connection_(xcb_connect(displayName.c_str(), nullptr)), window_(xcb_generate_id(connection_)) {
  const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
  const std::array<std::uint32_t, 2> values = {0, 1};  // black, and without a frame
  xcb_create_window(connection_, screen.root_depth, window_, screen.root, static_cast<std::int16_t>(place.x),
                    static_cast<std::int16_t>(place.y), static_cast<std::uint16_t>(place.width),
                    static_cast<std::uint16_t>(place.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual,
                    XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values.data());
  xcb_map_window(connection_, window_);
  xcb_flush(connection_);
}

void PaintedWindow::paint(std::uint32_t color) {
  xcb_change_window_attributes(connection_, window_, XCB_CW_BACK_PIXEL, &color);
  xcb_clear_area(connection_, 0, window_, 0, 0, 0, 0);
  std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
}

}  // namespace tandemview
