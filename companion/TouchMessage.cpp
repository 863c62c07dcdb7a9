#include "companion/TouchMessage.h"

#include <nlohmann/json.hpp>

namespace tandemview {

std::string touchMessage(const char* type, TouchMode mode, double x, double y, const char* phase) {
  nlohmann::json message = {
      {"type", type}, {"x", x}, {"y", y}, {"mode", mode == TouchMode::Trackpad ? "trackpad" : "direct"}};
  if (phase) message["phase"] = phase;
  return message.dump();
}

}  // namespace tandemview
