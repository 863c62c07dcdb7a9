#import "platform/macos/MacEventSystem.h"

#import <AppKit/AppKit.h>
#import <ApplicationServices/ApplicationServices.h>

#import "platform/macos/ActiveDisplays.h"
#import "platform/macos/CoreReference.h"
#import "platform/macos/FoundationError.h"
#import "platform/macos/FoundationString.h"

namespace tandemview {

namespace {

using Event = CoreReference<CGEventRef>;

class MacEventSource final : public EventSource {
 public:
  explicit MacEventSource(CoreReference<CGEventSourceRef> source) : source_(std::move(source)) {}

  CGEventSourceRef get() const { return source_.get(); }

 private:
  const CoreReference<CGEventSourceRef> source_;
};

void post(const Event& event) {
  CGEventPost(kCGHIDEventTap, event.get());
}

}  // namespace

bool MacEventSystem::isTrusted(TrustPrompt prompt) {
  if (prompt == TrustPrompt::Suppressed) return AXIsProcessTrusted();
  NSDictionary* options = @{(__bridge NSString*)kAXTrustedCheckOptionPrompt : @YES};
  return AXIsProcessTrustedWithOptions((__bridge CFDictionaryRef)options);
}

std::shared_ptr<EventSource> MacEventSystem::makeEventSource() {
  CoreReference<CGEventSourceRef> source(CGEventSourceCreate(kCGEventSourceStateCombinedSessionState));
  return source ? std::make_shared<MacEventSource>(std::move(source)) : nullptr;
}

void MacEventSystem::postMouseEvent(const MouseEvent& event) {
  const Event made(CGEventCreateMouseEvent(/*source=*/nullptr, static_cast<CGEventType>(event.type),
                                           CGPointMake(event.location.x, event.location.y),
                                           static_cast<CGMouseButton>(event.button)));
  if (!made) return;
  CGEventSetFlags(made.get(), event.flags);
  if (event.clickState) CGEventSetIntegerValueField(made.get(), kCGMouseEventClickState, *event.clickState);
  post(made);
}

void MacEventSystem::postScrollEvent(const ScrollEvent& event) {
  const Event made(CGEventCreateScrollWheelEvent2(/*source=*/nullptr, kCGScrollEventUnitPixel, /*wheelCount=*/2,
                                                  event.vertical, event.horizontal, /*wheel3=*/0));
  if (!made) return;
  CGEventSetIntegerValueField(made.get(), kCGScrollWheelEventIsContinuous, event.isContinuous ? 1 : 0);
  CGEventSetFlags(made.get(), event.flags);
  post(made);
}

void MacEventSystem::postKeyEvent(const KeyEvent& event) {
  const auto source = std::static_pointer_cast<MacEventSource>(event.source);
  const Event made(CGEventCreateKeyboardEvent(source ? source->get() : nullptr, event.keyCode, event.isDown));
  if (!made) return;
  if (!event.text.empty()) {
    CGEventKeyboardSetUnicodeString(made.get(), event.text.size(), reinterpret_cast<const UniChar*>(event.text.data()));
  }
  if (event.flags) CGEventSetFlags(made.get(), *event.flags);
  post(made);
}

std::optional<ScreenPoint> MacEventSystem::pointerLocation() {
  const Event now(CGEventCreate(/*source=*/nullptr));
  if (!now) return std::nullopt;
  const CGPoint location = CGEventGetLocation(now.get());
  return ScreenPoint{location.x, location.y};
}

std::optional<std::uint32_t> MacEventSystem::activeDisplayCount() {
  return tandemview::activeDisplayCount();
}

std::optional<std::vector<std::uint32_t>> MacEventSystem::activeDisplays(std::uint32_t limit) {
  return activeDisplayList(limit);
}

ScreenRectangle MacEventSystem::displayBounds(std::uint32_t displayID) {
  const CGRect bounds = tandemview::displayBounds(displayID);
  return {bounds.origin.x, bounds.origin.y, bounds.size.width, bounds.size.height};
}

PixelSize MacEventSystem::displayPixelSize(std::uint32_t displayID) {
  return {static_cast<std::int64_t>(CGDisplayPixelsWide(displayID)),
          static_cast<std::int64_t>(CGDisplayPixelsHigh(displayID))};
}

bool MacEventSystem::applicationExists(const std::string& path) {
  return [NSFileManager.defaultManager fileExistsAtPath:foundationString(path)];
}

void MacEventSystem::openApplication(const std::string& path, std::function<void(std::optional<Error>)> completion) {
  [NSWorkspace.sharedWorkspace openApplicationAtURL:[NSURL fileURLWithPath:foundationString(path)]
                                      configuration:[NSWorkspaceOpenConfiguration configuration]
                                  completionHandler:^(NSRunningApplication*, NSError* error) {
                                    completion(error ? std::optional(errorFrom(error)) : std::nullopt);
                                  }];
}

void MacEventSystem::pause(double seconds) {
  [NSThread sleepForTimeInterval:seconds];
}

}  // namespace tandemview
