#include <cmath>
#include <limits>

#include "input/KeyCodes.h"
#include "input/KeyPress.h"
#include "input/TouchInjector.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

/// The application launcher: its newer name, then its older one.
constexpr const char* launcherPaths[] = {"/System/Applications/Apps.app", "/System/Applications/Launchpad.app"};

/// Wheels count in 32 bits.
bool fitsWheel(double pixels) {
  return pixels >= std::numeric_limits<std::int32_t>::min() && pixels <= std::numeric_limits<std::int32_t>::max();
}

/// The arrow whose shortcut switches spaces. Crossed: a swipe pushes the page away to show the one beside it.
std::optional<std::uint16_t> arrowFor(const std::string& direction) {
  if (direction == "left") return KeyCode::rightArrow;
  if (direction == "right") return KeyCode::leftArrow;
  if (direction == "up") return KeyCode::upArrow;
  if (direction == "down") return KeyCode::downArrow;
  return std::nullopt;
}

}  // namespace

void TouchInjector::scroll(double x, double y) {
  // Inverted: the content follows the finger.
  const double totalX = scrollRemainderX_ - x;
  const double totalY = scrollRemainderY_ - y;
  const double wheelX = std::trunc(totalX);
  const double wheelY = std::trunc(totalY);
  if (!fitsWheel(wheelX) || !fitsWheel(wheelY)) return Log::line("⚠️ TouchInjector: Invalid touch event data");
  scrollRemainderX_ = totalX - wheelX;
  scrollRemainderY_ = totalY - wheelY;
  if (wheelX == 0 && wheelY == 0) return;
  surroundings_.events->postScrollEvent({.vertical = static_cast<std::int32_t>(wheelY),
                                         .horizontal = static_cast<std::int32_t>(wheelX),
                                         .isContinuous = true,
                                         .flags = EventFlag::none});
}

void TouchInjector::zoom(double amount) {
  if (amount == 0) return;
  const bool zoomsIn = amount > 0;
  Log::line(zoomsIn ? "🔍 Zoom in (Cmd+=)" : "🔍 Zoom out (Cmd+-)");
  pressKey(zoomsIn ? KeyCode::equals : KeyCode::minus, EventFlag::command);
}

void TouchInjector::swipe(const std::string& direction) {
  const auto arrow = arrowFor(direction);
  if (!arrow) return Log::print("⚠️ TouchInjector: Unknown swipe direction: {}", direction);
  Log::print("👆 Swipe {}", direction);
  pressKey(*arrow, EventFlag::control | EventFlag::numericPad | EventFlag::secondaryFunction);
}

void TouchInjector::gesture(const std::string& name) {
  if (name == "lookup") {
    Log::line("👆 Look Up");
    pressKey(KeyCode::d, EventFlag::command | EventFlag::control);
  } else if (name == "showdesktop") {
    Log::line("👆 Show Desktop");
    pressKey(KeyCode::f11, EventFlag::secondaryFunction);
  } else if (name == "launchpad") {
    Log::line("👆 Launchpad / Apps");
    openLauncher();
  } else {
    Log::print("⚠️ TouchInjector: Unknown gesture: {}", name);
  }
}

void TouchInjector::openLauncher() {
  for (const std::string path : launcherPaths) {
    if (!surroundings_.events->applicationExists(path)) continue;
    return surroundings_.events->openApplication(path, [path](const std::optional<Error>& error) {
      if (error) Log::print("❌ TouchInjector: Could not open {}: {}", path, error->localizedDescription());
    });
  }
  Log::line("⚠️ TouchInjector: Launchpad/Apps not found");
}

void TouchInjector::pressKey(std::uint16_t keyCode, EventFlags flags) {
  postKeyPress(*surroundings_.events, {.keyCode = keyCode, .flags = flags});
}

}  // namespace tandemview
