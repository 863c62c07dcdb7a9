#pragma once

#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include "capture/CaptureSystem.h"
#import "platform/macos/FoundationError.h"

namespace tandemview {

/// An error of the capture. The domain of ScreenCaptureKit's own is known to the core by its constant's name.
inline Error captureErrorFrom(NSError* error) {
  Error value = errorFrom(error);
  if ([error.domain isEqualToString:SCStreamErrorDomain]) value.domain = streamErrorDomain;
  return value;
}

}  // namespace tandemview
