#include "input/TouchEvent.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "input/StringMember.h"
#include "protocol/Message.h"

namespace tandemview {

namespace {

using nlohmann::json;

/// Numbers are turned into pixels: what doesn't fit a wheel's integer is refused.
std::optional<double> sensibleNumber(const json& object, const char* key) {
  constexpr double limit = std::numeric_limits<std::int32_t>::max();
  const auto found = object.find(key);
  if (found == object.end() || !found->is_number()) return std::nullopt;
  const auto number = found->get<double>();
  if (!(std::abs(number) <= limit)) return std::nullopt;
  return number;
}

DragPhase dragPhase(const std::string* name) {
  if (!name) return DragPhase::Other;
  if (*name == "began") return DragPhase::Began;
  if (*name == "moved") return DragPhase::Moved;
  if (*name == "ended" || *name == "cancelled") return DragPhase::Ended;
  return DragPhase::Other;
}

}  // namespace

std::optional<TouchEvent> TouchEvent::fromPayload(const Data& payload) {
  const std::optional<json> object = MacProtocol::jsonObject(payload);
  if (!object) return std::nullopt;
  const std::string* type = stringMember(*object, "type");
  const auto x = sensibleNumber(*object, "x");
  const auto y = sensibleNumber(*object, "y");
  const std::string* mode = stringMember(*object, "mode");
  if (!type || !x || !y || !mode) return std::nullopt;

  TouchEvent event;
  event.type = *type;
  event.x = *x;
  event.y = *y;
  event.mode = *mode == "trackpad" ? TouchMode::Trackpad : TouchMode::Direct;
  event.phase = dragPhase(stringMember(*object, "phase"));
  if (const std::string* direction = stringMember(*object, "direction")) event.direction = *direction;
  return event;
}

}  // namespace tandemview
