#include "input/TouchEvent.h"

#include <nlohmann/json.hpp>

#include "input/StringMember.h"
#include "protocol/Message.h"

namespace tandemview {

namespace {

using nlohmann::json;

std::optional<double> number(const json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || !found->is_number()) return std::nullopt;
  return found->get<double>();
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
  const auto x = number(*object, "x");
  const auto y = number(*object, "y");
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
