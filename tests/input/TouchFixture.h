#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "fakes/LogRecorder.h"
#include "fakes/ManualQueue.h"
#include "fakes/RecordingEventSystem.h"
#include "fakes/ScriptedScreens.h"
#include "input/TouchInjector.h"

namespace tandemview {

/// A trusted injector whose display is 1000 × 2000 points at (100, 50), with the pointer in it.
struct TouchFixture : testing::Test {
  TouchFixture() {
    log.take();
    events->take();
    events->pointer = ScreenPoint{200, 300};
  }

  void send(const std::string& payload) { injector.handleTouchEvent(Data::copying(payload)); }
  void direct(const std::string& type, double x, double y, const std::string& phase = "") {
    send(message("direct", type, x, y, "phase", phase));
  }
  void trackpad(const std::string& type, double x, double y, const std::string& phase = "") {
    send(message("trackpad", type, x, y, "phase", phase));
  }
  void trackpadTowards(const std::string& type, const std::string& direction) {
    send(message("trackpad", type, 0, 0, "direction", direction));
  }
  static std::string message(const std::string& mode, const std::string& type, double x, double y,
                             const std::string& key, const std::string& value) {
    return fmt::format(R"({{"type":"{}","x":{},"y":{},"mode":"{}","{}":"{}"}})", type, x, y, mode, key, value);
  }

  LogRecorder log;
  std::shared_ptr<ManualQueue> time = ManualQueue::make();
  std::shared_ptr<RecordingEventSystem> events = std::make_shared<RecordingEventSystem>();
  std::shared_ptr<ScriptedScreens> screens = std::make_shared<ScriptedScreens>();
  TouchInjector injector{{100, 50, 1000, 2000}, {events, screens, std::make_shared<ManualClock>(time)}};
};

}  // namespace tandemview
