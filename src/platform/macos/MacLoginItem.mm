#import "platform/macos/MacLoginItem.h"

#import <ServiceManagement/ServiceManagement.h>

#import "platform/macos/FoundationError.h"

namespace tandemview {

std::optional<Error> MacLoginItem::registerApplication() {
  NSError* error = nil;
  if ([SMAppService.mainAppService registerAndReturnError:&error]) return std::nullopt;
  return errorFrom(error);
}

std::optional<Error> MacLoginItem::unregisterApplication() {
  NSError* error = nil;
  if ([SMAppService.mainAppService unregisterAndReturnError:&error]) return std::nullopt;
  return errorFrom(error);
}

}  // namespace tandemview
