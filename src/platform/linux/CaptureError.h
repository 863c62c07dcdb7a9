#pragma once

#include <string>

#include "runtime/Error.h"

namespace tandemview {

/// Why a screen can't be captured, in words for the log.
inline Error captureError(std::string description) {
  return {.domain = "TVCaptureErrorDomain", .code = 1, .description = std::move(description)};
}

}  // namespace tandemview
