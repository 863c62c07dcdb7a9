#include "platform/linux/x11/display/X11Claim.h"

#include <fmt/format.h>

#include <random>

namespace tandemview {

namespace {

/// None, without an error, if the atom shall exist already and doesn't.
X11Reply<xcb_intern_atom_reply_t> selection(const X11Connection& connection, std::string_view name, bool onlyIfExists) {
  const std::string text = fmt::format("_TANDEMVIEW_{}", name);
  return owned(xcb_intern_atom_reply(
      connection.get(),
      xcb_intern_atom(connection.get(), onlyIfExists, static_cast<std::uint16_t>(text.size()), text.data()), nullptr));
}

}  // namespace

std::unique_ptr<X11Claim> X11Claim::make(const X11Connection& connection) {
  std::random_device random;
  std::unique_ptr<X11Claim> claim(new X11Claim(fmt::format("{:08x}{:08x}", random(), random())));
  const auto atom = selection(connection, claim->name(), /*onlyIfExists=*/false);
  if (!atom) return nullptr;
  const xcb_window_t window = xcb_generate_id(connection.get());
  const auto made = xcb_create_window_checked(connection.get(), XCB_COPY_FROM_PARENT, window, connection.root(), 0, 0,
                                              1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
  const auto owns = xcb_set_selection_owner_checked(connection.get(), window, atom->atom, XCB_CURRENT_TIME);
  if (!connection.succeeded(made) || !connection.succeeded(owns)) return nullptr;
  return claim;
}

bool X11Claim::stands(const X11Connection& connection, std::string_view name) {
  const auto atom = selection(connection, name, /*onlyIfExists=*/true);
  if (!atom) return true;
  if (atom->atom == XCB_ATOM_NONE) return false;
  const auto reply = owned(
      xcb_get_selection_owner_reply(connection.get(), xcb_get_selection_owner(connection.get(), atom->atom), nullptr));
  return !reply || reply->owner != XCB_WINDOW_NONE;
}

}  // namespace tandemview
