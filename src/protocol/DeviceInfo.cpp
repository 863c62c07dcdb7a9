#include "protocol/DeviceInfo.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace tandemview::MacProtocol {

namespace {

using nlohmann::json;

const json* member(const json& object, const char* key) {
  const auto found = object.find(key);
  return found == object.end() ? nullptr : &*found;
}

/// A number that is exactly an integer, however it is written: 390, 390.0 and 3.9e2 are the same.
std::optional<std::int64_t> exactInteger(const json* value) {
  if (!value || !value->is_number()) return std::nullopt;
  if (value->is_number_unsigned()) {
    const auto number = value->get<std::uint64_t>();
    if (number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return std::nullopt;
    return static_cast<std::int64_t>(number);
  }
  if (value->is_number_integer()) return value->get<std::int64_t>();
  const auto number = value->get<double>();
  constexpr double limit = 9223372036854775808.0;  // 2^63
  if (!(number >= -limit && number < limit) || number != std::trunc(number)) return std::nullopt;
  return static_cast<std::int64_t>(number);
}

std::optional<std::string> string(const json* value) {
  if (!value || !value->is_string()) return std::nullopt;
  return value->get<std::string>();
}

}  // namespace

std::optional<DeviceInfo> DeviceInfo::fromJSON(const json& object) {
  const auto width = exactInteger(member(object, "width"));
  const auto height = exactInteger(member(object, "height"));
  const json* scale = member(object, "scale");
  if (!width || !height || !scale || !scale->is_number()) return std::nullopt;

  DeviceInfo info;
  info.width = *width;
  info.height = *height;
  info.scale = scale->get<double>();
  info.quality = string(member(object, "quality")).value_or(info.quality);
  info.orientation = string(member(object, "orientation")).value_or(info.orientation);
  info.idiom = string(member(object, "idiom"));
  return info;
}

}  // namespace tandemview::MacProtocol
