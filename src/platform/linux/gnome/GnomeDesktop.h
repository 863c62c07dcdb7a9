#pragma once

#include "platform/linux/desktop/Desktop.h"

namespace tandemview {

/// A session of GNOME's on Wayland.
class GnomeDesktop final : public Desktop {
 public:
  GnomeDesktop();

  bool isAvailable() const override { return isAvailable_; }
  DesktopTexts texts() const override;
  Ports open(const Surroundings& surroundings) override;

 private:
  const bool isAvailable_;
};

}  // namespace tandemview
