#pragma once

#include <memory>
#include <string>

#include "capture/CaptureSystem.h"
#include "platform/linux/gnome/session/GnomeSession.h"

namespace tandemview {

/// What can be captured of a GNOME session: our own display, whose picture is part of its making. The desktop lets
/// nobody see its other monitors without asking its user each time.
class GnomeCaptureSystem final : public CaptureSystem {
 public:
  GnomeCaptureSystem(std::shared_ptr<GnomeSession> session, std::shared_ptr<Queue> mainQueue)
      : session_(std::move(session)), mainQueue_(std::move(mainQueue)) {}

  void shareableContent(bool excludingDesktopWindows, bool onScreenWindowsOnly, ContentCompletion completion) override;
  std::optional<std::string> productName(std::uint32_t displayID) const override;
  Result<std::shared_ptr<CaptureStream>> makeStream(const CaptureConfiguration& configuration,
                                                    CaptureOutput output) override;

 private:
  const std::shared_ptr<GnomeSession> session_;
  const std::shared_ptr<Queue> mainQueue_;
};

}  // namespace tandemview
