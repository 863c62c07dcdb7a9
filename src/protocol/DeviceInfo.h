#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

namespace tandemview::MacProtocol {

/// The phone's description of its screen.
struct DeviceInfo {
  std::int64_t width = 0;  // pixels, as the phone holds itself
  std::int64_t height = 0;
  double scale = 0;  // pixels per point
  std::string quality = "medium";
  std::string orientation = "Portrait";
  std::optional<std::string> idiom;

  bool operator==(const DeviceInfo&) const = default;

  /// Width, height (whole numbers) and scale are required; a missing or mistyped one gives nothing. The other keys
  /// fall back to the defaults above.
  static std::optional<DeviceInfo> fromJSON(const nlohmann::json& object);
};

}  // namespace tandemview::MacProtocol
