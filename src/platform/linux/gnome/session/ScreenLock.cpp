#include "platform/linux/gnome/session/ScreenLock.h"

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <utility>

namespace tandemview {

namespace {

constexpr BusService::Place screenSaver = {
    .name = "org.gnome.ScreenSaver", .path = "/org/gnome/ScreenSaver", .interface = "org.gnome.ScreenSaver"};

}  // namespace

ScreenLock::ScreenLock(BusConnection& connection, std::function<void(bool isLocked)> told, std::function<void()> woken)
    : connection_(connection),
      told_(std::move(told)),
      service_(connection, screenSaver, [this](bool isThere) { isThere ? ask() : told_(false); }) {
  service_.uponSignal("ActiveChanged", [this](sdbus::Message& message) {
    bool isActive = false;
    message >> isActive;
    told_(isActive);
  });
  service_.uponSignal("WakeUpScreen", [woken = std::move(woken)](sdbus::Message&) { woken(); });
  ask();
}

/// Nobody's answer tells nothing.
void ScreenLock::ask() {
  service_.object()
      .callMethodAsync("GetActive")
      .onInterface(screenSaver.interface)
      .withTimeout(std::chrono::seconds(BusConnection::timeoutSeconds))
      .uponReplyInvoke([this](const sdbus::Error* error, bool isActive) {
        if (!error) told_(isActive);
      });
  connection_.update();
}

}  // namespace tandemview
