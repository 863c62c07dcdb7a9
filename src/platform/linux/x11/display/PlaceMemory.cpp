#include "platform/linux/x11/display/PlaceMemory.h"

#include <fmt/format.h>

#include <algorithm>

namespace tandemview {

namespace {

std::string key(std::uint32_t width, std::uint32_t height) {
  return fmt::format("displayPlace.{}x{}", std::min(width, height), std::max(width, height));
}

}  // namespace

std::optional<DisplayPlace> PlaceMemory::find(std::uint32_t width, std::uint32_t height) const {
  const auto text = settings_ ? settings_->string(key(width, height)) : std::nullopt;
  return text ? DisplayPlace::parse(*text) : std::nullopt;
}

void PlaceMemory::arranged(const RandrLayout& layout) {
  for (auto& [output, seen] : seen_) seen = see(layout, output);
}

void PlaceMemory::look(const RandrLayout& layout) {
  for (auto& [output, seen] : seen_) {
    Seen now = see(layout, output);
    const RandrLayout::Crtc* const crtc = layout.activeCrtc(output);
    if (settings_ && crtc && now.place && now.place != seen.place && now.outputs == seen.outputs) {
      settings_->setString(key(crtc->width, crtc->height), now.place->text());
    }
    seen = std::move(now);
  }
}

PlaceMemory::Seen PlaceMemory::see(const RandrLayout& layout, xcb_randr_output_t output) {
  Seen seen = {.outputs = {}, .place = DisplayPlace::of(layout, output)};
  for (const RandrLayout::Output* const active : layout.activeOutputs()) seen.outputs.push_back(active->id);
  return seen;
}

}  // namespace tandemview
