#include "platform/linux/gnome/display/GnomeDisplaySystem.h"

#include <chrono>
#include <thread>
#include <utility>

#include "platform/linux/gnome/display/GnomeVirtualDisplay.h"

namespace tandemview {

VirtualDisplayCreation GnomeDisplaySystem::makeVirtualDisplay(const VirtualDisplayDescriptor&) {
  if (!session_->isOffered()) return {};
  return {.outcome = CreationOutcome::Created, .display = std::make_shared<GnomeVirtualDisplay>(session_)};
}

std::optional<VirtualDisplayMode> GnomeDisplaySystem::makeDisplayMode(std::uint32_t width, std::uint32_t height,
                                                                      double refreshRate) {
  const auto isPossible = [](std::uint32_t side) { return side >= 1 && side <= GnomeSession::longestSide; };
  if (!isPossible(width) || !isPossible(height)) return std::nullopt;
  return VirtualDisplayMode{.width = width, .height = height, .refreshRate = refreshRate};
}

bool GnomeDisplaySystem::isBuiltIn(DisplayID display) const {
  const GnomeLayout layout = session_->layout();
  const GnomeLayout::Monitor* const monitor = layout.monitor(display);
  return monitor && monitor->isBuiltIn;
}

std::optional<DisplayMode> GnomeDisplaySystem::currentMode(DisplayID display) const {
  const GnomeLayout layout = session_->layout();
  const GnomeLayout::Monitor* const monitor = layout.monitor(display);
  const GnomeLayout::Screen* const screen = monitor ? layout.screenOf(*monitor) : nullptr;
  if (!screen) return std::nullopt;
  const ScreenRectangle rectangle = layout.rectangle(*screen);
  return DisplayMode{.width = static_cast<std::int64_t>(rectangle.width),
                     .height = static_cast<std::int64_t>(rectangle.height)};
}

std::vector<DisplayMode> GnomeDisplaySystem::allModes(DisplayID display) const {
  const auto mode = currentMode(display);
  return mode ? std::vector{*mode} : std::vector<DisplayMode>();
}

ConfigurationOutcome GnomeDisplaySystem::configureMode(DisplayID display, const DisplayMode& mode) {
  const auto current = currentMode(display);
  const bool isCurrent = current && current->width == mode.width && current->height == mode.height;
  return isCurrent ? ConfigurationOutcome::Completed : ConfigurationOutcome::NotCompleted;
}

ConfigurationOutcome GnomeDisplaySystem::configureOrigin(DisplayID display, std::int32_t x, std::int32_t y) {
  return session_->move(display, x, y) ? ConfigurationOutcome::Completed : ConfigurationOutcome::NotCompleted;
}

void GnomeDisplaySystem::onArrangementChange(const std::shared_ptr<Queue>& queue, std::function<void()> changed) {
  session_->onArrangementChange(queue, std::move(changed));
}

void GnomeDisplaySystem::pause(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

}  // namespace tandemview
