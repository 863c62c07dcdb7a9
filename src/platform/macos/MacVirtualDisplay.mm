#import "platform/macos/MacVirtualDisplay.h"

#import <CoreGraphics/CoreGraphics.h>
#import <objc/runtime.h>

#import "platform/macos/DispatchQueue.h"
#import "platform/macos/FoundationString.h"

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

Class classNamed(NSString* name) {
  const Class found = NSClassFromString(name);
  return [found isSubclassOfClass:NSObject.class] ? found : nil;
}

/// The selector's implementation for the object; null if it has none.
IMP implementation(id object, SEL selector) {
  const Method method = class_getInstanceMethod(object_getClass(object), selector);
  return method ? method_getImplementation(method) : nullptr;
}

void send(id object, SEL selector) {
  if (const IMP method = implementation(object, selector)) reinterpret_cast<PlainMethod>(method)(object, selector);
}

id makeDescriptor(const VirtualDisplayDescriptor& values) {
  const id descriptor = [[MacVirtualDisplay::descriptorClass() alloc] init];
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

id makeSettings(const VirtualDisplaySettings& values) {
  NSMutableArray* modes = [NSMutableArray array];
  for (const VirtualDisplayMode& value : values.modes) {
    const id mode = MacVirtualDisplay::makeMode(value);
    if (!mode) return nil;
    [modes addObject:mode];
  }
  const id settings = [[MacVirtualDisplay::settingsClass() alloc] init];
  [settings setValue:modes forKey:@"modes"];
  [settings setValue:@(values.hiDPI) forKey:@"hiDPI"];
  return settings;
}

}  // namespace

Class MacVirtualDisplay::descriptorClass() {
  return classNamed(@"CGVirtualDisplayDescriptor");
}

Class MacVirtualDisplay::displayClass() {
  return classNamed(@"CGVirtualDisplay");
}

Class MacVirtualDisplay::settingsClass() {
  return classNamed(@"CGVirtualDisplaySettings");
}

Class MacVirtualDisplay::modeClass() {
  return classNamed(@"CGVirtualDisplayMode");
}

VirtualDisplayCreation MacVirtualDisplay::make(const VirtualDisplayDescriptor& values) {
  @try {
    const id descriptor = makeDescriptor(values);
    const id allocated = [displayClass() alloc];
    if (!allocated) return {.outcome = CreationOutcome::NotAllocated};
    const SEL selector = NSSelectorFromString(@"initWithDescriptor:");
    const IMP initializer = implementation(allocated, selector);
    if (!initializer) return {.outcome = CreationOutcome::NoInitializer};
    const id display = reinterpret_cast<InitWithDescriptor>(initializer)(allocated, selector, descriptor);
    if (!display) return {.outcome = CreationOutcome::NothingReturned};
    return {.outcome = CreationOutcome::Created, .display = std::make_shared<MacVirtualDisplay>(descriptor, display)};
  } @catch (NSException*) {
    return {.outcome = CreationOutcome::NothingReturned};  // a key that this version of macOS doesn't know
  }
}

id MacVirtualDisplay::makeMode(const VirtualDisplayMode& mode) {
  const id allocated = [modeClass() alloc];
  const SEL selector = NSSelectorFromString(@"initWithWidth:height:refreshRate:");
  const IMP initializer = implementation(allocated, selector);
  if (!initializer) return nil;
  return reinterpret_cast<InitWithMode>(initializer)(allocated, selector, mode.width, mode.height, mode.refreshRate);
}

std::optional<DisplayID> MacVirtualDisplay::displayID() const {
  @try {
    const id value = [display_ valueForKey:@"displayID"];
    if (![value isKindOfClass:NSNumber.class]) return std::nullopt;
    const DisplayID number = [value unsignedIntValue];
    return number == kCGNullDirectDisplay ? std::nullopt : std::optional(number);
  } @catch (NSException*) {
    return std::nullopt;
  }
}

ApplyOutcome MacVirtualDisplay::applySettings(const VirtualDisplaySettings& values) {
  const SEL selector = NSSelectorFromString(@"applySettings:");
  if (![display_ respondsToSelector:selector]) return ApplyOutcome::NotOffered;
  const IMP method = implementation(display_, selector);
  if (!method) return ApplyOutcome::Unreachable;
  @try {
    const id settings = makeSettings(values);
    if (!settings) return ApplyOutcome::Refused;
    const BOOL applied = reinterpret_cast<ApplySettings>(method)(display_, selector, settings);
    return applied ? ApplyOutcome::Applied : ApplyOutcome::Refused;
  } @catch (NSException*) {
    return ApplyOutcome::Refused;
  }
}

bool MacVirtualDisplay::canTerminate() const {
  return [display_ respondsToSelector:NSSelectorFromString(@"terminate")];
}

void MacVirtualDisplay::terminate() {
  send(display_, NSSelectorFromString(@"terminate"));
}

bool MacVirtualDisplay::canInvalidate() const {
  return [display_ respondsToSelector:NSSelectorFromString(@"invalidate")];
}

void MacVirtualDisplay::invalidate() {
  send(display_, NSSelectorFromString(@"invalidate"));
}

}  // namespace tandemview
