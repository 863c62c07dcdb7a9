#include "protocol/StreamQuality.h"

#include <algorithm>

namespace tandemview {

namespace {

struct Properties {
  std::string_view rawValue;
  std::string_view menuTitle;
  double usbQuality;
  double wifiQuality;
};

constexpr std::array<Properties, 4> table = {{
    {"smooth", "Smooth — Fastest", 0.40, 0.18},
    {"balanced", "Balanced (Recommended)", 0.55, 0.25},
    {"sharp", "Sharp — Best Image", 0.70, 0.32},
    {"fullResolution", "Full Resolution — Smallest Text", 0.70, 0.25},
}};

const Properties& properties(StreamQuality quality) {
  return table[static_cast<std::size_t>(quality)];
}

}  // namespace

std::string_view rawValue(StreamQuality quality) {
  return properties(quality).rawValue;
}

std::optional<StreamQuality> streamQualityFromRawValue(std::string_view value) {
  const auto found = std::ranges::find(allStreamQualities, value, [](StreamQuality each) { return rawValue(each); });
  if (found == allStreamQualities.end()) return std::nullopt;
  return *found;
}

std::string_view menuTitle(StreamQuality quality) {
  return properties(quality).menuTitle;
}

StreamQuality loadQualityMode(const std::optional<std::string>& displayQualityMode,
                              const std::optional<std::string>& streamQualityMode,
                              const std::optional<std::string>& displaySizeMode) {
  if (displayQualityMode) {
    if (const auto quality = streamQualityFromRawValue(*displayQualityMode)) return *quality;
  }
  if (displaySizeMode == "fullSize") return StreamQuality::fullResolution;
  if (streamQualityMode == "low") return StreamQuality::smooth;
  if (streamQualityMode == "high" || streamQualityMode == "ultra") return StreamQuality::sharp;
  return StreamQuality::balanced;
}

double jpegQualityFor(StreamQuality quality, bool isWiFiConnected) {
  return isWiFiConnected ? properties(quality).wifiQuality : properties(quality).usbQuality;
}

}  // namespace tandemview
