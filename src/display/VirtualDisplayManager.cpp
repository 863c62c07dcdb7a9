#include "display/VirtualDisplayManager.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <limits>

#include "display/DisplayArrangement.h"
#include "runtime/Assertion.h"
#include "runtime/Log.h"
#include "runtime/Truncation.h"
#include "runtime/Weakly.h"
#include "screens/ScreenText.h"

namespace tandemview {

namespace {

constexpr double refreshRate = 60.0;
constexpr double pixelsPerInch = 110.0;
constexpr double millimetersPerInch = 25.4;
constexpr double removalPause = 0.5;

constexpr std::uint32_t vendorID = 0x1234;
constexpr std::uint32_t productID = 0x5678;
constexpr std::uint32_t serialNum = 1;

double millimeters(std::int64_t pixels) {
  return static_cast<double>(pixels) / pixelsPerInch * millimetersPerInch;
}

std::int32_t screenCoordinate(double value) {
  require(value > -2147483649.0 && value < 2147483648.0, "a coordinate that fits 32 bits");
  return static_cast<std::int32_t>(value);
}

}  // namespace

VirtualDisplayManager::VirtualDisplayManager(std::string displayName, Surroundings surroundings)
    : displayName_(std::move(displayName)), surroundings_(std::move(surroundings)) {
  Log::print("📺 VirtualDisplayManager initialized for '{}'", displayName_);
}

VirtualDisplayManager::~VirtualDisplayManager() {
  destroyDisplay();
}

bool VirtualDisplayManager::createDisplay(std::int64_t width, std::int64_t height, std::int64_t envelope) {
  DisplaySystem& displays = *surroundings_.displays;
  if (const auto existing = findExistingDisplay()) {
    const ScreenRectangle bounds = surroundings_.screens->bounds(*existing);
    Log::print("📺 Found existing display ID {}: {}x{}", *existing, truncated(bounds.width), truncated(bounds.height));
    if (!virtualDisplay()) Log::print("⚠️ Will use existing display {} for capture", *existing);
  }
  if (!displays.hasDescriptorClass() || !displays.hasDisplayClass() || !displays.hasSettingsClass() ||
      !displays.hasModeClass()) {
    Log::line("❌ CGVirtualDisplay API not available - requires macOS 14+");
    return false;
  }

  const VirtualDisplayDescriptor descriptor = {.queue = surroundings_.mainQueue,
                                               .name = displayName_,
                                               .maxPixelsWide = envelope,
                                               .maxPixelsHigh = envelope,
                                               .widthInMillimeters = millimeters(width),
                                               .heightInMillimeters = millimeters(height),
                                               .vendorID = vendorID,
                                               .productID = productID,
                                               .serialNum = serialNum};
  Log::print("📺 Creating virtual display: {}x{}", width, height);
  const auto display = makeVirtualDisplay(descriptor);
  if (!display) {
    Log::line("❌ Failed to create CGVirtualDisplay instance");
    return false;
  }
  const auto mode = makeDisplayMode(width, height);
  if (!mode) {
    Log::line("❌ Failed to create display mode");
    return false;
  }
  if (!applyDisplaySettings(*display, {.modes = {*mode}, .hiDPI = false})) {
    Log::line("❌ Failed to apply display settings");
    return false;
  }
  {
    const std::lock_guard lock(mutex_);
    virtualDisplay_ = display;
    envelope_ = envelope;
  }
  if (const auto id = display->displayID()) {
    Log::line("✅ Virtual display created successfully!");
    Log::print("   Display ID: {}", *id);
    Log::print("   Resolution: {}x{}", width, height);
  } else {
    Log::line("✅ Virtual display created (no display ID yet)");
  }
  return true;
}

void VirtualDisplayManager::destroyDisplay() {
  if (!virtualDisplay()) return;
  Log::line("📺 Destroying virtual display...");
  removeDisplay();
  surroundings_.displays->pause(removalPause);
  Log::line("📺 Virtual display destroyed");
}

/// Lets go of the display when it returns: on some systems that is what removes it, and the next display has the same
/// serial number.
void VirtualDisplayManager::removeDisplay() {
  std::shared_ptr<VirtualDisplay> display;
  {
    const std::lock_guard lock(mutex_);
    display = virtualDisplay_;
  }
  if (display->canTerminate()) {
    Log::line("📺 Calling terminate on virtual display...");
    display->terminate();
  } else if (display->canInvalidate()) {
    Log::line("📺 Calling invalidate on virtual display...");
    display->invalidate();
  }
  if (surroundings_.displays->hasSettingsClass()) {
    const ApplyOutcome outcome = display->applySettings({});
    if (outcome == ApplyOutcome::Applied || outcome == ApplyOutcome::Refused) {
      Log::line("📺 Applied empty settings to trigger display removal");
    }
  }
  const std::lock_guard lock(mutex_);
  virtualDisplay_ = nullptr;
  envelope_ = 0;
}

void VirtualDisplayManager::configureDisplay(std::int64_t width, std::int64_t height,
                                             std::optional<std::int64_t> requestedEnvelope,
                                             const MacProtocol::DisplayPlan& plan, Completion completion) {
  if (const auto id = displayID()) {
    const Size shown = shownSize();
    const bool fits = shown == Size{width, height};
    if (fits) {
      Log::print("📺 Virtual display already configured at {}x{} (ID: {})", width, height, *id);
    } else {
      Log::print("📺 Resolution mismatch: have {}x{}, need {}x{}", shown.width, shown.height, width, height);
    }
    if (fits || resizeInPlace(width, height)) {
      if (onConfiguredInPlace) onConfiguredInPlace(plan);
      return;
    }
    Log::line("⚠️ In-place resize failed - replacing the display");
  }

  currentSize_ = {width, height};
  const std::int64_t envelope = std::max({requestedEnvelope.value_or(0), width, height});
  surroundings_.displayQueue->async(
      weakly(this, [width, height, envelope, completion = std::move(completion)](VirtualDisplayManager& manager) {
        manager.destroyDisplay();
        const bool success = manager.createDisplay(width, height, envelope);
        manager.surroundings_.mainQueue->async([completion, success] { completion(success); });
      }));
}

bool VirtualDisplayManager::resizeInPlace(std::int64_t width, std::int64_t height) {
  const auto display = virtualDisplay();
  if (!display) return false;
  const std::int64_t limit = envelope();
  if (width > limit || height > limit) {
    Log::print("📺 {}x{} doesn't fit the display's {}px limit", width, height, limit);
    return false;
  }
  if (!surroundings_.displays->hasSettingsClass() || !surroundings_.displays->hasModeClass()) return false;
  const auto mode = makeDisplayMode(width, height);
  if (!mode) return false;
  if (!applyDisplaySettings(*display, {.modes = {*mode}, .hiDPI = false})) {
    Log::print("❌ Display refused {}x{}", width, height);
    return false;
  }
  currentSize_ = {width, height};
  Log::print("📺 Virtual display resized in place to {}x{}", width, height);
  return true;
}

bool VirtualDisplayManager::selectMode(std::int64_t width, std::int64_t height) {
  const auto id = displayID();
  if (!id) return false;
  const std::vector<DisplayMode> modes = surroundings_.displays->allModes(*id);
  std::vector<std::string> sizes;
  for (const DisplayMode& mode : modes) sizes.push_back(fmt::format("{}x{}", mode.width, mode.height));
  Log::print("📺 Modes offered: {}", fmt::join(sizes, ", "));
  const auto mode = std::ranges::find_if(
      modes, [width, height](const DisplayMode& each) { return each.width == width && each.height == height; });
  if (mode == modes.end()) return false;
  if (surroundings_.displays->configureMode(*id, *mode) != ConfigurationOutcome::Completed) return false;
  Log::print("📺 Selected mode {}x{}", width, height);
  return true;
}

bool VirtualDisplayManager::fixOverlap() {
  const auto id = displayID();
  if (!id) return false;
  std::vector<ScreenRectangle> others;
  for (const DisplayID other : activeDisplays()) {
    if (other != *id) others.push_back(surroundings_.screens->bounds(other));
  }
  const ScreenRectangle own = surroundings_.screens->bounds(*id);
  const auto origin = clearOrigin(own, others, surroundings_.displays->leftEdge());
  if (!origin) return false;
  const std::int32_t x = screenCoordinate(origin->x);
  const ConfigurationOutcome outcome = surroundings_.displays->configureOrigin(*id, x, screenCoordinate(origin->y));
  if (outcome == ConfigurationOutcome::NotBegun) return false;
  const bool moved = outcome == ConfigurationOutcome::Completed;
  Log::print("📺 Display overlapped another screen at {} - moved to x {}: {}", rectangleText(own), x, moved);
  return moved;
}

std::optional<DisplayID> VirtualDisplayManager::displayID() const {
  const auto display = virtualDisplay();
  return display ? display->displayID() : std::nullopt;
}

bool VirtualDisplayManager::isWithheld() const {
  const auto display = virtualDisplay();
  return display && display->isWithheld();
}

std::optional<VirtualDisplayManager::Size> VirtualDisplayManager::currentModeSize() const {
  const auto id = displayID();
  if (!id) return std::nullopt;
  const auto mode = surroundings_.displays->currentMode(*id);
  if (!mode) return std::nullopt;
  return Size{mode->width, mode->height};
}

VirtualDisplayManager::Size VirtualDisplayManager::shownSize() const {
  const auto id = displayID();
  if (!id) return {};
  const ScreenRectangle bounds = surroundings_.screens->bounds(*id);
  return {truncated(bounds.width), truncated(bounds.height)};
}

bool VirtualDisplayManager::isShownAt(const Size& size) const {
  return shownSize() == size && currentModeSize() == size;
}

std::int64_t VirtualDisplayManager::envelope() const {
  const std::lock_guard lock(mutex_);
  return envelope_;
}

std::shared_ptr<VirtualDisplay> VirtualDisplayManager::virtualDisplay() const {
  const std::lock_guard lock(mutex_);
  return virtualDisplay_;
}

/// None if the system doesn't tell.
std::vector<DisplayID> VirtualDisplayManager::activeDisplays() const {
  const auto count = surroundings_.screens->activeDisplayCount();
  if (!count) return {};
  return surroundings_.screens->activeDisplays(*count).value_or(std::vector<DisplayID>());
}

/// A small secondary screen, which may well be a virtual display that an earlier run left behind.
std::optional<DisplayID> VirtualDisplayManager::findExistingDisplay() const {
  for (const DisplayID id : activeDisplays()) {
    const ScreenRectangle bounds = surroundings_.screens->bounds(id);
    const bool isSmall = bounds.width < 1000.0 && bounds.height < 2000.0;
    if (!surroundings_.screens->isMain(id) && !surroundings_.displays->isBuiltIn(id) && isSmall) return id;
  }
  return std::nullopt;
}

std::shared_ptr<VirtualDisplay> VirtualDisplayManager::makeVirtualDisplay(
    const VirtualDisplayDescriptor& descriptor) const {
  const VirtualDisplayCreation creation = surroundings_.displays->makeVirtualDisplay(descriptor);
  switch (creation.outcome) {
    case CreationOutcome::Created:
      return creation.display;
    case CreationOutcome::NotAllocated:
      Log::line("❌ Failed to allocate CGVirtualDisplay");
      return nullptr;
    case CreationOutcome::NoInitializer:
      Log::line("❌ CGVirtualDisplay does not respond to initWithDescriptor:");
      return nullptr;
    case CreationOutcome::NothingReturned:
      Log::line("❌ initWithDescriptor: returned nil");
      return nullptr;
  }
  return nullptr;
}

std::optional<VirtualDisplayMode> VirtualDisplayManager::makeDisplayMode(std::int64_t width,
                                                                         std::int64_t height) const {
  constexpr std::int64_t limit = std::numeric_limits<std::uint32_t>::max();
  if (width < 0 || height < 0 || width > limit || height > limit) return std::nullopt;
  return surroundings_.displays->makeDisplayMode(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height),
                                                 refreshRate);
}

bool VirtualDisplayManager::applyDisplaySettings(VirtualDisplay& display, const VirtualDisplaySettings& settings) {
  switch (display.applySettings(settings)) {
    case ApplyOutcome::Applied:
      return true;
    case ApplyOutcome::Refused:
      return false;
    case ApplyOutcome::NotOffered:
      Log::line("⚠️ Display does not respond to applySettings:");
      return false;
    case ApplyOutcome::Unreachable:
      Log::line("⚠️ Could not get method for applySettings:");
      return false;
  }
  return false;
}

}  // namespace tandemview
