#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "platform/linux/x11/display/RandrScreen.h"

namespace tandemview {

/// A spare output that is lit with a mode made for it. Dark until the first settings.
class X11VirtualDisplay final : public VirtualDisplay {
 public:
  explicit X11VirtualDisplay(std::shared_ptr<RandrScreen> screen) : screen_(std::move(screen)) {}
  ~X11VirtualDisplay() override { terminate(); }

  std::optional<DisplayID> displayID() const override;
  bool isWithheld() const override { return false; }

  /// Lights the display with the first of the modes, or brings it to that mode in place.
  ApplyOutcome applySettings(const VirtualDisplaySettings& settings) override;

  bool canTerminate() const override { return true; }
  void terminate() override;
  bool canInvalidate() const override { return false; }
  void invalidate() override {}

 private:
  const std::shared_ptr<RandrScreen> screen_;
  mutable std::mutex mutex_;
  std::optional<RandrScreen::Shown> shown_;
};

}  // namespace tandemview
