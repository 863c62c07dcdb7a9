#pragma once

#include "input/EventSystem.h"

namespace tandemview {

/// Events of Core Graphics, posted where those of the hardware come in.
class MacEventSystem final : public EventSystem {
 public:
  bool isTrusted(TrustPrompt prompt) override;
  std::shared_ptr<EventSource> makeEventSource() override;
  void postMouseEvent(const MouseEvent& event) override;
  void postScrollEvent(const ScrollEvent& event) override;
  void postKeyEvent(const KeyEvent& event) override;
  void discardWaitingEvents() override {}  // nothing waits
  std::optional<ScreenPoint> pointerLocation() override;
  bool applicationExists(const std::string& path) override;
  void openApplication(const std::string& path, std::function<void(std::optional<Error>)> completion) override;
  void pause(double seconds) override;
};

}  // namespace tandemview
