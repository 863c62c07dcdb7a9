#pragma once

#import <Network/Network.h>

#import "platform/macos/FoundationError.h"

namespace tandemview {

inline Error errorFrom(nw_error_t error) {
  return errorFrom(static_cast<NSError*>(CFBridgingRelease(nw_error_copy_cf_error(error))));
}

inline std::optional<Error> optionalErrorFrom(nw_error_t error) {
  return error ? std::optional(errorFrom(error)) : std::nullopt;
}

}  // namespace tandemview
