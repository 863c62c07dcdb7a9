#import "platform/macos/MacLoginItem.h"

#import <ServiceManagement/ServiceManagement.h>

#import "platform/macos/FoundationError.h"

namespace tandemview {

Result<void> MacLoginItem::registerApplication() {
  NSError* error = nil;
  if ([SMAppService.mainAppService registerAndReturnError:&error]) return {};
  return tl::unexpected(errorFrom(error));
}

Result<void> MacLoginItem::unregisterApplication() {
  NSError* error = nil;
  if ([SMAppService.mainAppService unregisterAndReturnError:&error]) return {};
  return tl::unexpected(errorFrom(error));
}

}  // namespace tandemview
