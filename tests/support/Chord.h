#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace tandemview {

/// The events of "Modifier ... Key": each is pressed in this order and released in the other. The number behind a
/// modifier is the state, in hexadecimal, that the events have which follow its press; a client doesn't see all states.
inline std::vector<std::string> chord(const std::string& keys) {
  std::vector<std::string> events;
  std::vector<std::string> releases;
  std::string before;
  std::istringstream words(keys);
  for (std::string key, state; words >> key;) {
    events.push_back("press " + key + before);
    if (words >> state) before = state == "0" ? "" : " state " + state;
    releases.insert(releases.begin(), "release " + key + before);
  }
  events.insert(events.end(), releases.begin(), releases.end());
  return events;
}

}  // namespace tandemview
