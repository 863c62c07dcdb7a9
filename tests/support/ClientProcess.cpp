#include "support/ClientProcess.h"

#include <fmt/format.h>

#include <regex>

namespace tandemview {

std::vector<std::string> xevEvents(const std::string& output) {
  static const std::regex event(
      R"((Motion|Button|Key)(Press|Release|Notify) event,[^\n]*\n[^\n]*root:\((\d+),(\d+)\),\n    state 0x([0-9a-f]+), )"
      R"((?:button (\d+)|keycode \d+ \(keysym 0x[0-9a-f]+, (\w+)\)|is_hint))");
  std::vector<std::string> events;
  for (std::sregex_iterator match(output.begin(), output.end(), event), end; match != end; ++match) {
    const std::smatch& part = *match;
    const std::string way = part[2] == "Press" ? "press" : "release";
    std::string text;
    if (part[1] == "Motion") text = fmt::format("motion {},{}", part[3].str(), part[4].str());
    if (part[1] == "Button") text = fmt::format("button {} {} {},{}", part[6].str(), way, part[3].str(), part[4].str());
    if (part[1] == "Key") text = fmt::format("{} {}", way, part[7].str());
    if (part[5] != "0") text += " state " + part[5].str();
    events.push_back(text);
  }
  return events;
}

}  // namespace tandemview
