#include "support/X11TestClient.h"

#include <fmt/format.h>
#include <xcb/shm.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <cstring>

#include "end_to_end/Program.h"
#include "runtime/Assertion.h"

namespace tandemview {

X11TestClient::X11TestClient(const std::string& displayName)
    : displayName_(displayName), connection_(X11Connection::open(displayName)) {
  context_ = xcb_generate_id(connection_->get());
  const std::uint32_t includeInferiors = XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS;
  xcb_create_gc(connection_->get(), context_, connection_->root(), XCB_GC_SUBWINDOW_MODE, &includeInferiors);
}

RandrLayout X11TestClient::layout() const {
  return RandrLayout::read(*connection_).value();
}

xcb_randr_output_t X11TestClient::outputNamed(const std::string& name) const {
  const RandrLayout current = layout();
  const auto found = std::ranges::find(current.outputs, name, &RandrLayout::Output::name);
  return found == current.outputs.end() ? xcb_randr_output_t{XCB_NONE} : found->id;
}

std::string X11TestClient::arrangement() const {
  const RandrLayout current = layout();
  std::string text =
      fmt::format("screen {}x{}, primary {}\n", current.screenWidth, current.screenHeight, current.primary);
  for (const RandrLayout::Output& output : current.outputs) {
    if (const auto* const crtc = current.activeCrtc(output.id)) {
      text += fmt::format("{}: {}x{}+{}+{}, mode {}, rotation {}\n", output.name, crtc->width, crtc->height, crtc->x,
                          crtc->y, crtc->mode, crtc->rotation);
    }
    text += fmt::format("{}: connection {}, {} modes\n", output.name, static_cast<int>(output.connection),
                        output.modes.size());
  }
  for (const RandrLayout::Mode& mode : current.modes) text += fmt::format("mode {} {}\n", mode.id, mode.name);
  return text;
}

void X11TestClient::xrandr(const std::string& arguments) const {
  Program program({"/bin/sh", "-c", "exec xrandr " + arguments}, {{"DISPLAY", displayName_}});
  require(program.wait() == 0, "xrandr does what it is told (package x11-xserver-utils)");
}

void X11TestClient::light(const std::string& output) const {
  xrandr("--addmode " + output + " 1280x800");
  xrandr("--output " + output + " --mode 1280x800 --same-as DUMMY0");
}

void X11TestClient::darken(xcb_randr_output_t output) {
  const RandrLayout current = layout();
  const auto request =
      xcb_randr_set_crtc_config(connection_->get(), current.activeCrtc(output)->id, XCB_CURRENT_TIME,
                                current.configTimestamp, 0, 0, XCB_NONE, XCB_RANDR_ROTATION_ROTATE_0, 0, nullptr);
  owned(xcb_randr_set_crtc_config_reply(connection_->get(), request, nullptr));
}

void X11TestClient::setEdid(xcb_randr_output_t output, const std::vector<std::uint8_t>& edid) {
  const auto atom =
      owned(xcb_intern_atom_reply(connection_->get(), xcb_intern_atom(connection_->get(), 0, 4, "EDID"), nullptr));
  connection_->succeeded(xcb_randr_change_output_property_checked(
      connection_->get(), output, atom->atom, XCB_ATOM_INTEGER, 8, XCB_PROP_MODE_REPLACE,
      static_cast<std::uint32_t>(edid.size()), edid.data()));
}

void X11TestClient::paint(const PixelRectangle& rectangle, std::uint32_t color) {
  xcb_change_gc(connection_->get(), context_, XCB_GC_FOREGROUND, &color);
  const xcb_rectangle_t painted = {static_cast<std::int16_t>(rectangle.x), static_cast<std::int16_t>(rectangle.y),
                                   static_cast<std::uint16_t>(rectangle.width),
                                   static_cast<std::uint16_t>(rectangle.height)};
  connection_->succeeded(
      xcb_poly_fill_rectangle_checked(connection_->get(), connection_->root(), context_, 1, &painted));
}

std::vector<std::uint32_t> X11TestClient::screenshot(const PixelRectangle& rectangle) {
  const auto request =
      xcb_get_image(connection_->get(), XCB_IMAGE_FORMAT_Z_PIXMAP, connection_->root(),
                    static_cast<std::int16_t>(rectangle.x), static_cast<std::int16_t>(rectangle.y),
                    static_cast<std::uint16_t>(rectangle.width), static_cast<std::uint16_t>(rectangle.height), ~0U);
  const auto reply = owned(xcb_get_image_reply(connection_->get(), request, nullptr));
  std::vector<std::uint32_t> pixels(static_cast<std::size_t>(rectangle.width * rectangle.height));
  if (reply) std::memcpy(pixels.data(), xcb_get_image_data(reply.get()), pixels.size() * sizeof(pixels[0]));
  return pixels;
}

void X11TestClient::setSquareCursor(std::uint16_t red, std::uint16_t green, std::uint16_t blue) {
  xcb_connection_t* const server = connection_->get();
  const xcb_pixmap_t bitmap = xcb_generate_id(server);
  xcb_create_pixmap(server, 1, bitmap, connection_->root(), 16, 16);
  const xcb_gcontext_t bits = xcb_generate_id(server);
  const std::uint32_t ones = 1;
  xcb_create_gc(server, bits, bitmap, XCB_GC_FOREGROUND, &ones);
  const xcb_rectangle_t all = {0, 0, 16, 16};
  xcb_poly_fill_rectangle(server, bitmap, bits, 1, &all);
  const xcb_cursor_t cursor = xcb_generate_id(server);
  xcb_create_cursor(server, cursor, bitmap, bitmap, red, green, blue, 0, 0, 0, 0, 0);
  connection_->succeeded(xcb_change_window_attributes_checked(server, connection_->root(), XCB_CW_CURSOR, &cursor));
  xcb_free_cursor(server, cursor);
  xcb_free_gc(server, bits);
  xcb_free_pixmap(server, bitmap);
}

void X11TestClient::movePointer(std::int16_t x, std::int16_t y) {
  connection_->succeeded(xcb_test_fake_input_checked(connection_->get(), XCB_MOTION_NOTIFY, /*detail=*/0,
                                                     XCB_CURRENT_TIME, connection_->root(), x, y, /*deviceid=*/0));
}

}  // namespace tandemview
