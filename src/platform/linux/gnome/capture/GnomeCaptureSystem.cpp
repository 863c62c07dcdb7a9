#include "platform/linux/gnome/capture/GnomeCaptureSystem.h"

#include <utility>

#include "platform/linux/gnome/capture/GnomeCaptureStream.h"

namespace tandemview {

void GnomeCaptureSystem::shareableContent(bool, bool, ContentCompletion completion) {
  mainQueue_->async([session = session_, completion = std::move(completion)] {
    std::vector<CapturableDisplay> displays;
    if (const auto display = session->display()) {
      const ScreenRectangle bounds = session->layout().bounds(*display);
      displays.push_back({.displayID = *display,
                          .width = static_cast<std::int64_t>(bounds.width),
                          .height = static_cast<std::int64_t>(bounds.height)});
    }
    completion(displays);
  });
}

std::optional<std::string> GnomeCaptureSystem::productName(std::uint32_t displayID) const {
  const GnomeLayout layout = session_->layout();
  const GnomeLayout::Monitor* const monitor = layout.monitor(displayID);
  return monitor ? std::optional(monitor->displayName) : std::nullopt;
}

Result<std::shared_ptr<CaptureStream>> GnomeCaptureSystem::makeStream(const CaptureConfiguration& configuration,
                                                                      CaptureOutput output) {
  const GnomeLayout layout = session_->layout();
  const GnomeLayout::Monitor* const monitor =
      session_->display() == configuration.displayID ? layout.monitor(configuration.displayID) : nullptr;
  const auto refusal = [](const char* description) {
    return tl::unexpected(Error{.domain = "TVCaptureErrorDomain", .code = 1, .description = description});
  };
  if (!monitor) return refusal("Only the virtual display can be captured");
  const bool isItsSize = monitor->size.width == configuration.width && monitor->size.height == configuration.height;
  if (!isItsSize || configuration.queueDepth < 1) return refusal("The virtual display has another size");
  return std::make_shared<GnomeCaptureStream>(session_, configuration, std::move(output));
}

}  // namespace tandemview
