#include "fakes/RecordingEventSystem.h"

#include <fmt/format.h>

namespace tandemview {

namespace {

const char* name(MouseEventType type) {
  switch (type) {
    case MouseEventType::LeftDown:
      return "LeftDown";
    case MouseEventType::LeftUp:
      return "LeftUp";
    case MouseEventType::RightDown:
      return "RightDown";
    case MouseEventType::RightUp:
      return "RightUp";
    case MouseEventType::Moved:
      return "Moved";
    case MouseEventType::LeftDragged:
      return "LeftDragged";
  }
  return "unknown";
}

}  // namespace

struct RecordingEventSystem::Source final : EventSource {
  explicit Source(int sourceNumber) : number(sourceNumber) {}
  const int number;
};

bool RecordingEventSystem::isTrusted(TrustPrompt prompt) {
  if (prompt == TrustPrompt::Allowed) lines_.emplace_back("prompt");
  return trusted;
}

std::shared_ptr<EventSource> RecordingEventSystem::makeEventSource() {
  return std::make_shared<Source>(++sourceCount_);
}

void RecordingEventSystem::postMouseEvent(const MouseEvent& event) {
  std::string line = fmt::format("{} ({:.1f}, {:.1f}) button {} flags {:#x}", name(event.type), event.location.x,
                                 event.location.y, static_cast<int>(event.button), event.flags);
  if (event.clickState) line += fmt::format(" click {}", *event.clickState);
  lines_.push_back(std::move(line));

  if (pointer) pointer = event.location;
  if (event.type == MouseEventType::LeftDown) heldButtons_.insert(MouseButton::Left);
  if (event.type == MouseEventType::LeftUp) heldButtons_.erase(MouseButton::Left);
  if (event.type == MouseEventType::RightDown) heldButtons_.insert(MouseButton::Right);
  if (event.type == MouseEventType::RightUp) heldButtons_.erase(MouseButton::Right);
}

void RecordingEventSystem::postScrollEvent(const ScrollEvent& event) {
  lines_.push_back(fmt::format("scroll {} {}{} flags {:#x}", event.vertical, event.horizontal,
                               event.isContinuous ? " continuous" : "", event.flags));
}

void RecordingEventSystem::postKeyEvent(const KeyEvent& event) {
  std::string line = fmt::format("key {} {}", event.keyCode, event.isDown ? "down" : "up");
  if (event.flags) line += fmt::format(" flags {:#x}", *event.flags);
  if (!event.text.empty()) line += " text";
  for (const char16_t unit : event.text) line += fmt::format(" {:04x}", static_cast<unsigned>(unit));
  if (event.source) line += fmt::format(" source {}", std::static_pointer_cast<Source>(event.source)->number);
  lines_.push_back(std::move(line));

  if (event.isDown) {
    heldKeys_.insert(event.keyCode);
  } else {
    heldKeys_.erase(event.keyCode);
  }
}

void RecordingEventSystem::openApplication(const std::string& path,
                                           std::function<void(std::optional<Error>)> completion) {
  lines_.push_back("open " + path);
  completion(openError);
}

void RecordingEventSystem::pause(double seconds) {
  lines_.push_back(fmt::format("pause {}", seconds));
}

}  // namespace tandemview
