#include "protocol/DisplayPlan.h"

#include <algorithm>

#include "runtime/Truncation.h"

namespace tandemview {

using MacProtocol::DeviceClass;
using MacProtocol::DisplayPlan;

namespace {

/// Screens whose short side is at most this share of the long one are phones.
constexpr double phoneRatio = 0.65;

/// Below this many pixels a desktop is no use.
constexpr std::int64_t smallestSide = 640;

double zoomFactor(DeviceClass deviceClass, bool fullResolution) {
  if (fullResolution) return 1.0;
  return deviceClass == DeviceClass::iPad ? 0.75 : 0.5;
}

std::int64_t roundedDownToEven(std::int64_t value) {
  return value / 2 * 2;
}

}  // namespace

DeviceClass classifyDevice(std::int64_t width, std::int64_t height, const std::optional<std::string>& idiom) {
  const double ratio = static_cast<double>(std::min(width, height)) / static_cast<double>(std::max(width, height));
  if (!(ratio > phoneRatio)) return DeviceClass::iPhone;
  return idiom == "phone" ? DeviceClass::foldable : DeviceClass::iPad;
}

DisplayPlan makeDisplayPlan(std::int64_t width, std::int64_t height, const std::optional<std::string>& idiom,
                            bool fullResolution) {
  DisplayPlan plan;
  plan.deviceClass = classifyDevice(width, height, idiom);
  plan.isIPad = plan.deviceClass == DeviceClass::iPad;
  plan.zoomScale = zoomFactor(plan.deviceClass, fullResolution);

  std::int64_t planWidth = truncated(plan.zoomScale * static_cast<double>(width));
  std::int64_t planHeight = truncated(plan.zoomScale * static_cast<double>(height));
  if (planWidth < smallestSide || planHeight < smallestSide) {
    // Only the long side is raised; the other follows the phone's aspect and may stay below.
    const double aspect = static_cast<double>(width) / static_cast<double>(height);
    if (aspect > 1.0) {
      planWidth = std::max(planWidth, smallestSide);
      planHeight = truncated(static_cast<double>(planWidth) / aspect);
    } else {
      planHeight = std::max(planHeight, smallestSide);
      planWidth = truncated(aspect * static_cast<double>(planHeight));
    }
  }
  plan.width = roundedDownToEven(planWidth);
  plan.height = roundedDownToEven(planHeight);
  return plan;
}

}  // namespace tandemview
