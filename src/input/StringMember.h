#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace tandemview {

/// The string under `key`; null if there is none or it is something else.
inline const std::string* stringMember(const nlohmann::json& object, const char* key) {
  const auto found = object.find(key);
  return found == object.end() ? nullptr : found->get_ptr<const std::string*>();
}

}  // namespace tandemview
