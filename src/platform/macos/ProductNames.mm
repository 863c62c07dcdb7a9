#import "platform/macos/ProductNames.h"

#import <Foundation/Foundation.h>
#import <IOKit/IOKitLib.h>

#import "platform/macos/FoundationString.h"

namespace tandemview {

namespace {

NSDictionary* propertiesOf(io_service_t service) {
  CFMutableDictionaryRef properties = nullptr;
  if (IORegistryEntryCreateCFProperties(service, &properties, kCFAllocatorDefault, /*options=*/0) != KERN_SUCCESS) {
    return nil;
  }
  return CFBridgingRelease(properties);
}

/// In American English, else in any language there is.
NSString* productNameIn(NSDictionary* properties) {
  NSDictionary* names = properties[@"DisplayProductName"];
  if (![names isKindOfClass:NSDictionary.class]) return nil;
  const id name = names[@"en_US"] ? names[@"en_US"] : names.allValues.firstObject;
  const bool isIdentified = [properties[@"DisplayVendorID"] isKindOfClass:NSNumber.class] &&
                            [properties[@"DisplayProductID"] isKindOfClass:NSNumber.class];
  return isIdentified && [name isKindOfClass:NSString.class] ? name : nil;
}

}  // namespace

std::optional<std::string> firstProductName() {
  io_iterator_t services = IO_OBJECT_NULL;
  if (IOServiceGetMatchingServices(kIOMainPortDefault, IOServiceMatching("IODisplayConnect"), &services) !=
      KERN_SUCCESS) {
    return std::nullopt;
  }
  NSString* name = nil;
  while (!name) {
    const io_service_t service = IOIteratorNext(services);
    if (service == IO_OBJECT_NULL) break;
    name = productNameIn(propertiesOf(service));
    IOObjectRelease(service);
  }
  IOObjectRelease(services);
  if (!name) return std::nullopt;
  return stringFrom(name);
}

}  // namespace tandemview
