#pragma once

#include <memory>
#include <string>

#include "capture/CaptureSystem.h"
#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

/// The screens of an X server that can be captured. A display's ID is its RandR output's.
class X11CaptureSystem final : public CaptureSystem {
 public:
  /// `displayName` such as ":77"; empty stands for $DISPLAY.
  explicit X11CaptureSystem(std::shared_ptr<Queue> mainQueue, std::string displayName = {});

  void shareableContent(bool excludingDesktopWindows, bool onScreenWindowsOnly, ContentCompletion completion) override;
  std::optional<std::string> productName(std::uint32_t displayID) const override;
  Result<std::shared_ptr<CaptureStream>> makeStream(const CaptureConfiguration& configuration,
                                                    CaptureOutput output) override;

 private:
  const std::shared_ptr<Queue> mainQueue_;
  const std::string displayName_;
  const std::shared_ptr<X11Connection> connection_;  // for questions; null without a server
};

}  // namespace tandemview
