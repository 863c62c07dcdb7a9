#include "platform/linux/x11/server/RandrLayout.h"

#include <algorithm>
#include <string_view>

#include "platform/linux/x11/server/ModeName.h"

namespace tandemview {

namespace {

bool startsWithAny(std::string_view name, std::initializer_list<std::string_view> prefixes) {
  return std::ranges::any_of(prefixes, [name](std::string_view prefix) { return name.starts_with(prefix); });
}

/// Whether no monitor is behind the output though it is called "connected": some drivers call every output so that has
/// been lit once, and a virtual device's is connected from the moment when a program opens the device. The kernel's
/// virtual devices call theirs DVI-I, which hardly any machine still has.
bool isMadeUp(const RandrLayout::Output& output) {
  return startsWithAny(output.name, {"DUMMY", "VIRTUAL", "EVDI", "DVI-I"});
}

/// How gladly we take an output for a virtual display; 0 is best.
int reluctance(const RandrLayout::Output& output) {
  if (startsWithAny(output.name, {"DVI-I"})) return 1;
  return isMadeUp(output) || startsWithAny(output.name, {"Virtual"}) ? 0 : 2;
}

template <typename Item, typename Identifier>
const Item* find(const std::vector<Item>& items, Identifier id) {
  const auto found = std::ranges::find(items, id, &Item::id);
  return found == items.end() ? nullptr : &*found;
}

std::vector<RandrLayout::Mode> readModes(const xcb_randr_get_screen_resources_current_reply_t& resources) {
  std::vector<RandrLayout::Mode> modes;
  std::string_view names(reinterpret_cast<const char*>(xcb_randr_get_screen_resources_current_names(&resources)),
                         static_cast<std::size_t>(xcb_randr_get_screen_resources_current_names_length(&resources)));
  const xcb_randr_mode_info_t* const infos = xcb_randr_get_screen_resources_current_modes(&resources);
  for (int index = 0; index < xcb_randr_get_screen_resources_current_modes_length(&resources); ++index) {
    const xcb_randr_mode_info_t& info = infos[index];
    const std::string_view name = names.substr(0, info.name_len);
    names.remove_prefix(name.size());
    modes.push_back({.id = info.id, .width = info.width, .height = info.height, .name = std::string(name)});
  }
  return modes;
}

RandrLayout::Output readOutput(xcb_randr_output_t id, const xcb_randr_get_output_info_reply_t& info) {
  const auto* const name = reinterpret_cast<const char*>(xcb_randr_get_output_info_name(&info));
  const xcb_randr_crtc_t* const crtcs = xcb_randr_get_output_info_crtcs(&info);
  const xcb_randr_mode_t* const modes = xcb_randr_get_output_info_modes(&info);
  return {.id = id,
          .name = std::string(name, static_cast<std::size_t>(xcb_randr_get_output_info_name_length(&info))),
          .connection = static_cast<xcb_randr_connection_t>(info.connection),
          .crtc = info.crtc,
          .possibleCrtcs = {crtcs, crtcs + xcb_randr_get_output_info_crtcs_length(&info)},
          .modes = {modes, modes + xcb_randr_get_output_info_modes_length(&info)}};
}

RandrLayout::Crtc readCrtc(xcb_randr_crtc_t id, const xcb_randr_get_crtc_info_reply_t& info) {
  const xcb_randr_output_t* const outputs = xcb_randr_get_crtc_info_outputs(&info);
  return {.id = id,
          .x = info.x,
          .y = info.y,
          .width = info.width,
          .height = info.height,
          .mode = info.mode,
          .rotation = info.rotation,
          .outputs = {outputs, outputs + xcb_randr_get_crtc_info_outputs_length(&info)}};
}

bool offersRandr(const X11Connection& connection) {
  if (!connection.offers(xcb_randr_id)) return false;
  const auto version =
      owned(xcb_randr_query_version_reply(connection.get(), xcb_randr_query_version(connection.get(), 1, 3), nullptr));
  return version && (version->major_version > 1 || version->minor_version >= 3);
}

}  // namespace

bool RandrLayout::Output::isBuiltIn() const {
  return startsWithAny(name, {"eDP", "LVDS", "DSI"});
}

std::optional<RandrLayout> RandrLayout::read(const X11Connection& connection) {
  if (!offersRandr(connection)) return std::nullopt;
  xcb_connection_t* const server = connection.get();
  const auto geometryRequest = xcb_get_geometry(server, connection.root());
  const auto primaryRequest = xcb_randr_get_output_primary(server, connection.root());
  const auto resourcesRequest = xcb_randr_get_screen_resources_current(server, connection.root());
  const auto geometry = owned(xcb_get_geometry_reply(server, geometryRequest, nullptr));
  const auto primary = owned(xcb_randr_get_output_primary_reply(server, primaryRequest, nullptr));
  const auto resources = owned(xcb_randr_get_screen_resources_current_reply(server, resourcesRequest, nullptr));
  if (!geometry || !primary || !resources) return std::nullopt;

  RandrLayout layout;
  layout.screenWidth = geometry->width;
  layout.screenHeight = geometry->height;
  layout.configTimestamp = resources->config_timestamp;
  layout.primary = primary->output;
  layout.modes = readModes(*resources);

  std::vector<xcb_randr_get_output_info_cookie_t> outputRequests;
  std::vector<xcb_randr_get_crtc_info_cookie_t> crtcRequests;
  const xcb_randr_output_t* const outputIDs = xcb_randr_get_screen_resources_current_outputs(resources.get());
  const xcb_randr_crtc_t* const crtcIDs = xcb_randr_get_screen_resources_current_crtcs(resources.get());
  for (std::size_t index = 0; index < resources->num_outputs; ++index) {
    outputRequests.push_back(xcb_randr_get_output_info(server, outputIDs[index], layout.configTimestamp));
  }
  for (std::size_t index = 0; index < resources->num_crtcs; ++index) {
    crtcRequests.push_back(xcb_randr_get_crtc_info(server, crtcIDs[index], layout.configTimestamp));
  }
  for (std::size_t index = 0; index < outputRequests.size(); ++index) {
    const auto info = owned(xcb_randr_get_output_info_reply(server, outputRequests[index], nullptr));
    if (info) layout.outputs.push_back(readOutput(outputIDs[index], *info));
  }
  for (std::size_t index = 0; index < crtcRequests.size(); ++index) {
    const auto info = owned(xcb_randr_get_crtc_info_reply(server, crtcRequests[index], nullptr));
    if (info) layout.crtcs.push_back(readCrtc(crtcIDs[index], *info));
  }
  if (connection.isBroken()) return std::nullopt;
  return layout;
}

const RandrLayout::Mode* RandrLayout::mode(xcb_randr_mode_t id) const {
  return find(modes, id);
}

const RandrLayout::Output* RandrLayout::output(xcb_randr_output_t id) const {
  return find(outputs, id);
}

const RandrLayout::Crtc* RandrLayout::crtc(xcb_randr_crtc_t id) const {
  return find(crtcs, id);
}

const RandrLayout::Crtc* RandrLayout::activeCrtc(xcb_randr_output_t id) const {
  const Output* const found = output(id);
  const Crtc* const shown = found ? crtc(found->crtc) : nullptr;
  return shown && shown->mode != XCB_NONE ? shown : nullptr;
}

std::vector<const RandrLayout::Output*> RandrLayout::activeOutputs() const {
  std::vector<const Output*> active;
  for (const Output& each : outputs) {
    if (activeCrtc(each.id)) active.push_back(&each);
  }
  return active;
}

const RandrLayout::Output* RandrLayout::mainOutput() const {
  if (activeCrtc(primary)) return output(primary);
  const std::vector<const Output*> active = activeOutputs();
  const auto ordinary = std::ranges::find_if(active, [this](const Output* each) {
    const Mode* const shown = mode(activeCrtc(each->id)->mode);
    return !shown || !modeOwner(shown->name);
  });
  if (ordinary != active.end()) return *ordinary;
  return active.empty() ? nullptr : active.front();
}

std::vector<const RandrLayout::Output*> RandrLayout::spareOutputs() const {
  std::vector<const Output*> spare;
  for (const Output& each : outputs) {
    const bool hasHardware =
        each.isBuiltIn() || (each.connection != XCB_RANDR_CONNECTION_DISCONNECTED && !isMadeUp(each));
    if (each.crtc == XCB_NONE && !hasHardware && freeCrtc(each)) spare.push_back(&each);
  }
  std::ranges::stable_sort(spare, {}, [](const Output* each) { return reluctance(*each); });
  return spare;
}

const RandrLayout::Crtc* RandrLayout::freeCrtc(const Output& output) const {
  for (const xcb_randr_crtc_t id : output.possibleCrtcs) {
    const Crtc* const candidate = crtc(id);
    if (candidate && candidate->mode == XCB_NONE) return candidate;
  }
  return nullptr;
}

bool RandrLayout::showsModeOf(std::string_view owner) const {
  return std::ranges::any_of(crtcs, [&](const Crtc& each) {
    const Mode* const shown = mode(each.mode);
    return shown && modeOwner(shown->name) == owner;
  });
}

ScreenSize RandrLayout::extent() const {
  ScreenSize size;
  for (const Crtc& each : crtcs) {
    if (each.mode == XCB_NONE) continue;
    size.width = std::max(size.width, static_cast<std::uint32_t>(each.x + each.width));
    size.height = std::max(size.height, static_cast<std::uint32_t>(each.y + each.height));
  }
  return size;
}

}  // namespace tandemview
