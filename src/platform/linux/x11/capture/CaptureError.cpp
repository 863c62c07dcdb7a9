#include "platform/linux/x11/capture/CaptureError.h"

#include "capture/CaptureSystem.h"
#include "platform/linux/x11/server/ScreenAccess.h"

namespace tandemview {

Error captureError(std::string description) {
  return {.domain = "TVCaptureErrorDomain", .code = 1, .description = std::move(description)};
}

std::optional<Error> captureRefusal(const X11Connection& connection) {
  if (screenAccess(connection) != ScreenAccess::Refused) return std::nullopt;
  return Error{.domain = streamErrorDomain,
               .code = userDeclinedCapture,
               .description = "The X server lets this program read nothing of its screen"};
}

}  // namespace tandemview
