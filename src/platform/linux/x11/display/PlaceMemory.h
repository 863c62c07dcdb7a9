#pragma once

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "platform/linux/x11/display/DisplayPlace.h"
#include "runtime/UserDefaults.h"

namespace tandemview {

/// Keeps in the settings where the user puts virtual displays, by their size, either way up. What has changed since we
/// arranged a display ourselves is taken for the user's doing, as long as the same other outputs are active: when one
/// comes or goes, the desktop rearranges on its own.
class PlaceMemory {
 public:
  /// Without settings nothing is kept.
  explicit PlaceMemory(std::shared_ptr<UserDefaults> settings) : settings_(std::move(settings)) {}

  /// Where the user last put a display of that size.
  std::optional<DisplayPlace> find(std::uint32_t width, std::uint32_t height) const;

  /// From now on the output is a virtual display, until it is none any more.
  void add(xcb_randr_output_t output) { seen_.try_emplace(output); }
  void remove(xcb_randr_output_t output) { seen_.erase(output); }

  /// The arrangement as we have made it.
  void arranged(const RandrLayout& layout);

  /// The arrangement as it is, whoever has made it.
  void look(const RandrLayout& layout);

 private:
  struct Seen {
    std::vector<xcb_randr_output_t> outputs;  // that are active
    std::optional<DisplayPlace> place;
  };

  static Seen see(const RandrLayout& layout, xcb_randr_output_t output);

  const std::shared_ptr<UserDefaults> settings_;
  std::map<xcb_randr_output_t, Seen> seen_;
};

}  // namespace tandemview
