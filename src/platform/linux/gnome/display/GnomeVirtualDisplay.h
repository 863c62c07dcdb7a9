#pragma once

#include <memory>

#include "display/DisplaySystem.h"
#include "platform/linux/gnome/session/GnomeSession.h"

namespace tandemview {

/// A session's virtual monitor. The session has one: a display made later takes it over.
class GnomeVirtualDisplay final : public VirtualDisplay {
 public:
  explicit GnomeVirtualDisplay(std::shared_ptr<GnomeSession> session) : session_(std::move(session)) {}
  ~GnomeVirtualDisplay() override { terminate(); }

  std::optional<DisplayID> displayID() const override { return session_->display(); }
  bool isWithheld() const override { return session_->isWithheld(); }
  ApplyOutcome applySettings(const VirtualDisplaySettings& settings) override;

  bool canTerminate() const override { return true; }
  void terminate() override;
  bool canInvalidate() const override { return false; }
  void invalidate() override {}

 private:
  const std::shared_ptr<GnomeSession> session_;
  bool isLit_ = false;
};

}  // namespace tandemview
