#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

#include "input/EventSystem.h"

namespace tandemview {

/// An event system that keeps, in order, one line for each thing that it was told to do, with all that was said:
/// "LeftDown (10.0, 20.0) button 0 flags 0x0 click 1", "key 8 down flags 0x100000", "key 0 up text d83d dc4d",
/// "scroll -1 2 continuous flags 0x0", "discard what waits", "pause 0.01", "prompt", "open /path".
class RecordingEventSystem final : public EventSystem {
 public:
  // What the system says when it is asked.
  bool trusted = true;
  std::optional<ScreenPoint> pointer = ScreenPoint{};  // follows the mouse events; absent: not told
  std::set<std::string> applications;
  std::optional<Error> openError;

  /// The lines since the last call.
  std::vector<std::string> take() { return std::exchange(lines_, {}); }

  /// Buttons and keys that went down and did not come up.
  const std::set<MouseButton>& heldButtons() const { return heldButtons_; }
  const std::set<std::uint16_t>& heldKeys() const { return heldKeys_; }

  bool isTrusted(TrustPrompt prompt) override {
    if (prompt == TrustPrompt::Allowed) lines_.emplace_back("prompt");
    return trusted;
  }
  /// A new source each time, numbered from 1; events from it end in "source 1".
  std::shared_ptr<EventSource> makeEventSource() override {
    auto source = std::make_shared<Source>();
    source->number = ++sourceCount_;
    return source;
  }
  void postMouseEvent(const MouseEvent& event) override {
    constexpr const char* names[] = {"", "LeftDown", "LeftUp", "RightDown", "RightUp", "Moved", "LeftDragged"};
    std::string line = fmt::format("{} ({:.1f}, {:.1f}) button {} flags {:#x}", names[static_cast<int>(event.type)],
                                   event.location.x, event.location.y, static_cast<int>(event.button), event.flags);
    if (event.clickState) line += fmt::format(" click {}", *event.clickState);
    lines_.push_back(std::move(line));

    if (pointer) pointer = event.location;
    if (event.type == MouseEventType::LeftDown) heldButtons_.insert(MouseButton::Left);
    if (event.type == MouseEventType::LeftUp) heldButtons_.erase(MouseButton::Left);
    if (event.type == MouseEventType::RightDown) heldButtons_.insert(MouseButton::Right);
    if (event.type == MouseEventType::RightUp) heldButtons_.erase(MouseButton::Right);
  }
  void postScrollEvent(const ScrollEvent& event) override {
    lines_.push_back(fmt::format("scroll {} {}{} flags {:#x}", event.vertical, event.horizontal,
                                 event.isContinuous ? " continuous" : "", event.flags));
  }
  void postKeyEvent(const KeyEvent& event) override {
    std::string line = fmt::format("key {} {}", event.keyCode, event.isDown ? "down" : "up");
    if (event.flags) line += fmt::format(" flags {:#x}", *event.flags);
    if (!event.text.empty()) line += " text";
    for (const char16_t unit : event.text) line += fmt::format(" {:04x}", static_cast<unsigned>(unit));
    if (event.source) line += fmt::format(" source {}", std::static_pointer_cast<Source>(event.source)->number);
    lines_.push_back(std::move(line));

    if (event.isDown) heldKeys_.insert(event.keyCode);
    if (!event.isDown) heldKeys_.erase(event.keyCode);
  }
  void discardWaitingEvents() override { lines_.emplace_back("discard what waits"); }
  std::optional<ScreenPoint> pointerLocation() override { return pointer; }
  bool applicationExists(const std::string& path) override { return applications.contains(path); }
  void openApplication(const std::string& path, std::function<void(std::optional<Error>)> completion) override {
    lines_.push_back("open " + path);
    completion(openError);
  }
  void pause(double seconds) override { lines_.push_back(fmt::format("pause {}", seconds)); }

 private:
  struct Source final : EventSource {
    int number = 0;
  };

  std::vector<std::string> lines_;
  std::set<MouseButton> heldButtons_;
  std::set<std::uint16_t> heldKeys_;
  int sourceCount_ = 0;
};

}  // namespace tandemview
