#pragma once

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "platform/linux/places/DisplayPlace.h"
#include "runtime/UserDefaults.h"

namespace tandemview {

/// Keeps in the settings where the user puts virtual displays, by their size, either way up. What has changed since we
/// arranged a display ourselves is taken for the user's doing, as long as the same other screens are there: when one
/// comes or goes, the desktop rearranges on its own.
class PlaceMemory {
 public:
  /// Without settings nothing is kept.
  explicit PlaceMemory(std::shared_ptr<UserDefaults> settings) : settings_(std::move(settings)) {}

  /// Where the user last put a display of that size.
  std::optional<DisplayPlace> find(std::uint32_t width, std::uint32_t height) const;

  /// From now on the screen is a virtual display, until it is none any more.
  void add(std::uint32_t screen) { seen_.try_emplace(screen); }
  void remove(std::uint32_t screen) { seen_.erase(screen); }

  /// The arrangement as we have made it.
  void arranged(const Arrangement& arrangement);

  /// The arrangement as it is, whoever has made it.
  void look(const Arrangement& arrangement);

 private:
  struct Seen {
    std::vector<std::uint32_t> screens;
    std::optional<DisplayPlace> place;
  };

  static Seen see(const Arrangement& arrangement, std::uint32_t screen);

  const std::shared_ptr<UserDefaults> settings_;
  std::map<std::uint32_t, Seen> seen_;
};

}  // namespace tandemview
