#include "platform/linux/x11/capture/X11Cursor.h"

#include <algorithm>

namespace tandemview {

void X11Cursor::requestPlace() {
  xcb_connection_t* const server = connection_->get();
  placeRequest_ = xcb_query_pointer(server, connection_->root());
  shapeIsRequested_ = !shapeIsKnown_;
  if (shapeIsRequested_) shapeRequest_ = xcb_xfixes_get_cursor_image(server);
}

void X11Cursor::readPlace(std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height) {
  xcb_connection_t* const server = connection_->get();
  const auto place = owned(xcb_query_pointer_reply(server, placeRequest_, nullptr));
  if (shapeIsRequested_) {
    readShape(owned(xcb_xfixes_get_cursor_image_reply(server, shapeRequest_, nullptr)).get());
    shapeIsRequested_ = false;
    shapeIsKnown_ = true;
  }
  current_ = {};
  if (!place || !place->same_screen) return;
  left_ = place->root_x - hotSpotX_ - x;
  top_ = place->root_y - hotSpotY_ - y;
  const std::int32_t right = std::min(left_ + shapeWidth_, width);
  const std::int32_t bottom = std::min(top_ + shapeHeight_, height);
  const std::int32_t visibleLeft = std::max(left_, 0);
  const std::int32_t visibleTop = std::max(top_, 0);
  if (right <= visibleLeft || bottom <= visibleTop) return;
  current_ = {
      .rectangle = {.x = visibleLeft, .y = visibleTop, .width = right - visibleLeft, .height = bottom - visibleTop},
      .shape = shapeNumber_};
}

void X11Cursor::addChangesTo(PixelRegion& region) const {
  if (current_ == drawn_) return;
  region.add(drawn_.rectangle);
  region.add(current_.rectangle);
}

void X11Cursor::draw(SharedPixels& picture) {
  drawn_ = current_;
  const PixelRectangle& place = current_.rectangle;
  if (place.width == 0) return;
  pixman_image_t* const source = pixman_image_create_bits(PIXMAN_a8r8g8b8, shapeWidth_, shapeHeight_, shape_.data(),
                                                          shapeWidth_ * static_cast<int>(sizeof(std::uint32_t)));
  pixman_image_t* const target = pixman_image_create_bits(PIXMAN_x8r8g8b8, picture.width(), picture.height(),
                                                          reinterpret_cast<std::uint32_t*>(picture.bytes()),
                                                          static_cast<int>(picture.bytesPerRow()));
  if (source && target) {
    pixman_image_composite32(PIXMAN_OP_OVER, source, nullptr, target, place.x - left_, place.y - top_, 0, 0, place.x,
                             place.y, place.width, place.height);
  }
  if (source) pixman_image_unref(source);
  if (target) pixman_image_unref(target);
  picture.stale.add(place);
}

/// No reply: the cursor is hidden, or nobody has given it a shape yet.
void X11Cursor::readShape(const xcb_xfixes_get_cursor_image_reply_t* reply) {
  ++shapeNumber_;
  if (!reply) {
    shapeWidth_ = 0;
    shapeHeight_ = 0;
    return;
  }
  const std::uint32_t* const pixels = xcb_xfixes_get_cursor_image_cursor_image(reply);
  shape_.assign(pixels, pixels + xcb_xfixes_get_cursor_image_cursor_image_length(reply));
  shapeWidth_ = reply->width;
  shapeHeight_ = reply->height;
  hotSpotX_ = reply->xhot;
  hotSpotY_ = reply->yhot;
}

}  // namespace tandemview
