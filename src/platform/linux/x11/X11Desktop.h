#pragma once

#include "platform/linux/desktop/Desktop.h"
#include "platform/linux/x11/X11Session.h"

namespace tandemview {

/// A session of the X server that $DISPLAY names.
class X11Desktop final : public Desktop {
 public:
  X11Desktop() : session_(X11Session::find()) {}

  bool isAvailable() const override { return session_.hasServer; }
  DesktopTexts texts() const override;
  Ports open(const Surroundings& surroundings) override;

 private:
  const X11Session session_;
};

}  // namespace tandemview
