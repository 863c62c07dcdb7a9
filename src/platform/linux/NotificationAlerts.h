#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "app/AlertSystem.h"
#include "platform/linux/BusConnection.h"

namespace tandemview {

class BusService;

/// Alerts as notifications of the desktop that stay until they are answered; one that is closed without a choice is
/// answered with the last button. What the desktop's notifications can't show goes to another system: an alert with
/// several buttons where they have none, all alerts where there is no server. One alert at a time, on the main queue.
class NotificationAlerts final : public AlertSystem, public std::enable_shared_from_this<NotificationAlerts> {
 public:
  NotificationAlerts(std::shared_ptr<Queue> mainQueue, std::shared_ptr<AlertSystem> fallback);
  ~NotificationAlerts() override;

  void show(const Alert& alert, std::function<void(int button)> answer) override;

 private:
  enum class Stage { Idle, Asking, Notified };
  using Capabilities = std::set<std::string>;

  void connected(BusConnection::Opened opened);
  void askCapabilities();
  void notify(const Capabilities& capabilities);
  void isChosen(std::uint32_t notification, const std::string& button);
  void isClosed(std::uint32_t notification);
  void serverIsGone();
  void busIsGone();
  void fallBack();
  void finish(int button);
  int lastButton() const { return static_cast<int>(alert_.buttons.size()) - 1; }

  const std::shared_ptr<Queue> mainQueue_;
  const std::shared_ptr<AlertSystem> fallback_;
  std::shared_ptr<BusConnection> connection_;  // from the first alert on
  std::unique_ptr<BusService> server_;
  Stage stage_ = Stage::Idle;
  Alert alert_;
  std::function<void(int button)> answer_;
  std::uint32_t notification_ = 0;
};

}  // namespace tandemview
