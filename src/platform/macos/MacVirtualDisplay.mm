#import "platform/macos/MacVirtualDisplay.h"

#import <CoreGraphics/CoreGraphics.h>
#import <objc/runtime.h>

#import "platform/macos/DispatchQueue.h"
#import "platform/macos/FoundationString.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

// How the methods are called through their implementations. Initialisers take over the object that they are called on
// and hand out one that is the caller's, which ARC has to be told; it heeds the attributes in typedefs only.
typedef id (*InitWithDescriptor)(__attribute__((ns_consumed)) id self, SEL selector, id descriptor)
    __attribute__((ns_returns_retained));
typedef id (*InitWithMode)(__attribute__((ns_consumed)) id self, SEL selector, unsigned int width, unsigned int height,
                           double refreshRate) __attribute__((ns_returns_retained));
typedef BOOL (*ApplySettings)(id self, SEL selector, id settings);
typedef void (*PlainMethod)(id self, SEL selector);

/// The selector's implementation for the object; null if it has none.
IMP implementation(id object, SEL selector) {
  const Method method = class_getInstanceMethod(object_getClass(object), selector);
  return method ? method_getImplementation(method) : nullptr;
}

/// Runs an operation on the private classes; what they throw (a key that this version of macOS doesn't know, say) is
/// told and goes no further. What they leave to the pool goes at once: a display that anything holds is still there.
template <typename Operation>
void guarded(Operation operation) {
  @try {
    @autoreleasepool {
      operation();
    }
  } @catch (NSException* exception) {
    Log::print("⚠️ Virtual display: {}", stringFrom(exception.description));
  }
}

void send(id object, NSString* name) {
  const SEL selector = NSSelectorFromString(name);
  const IMP method = implementation(object, selector);
  if (method) guarded([&] { reinterpret_cast<PlainMethod>(method)(object, selector); });
}

id makeDescriptor(const MacVirtualDisplayClasses& classes, const VirtualDisplayDescriptor& values) {
  const id descriptor = [[classes.descriptor alloc] init];
  const CGSize size = CGSizeMake(values.widthInMillimeters, values.heightInMillimeters);
  [descriptor setValue:DispatchQueue::underlying(*values.queue) forKey:@"queue"];
  [descriptor setValue:foundationString(values.name) forKey:@"name"];
  [descriptor setValue:@(values.maxPixelsWide) forKey:@"maxPixelsWide"];
  [descriptor setValue:@(values.maxPixelsHigh) forKey:@"maxPixelsHigh"];
  [descriptor setValue:[NSValue valueWithSize:NSSizeFromCGSize(size)] forKey:@"sizeInMillimeters"];
  [descriptor setValue:@(values.vendorID) forKey:@"vendorID"];
  [descriptor setValue:@(values.productID) forKey:@"productID"];
  [descriptor setValue:@(values.serialNum) forKey:@"serialNum"];
  return descriptor;
}

id makeSettings(const MacVirtualDisplayClasses& classes, const VirtualDisplaySettings& values) {
  NSMutableArray* modes = [NSMutableArray array];
  for (const VirtualDisplayMode& value : values.modes) {
    const id mode = MacVirtualDisplay::makeMode(classes, value);
    if (!mode) return nil;
    [modes addObject:mode];
  }
  const id settings = [[classes.settings alloc] init];
  [settings setValue:modes forKey:@"modes"];
  [settings setValue:@(values.hiDPI) forKey:@"hiDPI"];
  return settings;
}

VirtualDisplayCreation makeDisplay(const MacVirtualDisplayClasses& classes, const VirtualDisplayDescriptor& values) {
  const id descriptor = makeDescriptor(classes, values);
  const id allocated = [classes.display alloc];
  if (!allocated) return {.outcome = CreationOutcome::NotAllocated};
  const SEL selector = NSSelectorFromString(@"initWithDescriptor:");
  const IMP initializer = implementation(allocated, selector);
  if (!initializer) return {.outcome = CreationOutcome::NoInitializer};
  const id display = reinterpret_cast<InitWithDescriptor>(initializer)(allocated, selector, descriptor);
  if (!display) return {.outcome = CreationOutcome::NothingReturned};
  return {.outcome = CreationOutcome::Created,
          .display = std::make_shared<MacVirtualDisplay>(classes, descriptor, display)};
}

}  // namespace

VirtualDisplayCreation MacVirtualDisplay::make(const Classes& classes, const VirtualDisplayDescriptor& values) {
  VirtualDisplayCreation creation = {.outcome = CreationOutcome::NothingReturned};
  guarded([&] { creation = makeDisplay(classes, values); });
  return creation;
}

id MacVirtualDisplay::makeMode(const Classes& classes, const VirtualDisplayMode& mode) {
  id made = nil;
  guarded([&] {
    const id allocated = [classes.mode alloc];
    const SEL selector = NSSelectorFromString(@"initWithWidth:height:refreshRate:");
    const IMP initializer = implementation(allocated, selector);
    if (!initializer) return;
    made = reinterpret_cast<InitWithMode>(initializer)(allocated, selector, mode.width, mode.height, mode.refreshRate);
  });
  return made;
}

std::optional<DisplayID> MacVirtualDisplay::displayID() const {
  id value = nil;
  guarded([&] { value = [display_ valueForKey:@"displayID"]; });
  if (![value isKindOfClass:NSNumber.class]) return std::nullopt;
  const DisplayID number = [value unsignedIntValue];
  return number == kCGNullDirectDisplay ? std::nullopt : std::optional(number);
}

ApplyOutcome MacVirtualDisplay::applySettings(const VirtualDisplaySettings& values) {
  const SEL selector = NSSelectorFromString(@"applySettings:");
  if (![display_ respondsToSelector:selector]) return ApplyOutcome::NotOffered;
  const IMP method = implementation(display_, selector);
  if (!method) return ApplyOutcome::Unreachable;
  BOOL isApplied = NO;
  guarded([&] {
    const id settings = makeSettings(classes_, values);
    if (settings) isApplied = reinterpret_cast<ApplySettings>(method)(display_, selector, settings);
  });
  return isApplied ? ApplyOutcome::Applied : ApplyOutcome::Refused;
}

bool MacVirtualDisplay::canTerminate() const {
  return [display_ respondsToSelector:NSSelectorFromString(@"terminate")];
}

void MacVirtualDisplay::terminate() {
  send(display_, @"terminate");
}

bool MacVirtualDisplay::canInvalidate() const {
  return [display_ respondsToSelector:NSSelectorFromString(@"invalidate")];
}

void MacVirtualDisplay::invalidate() {
  send(display_, @"invalidate");
}

}  // namespace tandemview
