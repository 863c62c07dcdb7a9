#include "platform/linux/x11/X11Desktop.h"

#include "platform/linux/x11/X11Permissions.h"
#include "platform/linux/x11/X11Texts.h"
#include "platform/linux/x11/capture/X11CaptureSystem.h"
#include "platform/linux/x11/display/X11DisplaySystem.h"
#include "platform/linux/x11/input/X11EventSystem.h"
#include "runtime/Log.h"

namespace tandemview {

DesktopTexts X11Desktop::texts() const {
  return x11Texts(session_);
}

Desktop::Ports X11Desktop::open(const Surroundings& surroundings) {
  const auto displays = std::make_shared<X11DisplaySystem>(/*displayName=*/"", surroundings.userDefaults);
  surroundings.mainQueue->async([displays, queue = surroundings.mainQueue, ended = surroundings.sessionEnded] {
    displays->watch(queue, [ended] {
      Log::line("👋 The connection to the X server has ended");
      ended();
    });
  });
  return {.displays = displays,
          .captures = std::make_shared<X11CaptureSystem>(surroundings.mainQueue),
          .events = std::make_shared<X11EventSystem>(surroundings.mainQueue, surroundings.clock),
          .permissions = std::make_shared<X11Permissions>(surroundings.application)};
}

}  // namespace tandemview
