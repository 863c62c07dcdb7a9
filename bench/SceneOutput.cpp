#include "bench/SceneOutput.h"

#include <xcb/randr.h>

#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

namespace tandemview {

namespace {

struct Free {
  void operator()(void* reply) const { std::free(reply); }
};
template <typename Reply>
using Owned = std::unique_ptr<Reply, Free>;

struct ActiveOutput {
  xcb_randr_output_t identifier;
  SceneOutput output;
};

/// Xwayland rounds the widths of modes down to whole characters; the screen as a whole is exact.
std::uint16_t wholeWidth(xcb_connection_t* connection, xcb_window_t root,
                         const xcb_randr_get_crtc_info_reply_t& place) {
  constexpr int characterWidth = 8;
  const Owned<xcb_get_geometry_reply_t> screen(
      xcb_get_geometry_reply(connection, xcb_get_geometry(connection, root), nullptr));
  const int beyond = screen ? screen->width - (place.x + place.width) : 0;
  return beyond > 0 && beyond < characterWidth ? static_cast<std::uint16_t>(place.width + beyond) : place.width;
}

std::vector<ActiveOutput> activeOutputs(xcb_connection_t* connection, xcb_window_t root) {
  std::vector<ActiveOutput> active;
  const Owned<xcb_randr_get_screen_resources_current_reply_t> resources(xcb_randr_get_screen_resources_current_reply(
      connection, xcb_randr_get_screen_resources_current(connection, root), nullptr));
  if (!resources) return active;
  const std::span outputs(xcb_randr_get_screen_resources_current_outputs(resources.get()), resources->num_outputs);
  for (const xcb_randr_output_t identifier : outputs) {
    const Owned<xcb_randr_get_output_info_reply_t> info(xcb_randr_get_output_info_reply(
        connection, xcb_randr_get_output_info(connection, identifier, resources->config_timestamp), nullptr));
    if (!info || info->crtc == XCB_NONE) continue;
    const Owned<xcb_randr_get_crtc_info_reply_t> place(xcb_randr_get_crtc_info_reply(
        connection, xcb_randr_get_crtc_info(connection, info->crtc, resources->config_timestamp), nullptr));
    if (!place || place->mode == XCB_NONE) continue;
    const std::string name(reinterpret_cast<const char*>(xcb_randr_get_output_info_name(info.get())), info->name_len);
    active.push_back({identifier, {name, place->x, place->y, wholeWidth(connection, root, *place), place->height}});
  }
  return active;
}

xcb_randr_output_t primaryOutput(xcb_connection_t* connection, xcb_window_t root) {
  const Owned<xcb_randr_get_output_primary_reply_t> reply(
      xcb_randr_get_output_primary_reply(connection, xcb_randr_get_output_primary(connection, root), nullptr));
  return reply ? reply->output : XCB_NONE;
}

}  // namespace

std::optional<SceneOutput> findSceneOutput(xcb_connection_t* connection, xcb_window_t root, const std::string& name) {
  const std::vector<ActiveOutput> active = activeOutputs(connection, root);
  xcb_randr_output_t primary = primaryOutput(connection, root);
  if (primary == XCB_NONE && !active.empty()) primary = active.front().identifier;
  for (const ActiveOutput& candidate : active) {
    const bool isWanted = name.empty() ? candidate.identifier != primary : candidate.output.name == name;
    if (isWanted) return candidate.output;
  }
  return std::nullopt;
}

}  // namespace tandemview
