#pragma once

#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include <memory>

#include "capture/CaptureSystem.h"

namespace tandemview {

/// ScreenCaptureKit.
class MacCaptureSystem final : public CaptureSystem {
 public:
  explicit MacCaptureSystem(std::shared_ptr<Queue> mainQueue);

  void shareableContent(bool excludingDesktopWindows, bool onScreenWindowsOnly, ContentCompletion completion) override;
  std::optional<std::string> productName(std::uint32_t displayID) const override;
  Result<std::shared_ptr<CaptureStream>> makeStream(const CaptureConfiguration& configuration,
                                                    CaptureOutput output) override;

 private:
  /// What the system last listed; replaced on the main queue.
  struct Content {
    NSArray<SCDisplay*>* displays;
  };

  const std::shared_ptr<Queue> mainQueue_;
  const std::shared_ptr<Content> content_ = std::make_shared<Content>();
};

}  // namespace tandemview
