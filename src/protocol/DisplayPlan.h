#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "protocol/DeviceClass.h"

namespace tandemview {

namespace MacProtocol {

/// The virtual display chosen for a phone. Two equal plans need no change of the display.
struct DisplayPlan {
  std::int64_t width = 0;   // pixels, even
  std::int64_t height = 0;  // pixels, even
  bool isIPad = false;
  double zoomScale = 1;  // the factor that was applied to the phone's size
  DeviceClass deviceClass = DeviceClass::iPhone;

  bool operator==(const DisplayPlan&) const = default;
};

}  // namespace MacProtocol

/// Tells a phone from nearly square screens, which are tablets unless they say that they are phones.
MacProtocol::DeviceClass classifyDevice(std::int64_t width, std::int64_t height,
                                        const std::optional<std::string>& idiom);

/// Sizes in pixels as the phone reports them. A size whose arithmetic leaves the integers (0 × 0) stops the program:
/// callers pass sane sizes.
MacProtocol::DisplayPlan makeDisplayPlan(std::int64_t width, std::int64_t height,
                                         const std::optional<std::string>& idiom, bool fullResolution);

}  // namespace tandemview
