#import "platform/macos/MacDisplaySystem.h"

#import <CoreGraphics/CoreGraphics.h>

#include <limits>

#import "platform/macos/CoreReference.h"
#import "platform/macos/MacVirtualDisplay.h"

namespace tandemview {

namespace {

/// Of the mode's number and its width in pixels: a mode and the one of twice the backing scale may share the number.
std::uint64_t handleOf(CGDisplayModeRef mode) {
  const auto number = static_cast<std::uint32_t>(CGDisplayModeGetIODisplayModeID(mode));
  return std::uint64_t{CGDisplayModeGetPixelWidth(mode)} << 32 | number;
}

bool areSame(const DisplayMode& one, const DisplayMode& other) {
  return one.width == other.width && one.height == other.height && one.handle == other.handle;
}

DisplayMode describe(CGDisplayModeRef mode) {
  return {.width = static_cast<std::int64_t>(CGDisplayModeGetWidth(mode)),
          .height = static_cast<std::int64_t>(CGDisplayModeGetHeight(mode)),
          .handle = handleOf(mode)};
}

/// Also the modes that differ in nothing but their backing scale.
NSArray* copyModes(DisplayID display) {
  NSDictionary* options = @{(__bridge NSString*)kCGDisplayShowDuplicateLowResolutionModes : @YES};
  return CFBridgingRelease(CGDisplayCopyAllDisplayModes(display, (__bridge CFDictionaryRef)options));
}

CGDisplayModeRef modeIn(id element) {
  return (__bridge CGDisplayModeRef)element;
}

/// Makes `change` part of one rearrangement for this login session.
template <typename Change>
ConfigurationOutcome configure(Change change) {
  CGDisplayConfigRef configuration = nullptr;
  if (CGBeginDisplayConfiguration(&configuration) != kCGErrorSuccess) return ConfigurationOutcome::NotBegun;
  change(configuration);
  const CGError error = CGCompleteDisplayConfiguration(configuration, kCGConfigureForSession);
  return error == kCGErrorSuccess ? ConfigurationOutcome::Completed : ConfigurationOutcome::NotCompleted;
}

}  // namespace

struct MacDisplaySystem::ArrangementObserver {
  std::shared_ptr<Queue> queue;
  std::function<void()> changed;

  static void displayWasReconfigured(CGDirectDisplayID, CGDisplayChangeSummaryFlags flags, void* context) {
    if ((flags & kCGDisplayBeginConfigurationFlag) != 0) return;  // the change itself is still to come
    const auto* observer = static_cast<const ArrangementObserver*>(context);
    observer->queue->async(observer->changed);
  }
};

MacDisplaySystem::MacDisplaySystem(const MacVirtualDisplayClasses& classes) : classes_(classes) {}

MacDisplaySystem::~MacDisplaySystem() {
  if (observer_) CGDisplayRemoveReconfigurationCallback(ArrangementObserver::displayWasReconfigured, observer_.get());
}

bool MacDisplaySystem::hasDescriptorClass() const {
  return classes_.descriptor != nil;
}

bool MacDisplaySystem::hasDisplayClass() const {
  return classes_.display != nil;
}

bool MacDisplaySystem::hasSettingsClass() const {
  return classes_.settings != nil;
}

bool MacDisplaySystem::hasModeClass() const {
  return classes_.mode != nil;
}

VirtualDisplayCreation MacDisplaySystem::makeVirtualDisplay(const VirtualDisplayDescriptor& descriptor) {
  return MacVirtualDisplay::make(classes_, descriptor);
}

std::optional<VirtualDisplayMode> MacDisplaySystem::makeDisplayMode(std::uint32_t width, std::uint32_t height,
                                                                    double refreshRate) {
  const VirtualDisplayMode mode = {.width = width, .height = height, .refreshRate = refreshRate};
  if (!MacVirtualDisplay::makeMode(classes_, mode)) return std::nullopt;
  return mode;
}

bool MacDisplaySystem::isBuiltIn(DisplayID display) const {
  return CGDisplayIsBuiltin(display);
}

std::optional<DisplayMode> MacDisplaySystem::currentMode(DisplayID display) const {
  const CoreReference<CGDisplayModeRef> mode(CGDisplayCopyDisplayMode(display));
  if (!mode) return std::nullopt;
  return describe(mode.get());
}

std::vector<DisplayMode> MacDisplaySystem::allModes(DisplayID display) const {
  std::vector<DisplayMode> modes;
  for (const id element in copyModes(display)) modes.push_back(describe(modeIn(element)));
  return modes;
}

ConfigurationOutcome MacDisplaySystem::configureMode(DisplayID display, const DisplayMode& mode) {
  for (const id element in copyModes(display)) {
    if (!areSame(describe(modeIn(element)), mode)) continue;
    return configure([&](CGDisplayConfigRef configuration) {
      CGConfigureDisplayWithDisplayMode(configuration, display, modeIn(element), /*options=*/nullptr);
    });
  }
  return ConfigurationOutcome::NotCompleted;
}

ConfigurationOutcome MacDisplaySystem::configureOrigin(DisplayID display, std::int32_t x, std::int32_t y) {
  return configure([&](CGDisplayConfigRef configuration) { CGConfigureDisplayOrigin(configuration, display, x, y); });
}

double MacDisplaySystem::leftEdge() const {
  return -std::numeric_limits<double>::infinity();
}

void MacDisplaySystem::onArrangementChange(const std::shared_ptr<Queue>& queue, std::function<void()> changed) {
  observer_ = std::make_unique<ArrangementObserver>(ArrangementObserver{queue, std::move(changed)});
  CGDisplayRegisterReconfigurationCallback(ArrangementObserver::displayWasReconfigured, observer_.get());
}

void MacDisplaySystem::pause(double seconds) {
  [NSThread sleepForTimeInterval:seconds];
}

}  // namespace tandemview
