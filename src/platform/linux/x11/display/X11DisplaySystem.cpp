#include "platform/linux/x11/display/X11DisplaySystem.h"

#include <chrono>
#include <thread>
#include <utility>

#include "platform/linux/x11/display/ReducedBlanking.h"
#include "platform/linux/x11/display/X11VirtualDisplay.h"

namespace tandemview {

X11DisplaySystem::X11DisplaySystem(const std::string& displayName, std::shared_ptr<UserDefaults> settings)
    : connection_(X11Connection::openDespiteGrabs(displayName)),
      notices_(X11Connection::open(displayName)),
      screen_(std::make_shared<RandrScreen>(displayName, notices_, std::move(settings))) {
  screen_->removeLeftovers();
}

X11DisplaySystem::~X11DisplaySystem() {
  screen_->close();
}

void X11DisplaySystem::watch(const std::shared_ptr<Queue>& queue, Work onConnectionLost) {
  if (!connection_ || !notices_) return queue->async(std::move(onConnectionLost));
  connectionLost_ = std::move(onConnectionLost);
  watchNotices(queue);
  auto watch = queue->watch(xcb_get_file_descriptor(connection_->get()));
  if (!watch) return;  // its end then shows in the next thing that is asked of it
  connectionWatch_ = std::move(*watch);
  waitForEnd();
}

void X11DisplaySystem::onArrangementChange(const std::shared_ptr<Queue>& queue, Work changed) {
  arrangementChanged_ = std::move(changed);
  if (notices_) watchNotices(queue);
}

void X11DisplaySystem::watchNotices(const std::shared_ptr<Queue>& queue) {
  if (noticesWatch_) return;
  auto watch = queue->watch(xcb_get_file_descriptor(notices_->get()));
  if (!watch) return;
  noticesWatch_ = std::move(*watch);
  waitForNotices();
}

/// Reading what the server tells unasked also shows whether it still speaks to us.
void X11DisplaySystem::waitForEnd() {
  connectionWatch_->whenReadable([this] {
    while (owned(xcb_poll_for_event(connection_->get()))) {
    }
    if (connection_->isBroken()) return lose();
    waitForEnd();
  });
}

void X11DisplaySystem::waitForNotices() {
  noticesWatch_->whenReadable([this] {
    bool hasChanged = false;
    // The replies to a look at the arrangement may bring further notices.
    while (owned(xcb_poll_for_event(notices_->get()))) {
      screen_->arrangementChanged();
      hasChanged = true;
    }
    if (notices_->isBroken()) return lose();
    waitForNotices();
    if (hasChanged && arrangementChanged_) arrangementChanged_();
  });
}

void X11DisplaySystem::lose() {
  if (const Work handler = std::exchange(connectionLost_, nullptr)) handler();
}

VirtualDisplayCreation X11DisplaySystem::makeVirtualDisplay(const VirtualDisplayDescriptor&) {
  if (layout().spareOutputs().empty()) return {};
  return {.outcome = CreationOutcome::Created, .display = std::make_shared<X11VirtualDisplay>(screen_)};
}

std::optional<VirtualDisplayMode> X11DisplaySystem::makeDisplayMode(std::uint32_t width, std::uint32_t height,
                                                                    double refreshRate) {
  const VirtualDisplayMode mode = {.width = width, .height = height, .refreshRate = refreshRate};
  return reducedBlankingTiming(mode) ? std::optional(mode) : std::nullopt;
}

bool X11DisplaySystem::isBuiltIn(DisplayID display) const {
  const RandrLayout current = layout();
  const RandrLayout::Output* const output = current.output(display);
  return output && output->isBuiltIn();
}

std::optional<DisplayMode> X11DisplaySystem::currentMode(DisplayID display) const {
  const RandrLayout current = layout();
  const RandrLayout::Crtc* const crtc = current.activeCrtc(display);
  if (!crtc) return std::nullopt;
  return DisplayMode{.width = crtc->width, .height = crtc->height, .handle = crtc->mode};
}

std::vector<DisplayMode> X11DisplaySystem::allModes(DisplayID display) const {
  const RandrLayout current = layout();
  const RandrLayout::Output* const output = current.output(display);
  const RandrLayout::Crtc* const crtc = current.activeCrtc(display);
  if (!output) return {};
  std::vector<DisplayMode> modes;
  for (const xcb_randr_mode_t id : output->modes) {
    const RandrLayout::Mode* const mode = current.mode(id);
    if (!mode) continue;
    const bool isSideways = crtc && crtc->isRotatedSideways();
    modes.push_back({.width = isSideways ? mode->height : mode->width,
                     .height = isSideways ? mode->width : mode->height,
                     .handle = id});
  }
  return modes;
}

ConfigurationOutcome X11DisplaySystem::configureMode(DisplayID display, const DisplayMode& mode) {
  return outcome(screen_->selectMode(display, static_cast<xcb_randr_mode_t>(mode.handle)));
}

ConfigurationOutcome X11DisplaySystem::configureOrigin(DisplayID display, std::int32_t x, std::int32_t y) {
  return outcome(screen_->move(display, x, y));
}

void X11DisplaySystem::pause(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

bool X11DisplaySystem::hasVirtualDisplays() const {
  const RandrLayout current = layout();
  return screen_->showsDisplay(current) || !current.spareOutputs().empty();
}

/// Read anew for every question: other programs rearrange the screen too.
RandrLayout X11DisplaySystem::layout() const {
  return connection_ ? RandrLayout::read(*connection_).value_or(RandrLayout()) : RandrLayout();
}

ConfigurationOutcome X11DisplaySystem::outcome(bool isCompleted) const {
  if (!connection_) return ConfigurationOutcome::NotBegun;
  return isCompleted ? ConfigurationOutcome::Completed : ConfigurationOutcome::NotCompleted;
}

}  // namespace tandemview
