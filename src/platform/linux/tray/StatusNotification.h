#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "app/AlertSystem.h"
#include "app/StatusItem.h"
#include "runtime/Queue.h"

namespace tandemview {

/// What takes the status item's place on desktops without a tray: an alert that says what the item's tool tip says and
/// offers the menu's entries with a short title; one with a submenu leads to a second alert, with the submenu's
/// choices. Lives on the main queue.
class StatusNotification final : public std::enable_shared_from_this<StatusNotification> {
 public:
  /// The alert on the screen goes with the system that shows it.
  using MakeAlerts = std::function<std::shared_ptr<AlertSystem>()>;

  StatusNotification(std::shared_ptr<Queue> mainQueue, MakeAlerts makeAlerts);

  /// Anew if it is on the screen already.
  void show(const StatusItem& item);
  void withdraw();

 private:
  using Lines = std::vector<std::shared_ptr<const MenuItem>>;

  void offer(Alert alert, const Lines& lines, const char* lastButton);
  void choose(const MenuItem& line);

  const std::shared_ptr<Queue> mainQueue_;
  const MakeAlerts makeAlerts_;
  std::shared_ptr<AlertSystem> alerts_;
};

}  // namespace tandemview
