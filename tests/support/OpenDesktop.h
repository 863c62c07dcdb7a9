#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "fakes/RecordingApplicationSystem.h"
#include "input/KeyboardInjector.h"
#include "input/TouchInjector.h"
#include "platform/linux/DesktopChoice.h"
#include "support/QueueDriver.h"
#include "support/StreamWatcher.h"

namespace tandemview {

/// The program in the session that the environment names, with the phone's display and a stream of it.
class OpenDesktop {
 public:
  explicit OpenDesktop(const std::shared_ptr<UserDefaults>& settings = nullptr) {
    main_->perform([&] {
      ports = desktop_->open({.mainQueue = main_->queue(),
                              .clock = clock_,
                              .userDefaults = settings,
                              .application = std::make_shared<RecordingApplicationSystem>(main_->queue()),
                              .sessionEnded = [] {}});
      EXPECT_TRUE(ports.events->isTrusted(TrustPrompt::Allowed));
    });
    makeDisplay();
  }
  ~OpenDesktop() {
    display = nullptr;
    stream.reset();
    main_->perform([this] {
      touches_ = nullptr;
      ports = {};
    });
  }

  void makeDisplay() {
    display = nullptr;
    display = ports.displays->makeVirtualDisplay({}).display;
  }

  /// Whether the display gets this size: a busy compositor is asked more than once, as the program does.
  bool show(std::uint32_t width, std::uint32_t height) {
    const auto mode = ports.displays->makeDisplayMode(width, height, 60);
    return mode && Program::within30Seconds([&] {
             return display->applySettings({.modes = {*mode}}) == ApplyOutcome::Applied && bounds().width == width &&
                    bounds().height == height;
           });
  }
  bool capture(std::chrono::milliseconds encodingTime = {}) {
    stream.emplace(encodingTime);
    return stream->start(*ports.captures, *display->displayID(), bounds(), main_->queue());
  }

  ScreenRectangle bounds() const {
    const auto id = display->displayID();
    return id ? ports.screens->bounds(*id) : ScreenRectangle();
  }

  void post(const MouseEvent& event) {
    main_->perform([&] { ports.events->postMouseEvent(event); });
  }
  std::optional<ScreenPoint> pointer() {
    std::optional<ScreenPoint> location;
    main_->perform([&] { location = ports.events->pointerLocation(); });
    return location;
  }
  void touch(const std::string& mode, const std::string& type, double x, double y, const std::string& extra = "") {
    main_->perform([&] {
      if (!touches_) {
        touches_ = std::make_unique<TouchInjector>(ScreenRectangle(),
                                                   TouchInjector::Surroundings{ports.events, ports.screens, clock_});
      }
      touches_->setDisplay(*display->displayID());
      touches_->handleTouchEvent(
          Data::copying(fmt::format(R"({{"type":"{}","x":{},"y":{},"mode":"{}"{}}})", type, x, y, mode, extra)));
    });
  }
  void pressKey(const std::string& key, const std::string& modifiers = "") {
    send(fmt::format(R"({{"action":"key","key":"{}","modifiers":[{}]}})", key, modifiers));
  }
  void type(const std::string& text) { send(fmt::format(R"({{"action":"text","text":"{}"}})", text)); }

  Desktop::Ports ports;
  std::shared_ptr<VirtualDisplay> display;
  std::optional<StreamWatcher> stream;

 private:
  void send(const std::string& message) {
    main_->perform([&] { KeyboardInjector(nullptr, ports.events).handleKeyEvent(Data::copying(message)); });
  }

  const std::shared_ptr<QueueDriver> main_ = makeSerialQueueDriver();
  const std::shared_ptr<const MediaClock> clock_ = std::make_shared<SystemMediaClock>();
  const std::unique_ptr<Desktop> desktop_ = chooseDesktop("");
  std::unique_ptr<TouchInjector> touches_;
};

}  // namespace tandemview
