#include "platform/linux/x11/server/X11Screens.h"

namespace tandemview {

X11Screens::X11Screens(const std::string& displayName) : connection_(X11Connection::openDespiteGrabs(displayName)) {}

std::optional<std::uint32_t> X11Screens::activeDisplayCount() const {
  const auto current = layout();
  if (!current) return std::nullopt;
  return static_cast<std::uint32_t>(current->activeOutputs().size());
}

std::optional<std::vector<DisplayID>> X11Screens::activeDisplays(std::uint32_t limit) const {
  const auto current = layout();
  if (!current) return std::nullopt;
  std::vector<DisplayID> displays;
  for (const RandrLayout::Output* const output : current->activeOutputs()) {
    if (displays.size() < limit) displays.push_back(output->id);
  }
  return displays;
}

ScreenRectangle X11Screens::bounds(DisplayID display) const {
  const auto current = layout();
  const RandrLayout::Crtc* const crtc = current ? current->activeCrtc(display) : nullptr;
  if (!crtc) return {};
  return {.x = static_cast<double>(crtc->x),
          .y = static_cast<double>(crtc->y),
          .width = static_cast<double>(crtc->width),
          .height = static_cast<double>(crtc->height)};
}

PixelSize X11Screens::pixelSize(DisplayID display) const {
  const ScreenRectangle shown = bounds(display);
  return {.width = static_cast<std::int64_t>(shown.width), .height = static_cast<std::int64_t>(shown.height)};
}

bool X11Screens::isMain(DisplayID display) const {
  const auto current = layout();
  const RandrLayout::Output* const main = current ? current->mainOutput() : nullptr;
  return main && main->id == display;
}

std::optional<RandrLayout> X11Screens::layout() const {
  return connection_ ? RandrLayout::read(*connection_) : std::nullopt;
}

}  // namespace tandemview
