#pragma once

#include <memory>

#include "app/ApplicationSystem.h"
#include "app/PermissionSystem.h"
#include "capture/CaptureSystem.h"
#include "display/DisplaySystem.h"
#include "input/EventSystem.h"
#include "platform/linux/desktop/DesktopTexts.h"
#include "runtime/MediaClock.h"
#include "runtime/Queue.h"
#include "runtime/UserDefaults.h"

namespace tandemview {

/// The back end of one kind of session: how its displays are made and captured, how its input is posted, who permits
/// that. The ports may share whatever they need inside.
class Desktop {
 public:
  virtual ~Desktop() = default;

  struct Surroundings {
    std::shared_ptr<Queue> mainQueue;
    std::shared_ptr<const MediaClock> clock;
    std::shared_ptr<UserDefaults> userDefaults;
    std::shared_ptr<ApplicationSystem> application;
    Work sessionEnded;  // runs once, on `mainQueue`, when the session has ended under the program
  };

  struct Ports {
    std::shared_ptr<DisplaySystem> displays;
    std::shared_ptr<CaptureSystem> captures;
    std::shared_ptr<EventSystem> events;
    std::shared_ptr<PermissionSystem> permissions;
  };

  /// Whether the process was started in such a session.
  virtual bool isAvailable() const = 0;

  virtual DesktopTexts texts() const = 0;

  /// Called once, on the main thread before the main queue runs. The ports end there too, when it runs no more.
  virtual Ports open(const Surroundings& surroundings) = 0;
};

}  // namespace tandemview
