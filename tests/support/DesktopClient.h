#pragma once

#include <algorithm>
#include <array>
#include <functional>
#include <sstream>

#include "capture/PixelBuffer.h"
#include "end_to_end/Program.h"
#include "screens/ScreenRectangle.h"

namespace tandemview {

/// A program of GTK's that fills a monitor of a private desktop: an "area" that prints the events which it
/// gets, one a line ("motion 10,7", "press 1 10,7", "double press 1 10,7", "scroll 0,-1 smooth", "press c",
/// "release c", followed by the state in hexadecimal if modifiers or buttons are down), or a "field" or a "terminal"
/// that prints "text ..." whenever its text changes.
class DesktopClient : public Program {
 public:
  using Lines = std::vector<std::string>;

  DesktopClient(const std::string& kind, const PixelRectangle& monitor, const Environment& environment)
      : Program({"/usr/bin/python3", DESKTOP_CLIENT, kind, std::to_string(monitor.x), std::to_string(monitor.y),
                 std::to_string(monitor.width), std::to_string(monitor.height)},
                environment),
        corner_{static_cast<double>(monitor.x), static_cast<double>(monitor.y)} {}

  /// The events since the last call, once there are as many as expected, or for too long aren't.
  Lines events(std::size_t expected) {
    Lines events;
    within30Seconds([&] {
      events = allEvents();
      return events.size() >= seen_ + expected;
    });
    events.erase(events.begin(), events.begin() + static_cast<long>(std::min(seen_, events.size())));
    seen_ += events.size();
    return events;
  }

  /// Whether an area sees the pointer, which `move` takes to points of its monitor, once its window has unfolded. The
  /// events until then are past.
  bool seesPointer(const std::function<void(const ScreenPoint&)>& move) {
    const std::string name = std::to_string(++looks_);
    const bool isSeen = within30Seconds([&] {
      move({corner_.x + looks_, corner_.y + looks_});
      return count("motion " + name + "," + name + "\n") > 0;
    });
    move({corner_.x + looks_, corner_.y});
    return isSeen && within30Seconds([&] {
             const Lines all = allEvents();
             seen_ = static_cast<std::size_t>(std::ranges::find(all, "motion " + name + ",0") - all.begin()) + 1;
             return seen_ <= all.size();
           });
  }

 private:
  Lines allEvents() const {
    Lines events;
    const std::string all = output();
    std::istringstream stream(all.substr(0, all.rfind('\n') + 1));
    for (std::string line; std::getline(stream, line);) {
      const bool isEvent = std::ranges::any_of(std::array{"motion ", "press ", "release ", "double ", "scroll "},
                                               [&](const char* kind) { return line.starts_with(kind); });
      if (isEvent) events.push_back(line);
    }
    return events;
  }

  const ScreenPoint corner_;
  std::size_t seen_ = 0;
  int looks_ = 0;
};

}  // namespace tandemview
