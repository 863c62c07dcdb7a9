#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace tandemview {

/// The user's choice between speed and sharpness, in the order of the menu.
enum class StreamQuality { smooth, balanced, sharp, fullResolution };

inline constexpr std::array allStreamQualities = {StreamQuality::smooth, StreamQuality::balanced, StreamQuality::sharp,
                                                  StreamQuality::fullResolution};

/// The persisted form; any other string gives no quality.
std::string_view rawValue(StreamQuality quality);
std::optional<StreamQuality> streamQualityFromRawValue(std::string_view rawValue);

std::string_view menuTitle(StreamQuality quality);

/// The stored quality, or what older versions' settings amount to.
StreamQuality loadQualityMode(const std::optional<std::string>& displayQualityMode,
                              const std::optional<std::string>& streamQualityMode,
                              const std::optional<std::string>& displaySizeMode);

/// JPEG quality from 0 to 1. Wi-Fi carries much less than the cable; over it, full resolution takes the balanced
/// figure.
double jpegQualityFor(StreamQuality quality, bool isWiFiConnected);

}  // namespace tandemview
