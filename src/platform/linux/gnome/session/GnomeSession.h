#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/linux/gnome/session/GnomeLayout.h"
#include "platform/linux/gnome/session/GnomeRemoteDesktop.h"
#include "runtime/SerialQueue.h"

namespace tandemview {

/// What the ports of a GNOME session share: its bus, its monitors, our display with its stream, and the way to its
/// input. It works on a queue of its own, so that whoever waits for it waits for no other work.
class GnomeSession {
 public:
  /// Waits until the session's bus has been reached, or not.
  static std::shared_ptr<GnomeSession> open();
  ~GnomeSession();

  /// The arrangement as it is. From any thread.
  GnomeLayout layout() const;

  /// Our display, once the session shows it. From any thread.
  std::optional<DisplayID> display() const;

  const std::shared_ptr<GnomeRemoteDesktop>& remoteDesktop() const { return remoteDesktop_; }

 private:
  GnomeSession();

  const std::shared_ptr<SerialQueue> queue_;
  const std::shared_ptr<GnomeRemoteDesktop> remoteDesktop_;

  mutable std::mutex mutex_;  // guards what follows
  GnomeLayout layout_;
  std::optional<DisplayID> display_;
};

}  // namespace tandemview
