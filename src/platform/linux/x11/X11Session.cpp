#include "platform/linux/x11/X11Session.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "platform/linux/x11/server/RandrLayout.h"
#include "platform/linux/x11/server/ScreenAccess.h"

namespace tandemview {

namespace {

/// Xwayland's extension, since its version 23.1. Older ones call their outputs so, with a number.
constexpr std::string_view guestName = "XWAYLAND";

bool isGuestOfWayland(const X11Connection& connection) {
  xcb_connection_t* const server = connection.get();
  const auto extension = owned(
      xcb_query_extension_reply(server, xcb_query_extension(server, guestName.size(), guestName.data()), nullptr));
  if (extension && extension->present) return true;
  const auto layout = RandrLayout::read(connection);
  return layout && std::any_of(layout->outputs.begin(), layout->outputs.end(),
                               [](const RandrLayout::Output& output) { return output.name.starts_with(guestName); });
}

/// As the environment has it, which may be inherited and so is no proof.
bool isSaidToBeWayland() {
  const auto value = [](const char* variable) -> std::string_view {
    const char* const text = std::getenv(variable);
    return text ? text : "";
  };
  return !value("WAYLAND_DISPLAY").empty() || value("XDG_SESSION_TYPE") == "wayland";
}

}  // namespace

X11Session X11Session::find(const std::string& displayName) {
  const auto connection = X11Connection::open(displayName);
  if (!connection) return {.isWayland = isSaidToBeWayland()};
  return {.hasServer = true,
          .isWayland = isGuestOfWayland(*connection),
          .isTrusted = screenAccess(*connection) != ScreenAccess::Refused};
}

}  // namespace tandemview
