#import "platform/macos/MacCaptureSystem.h"

#import <CoreGraphics/CoreGraphics.h>

#import "platform/macos/CaptureError.h"
#import "platform/macos/MacCaptureStream.h"
#import "platform/macos/ProductNames.h"

namespace tandemview {

namespace {

std::vector<CapturableDisplay> describe(NSArray<SCDisplay*>* displays) {
  std::vector<CapturableDisplay> described;
  for (SCDisplay* display in displays) described.push_back({display.displayID, display.width, display.height});
  return described;
}

}  // namespace

MacCaptureSystem::MacCaptureSystem(std::shared_ptr<Queue> mainQueue) : mainQueue_(std::move(mainQueue)) {}

void MacCaptureSystem::shareableContent(bool excludingDesktopWindows, bool onScreenWindowsOnly,
                                        ContentCompletion completion) {
  const auto mainQueue = mainQueue_;
  const auto content = content_;
  const auto answer = ^(SCShareableContent* found, NSError* error) {
    NSArray<SCDisplay*>* displays = found.displays;
    if (!displays) {
      const Error failure = captureErrorFrom(error);
      return mainQueue->async([completion, failure] { completion(tl::unexpected(failure)); });
    }
    mainQueue->async([completion, content, displays] {
      content->displays = displays;
      completion(describe(displays));
    });
  };
  [SCShareableContent getShareableContentExcludingDesktopWindows:excludingDesktopWindows
                                             onScreenWindowsOnly:onScreenWindowsOnly
                                               completionHandler:answer];
}

std::optional<std::string> MacCaptureSystem::productName(std::uint32_t) const {
  return firstProductName();
}

Result<std::shared_ptr<CaptureStream>> MacCaptureSystem::makeStream(const CaptureConfiguration& configuration,
                                                                    CaptureOutput output) {
  for (SCDisplay* display in content_->displays) {
    if (display.displayID != configuration.displayID) continue;
    return MacCaptureStream::make(display, configuration, std::move(output));
  }
  return tl::unexpected(Error{.domain = streamErrorDomain, .code = SCStreamErrorNoDisplayList});
}

}  // namespace tandemview
