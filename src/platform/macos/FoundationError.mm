#import "platform/macos/FoundationError.h"

#import "platform/macos/FoundationString.h"

namespace tandemview {

Error errorFrom(NSError* error) {
  return {
      .domain = stringFrom(error.domain), .code = error.code, .description = stringFrom(error.localizedDescription)};
}

}  // namespace tandemview
