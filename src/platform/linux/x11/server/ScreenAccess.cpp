#include "platform/linux/x11/server/ScreenAccess.h"

namespace tandemview {

ScreenAccess screenAccess(const X11Connection& connection) {
  xcb_connection_t* const server = connection.get();
  const auto request =
      xcb_get_image(server, XCB_IMAGE_FORMAT_Z_PIXMAP, connection.root(), 0, 0, 1, 1, ~std::uint32_t(0));
  xcb_generic_error_t* failure = nullptr;
  const auto pixel = owned(xcb_get_image_reply(server, request, &failure));
  const auto error = owned(failure);
  if (pixel) return ScreenAccess::Granted;
  return error && error->error_code == XCB_ACCESS ? ScreenAccess::Refused : ScreenAccess::Unknown;
}

}  // namespace tandemview
