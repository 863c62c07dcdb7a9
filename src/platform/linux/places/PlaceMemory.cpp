#include "platform/linux/places/PlaceMemory.h"

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

void PlaceMemory::arranged(const Arrangement& arrangement) {
  for (auto& [screen, seen] : seen_) seen = see(arrangement, screen);
}

void PlaceMemory::look(const Arrangement& arrangement) {
  for (auto& [screen, seen] : seen_) {
    Seen now = see(arrangement, screen);
    const auto own = std::ranges::find(arrangement, screen, &PlacedScreen::id);
    if (settings_ && now.place && now.place != seen.place && now.screens == seen.screens) {
      settings_->setString(key(static_cast<std::uint32_t>(own->width), static_cast<std::uint32_t>(own->height)),
                           now.place->text());
    }
    seen = std::move(now);
  }
}

PlaceMemory::Seen PlaceMemory::see(const Arrangement& arrangement, std::uint32_t screen) {
  Seen seen = {.screens = {}, .place = DisplayPlace::of(arrangement, screen)};
  for (const PlacedScreen& each : arrangement) seen.screens.push_back(each.id);
  return seen;
}

}  // namespace tandemview
