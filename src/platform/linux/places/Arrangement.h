#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tandemview {

/// Where one of a session's screens lies, in the session's own coordinates.
struct PlacedScreen {
  std::uint32_t id = 0;
  std::string name;  // that it keeps from one session to the next
  std::int32_t x = 0;
  std::int32_t y = 0;
  std::int32_t width = 0;
  std::int32_t height = 0;
  bool isMain = false;
};

/// The screens that show a picture.
using Arrangement = std::vector<PlacedScreen>;

}  // namespace tandemview
