#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

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

  bool isTrusted(TrustPrompt prompt) override;
  /// A new source each time, numbered from 1; events from it end in "source 1".
  std::shared_ptr<EventSource> makeEventSource() override;
  void postMouseEvent(const MouseEvent& event) override;
  void postScrollEvent(const ScrollEvent& event) override;
  void postKeyEvent(const KeyEvent& event) override;
  void discardWaitingEvents() override { lines_.emplace_back("discard what waits"); }
  std::optional<ScreenPoint> pointerLocation() override { return pointer; }
  bool applicationExists(const std::string& path) override { return applications.contains(path); }
  void openApplication(const std::string& path, std::function<void(std::optional<Error>)> completion) override;
  void pause(double seconds) override;

 private:
  struct Source;

  std::vector<std::string> lines_;
  std::set<MouseButton> heldButtons_;
  std::set<std::uint16_t> heldKeys_;
  int sourceCount_ = 0;
};

}  // namespace tandemview
