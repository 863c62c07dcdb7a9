#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <string>

namespace tandemview {

/// An active output of the X server and its place on the screen, in pixels.
struct SceneOutput {
  std::string name;
  std::int16_t x = 0;
  std::int16_t y = 0;
  std::uint16_t width = 0;
  std::uint16_t height = 0;

  bool operator==(const SceneOutput&) const = default;
};

/// The active output called `name` or, if that is empty, the first that is not the primary one; without a primary
/// output, the first active one counts as such.
std::optional<SceneOutput> findSceneOutput(xcb_connection_t* connection, xcb_window_t root, const std::string& name);

}  // namespace tandemview
