#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "app/AlertSystem.h"
#include "platform/linux/bus/BusConnection.h"

namespace tandemview {

class BusService;

/// Alerts as notifications of the desktop that stay until they are answered; one that is closed without a choice is
/// answered with the last button. What the desktop's notifications can't show goes to another system: an alert with
/// several buttons where they have none, all alerts where there is no server, or one that does not answer.
///
/// One alert at a time, the newest: nobody can tell whether an older one is still to be seen, so it is withdrawn and
/// answered with its last button. An alert on the screen is withdrawn with the object. Lives on the main queue.
class NotificationAlerts final : public AlertSystem, public std::enable_shared_from_this<NotificationAlerts> {
 public:
  NotificationAlerts(std::shared_ptr<Queue> mainQueue, std::shared_ptr<AlertSystem> fallback);
  ~NotificationAlerts() override;

  void show(const Alert& alert, std::function<void(int button)> answer) override;

 private:
  enum class Stage { Idle, Asking, Notified };
  using Capabilities = std::set<std::string>;

  void connect();
  void connected(BusConnection::Opened opened);
  void askCapabilities();
  void notify(const Capabilities& capabilities);
  void isNotified(std::uint32_t notification);
  void isChosen(std::uint32_t notification, const std::string& button);
  void isClosed(std::uint32_t notification);
  void isAnswered(std::uint32_t notification, int button);
  void serverIsGone();
  void busIsGone();
  void withdraw(std::uint32_t notification);
  void fallBack();
  void finish(int button);
  bool isAsking(std::uint64_t alert) const { return stage_ == Stage::Asking && alert == count_; }
  int lastButton() const { return static_cast<int>(alert_.buttons.size()) - 1; }

  const std::shared_ptr<Queue> mainQueue_;
  const std::shared_ptr<AlertSystem> fallback_;
  std::shared_ptr<BusConnection> connection_;  // from the first alert on
  std::unique_ptr<BusService> server_;
  bool isConnecting_ = false;
  Stage stage_ = Stage::Idle;
  std::uint64_t count_ = 0;  // of the alerts: what comes late belongs to an older one
  Alert alert_;
  std::function<void(int button)> answer_;
  std::uint32_t notification_ = 0;
  std::map<std::uint32_t, int> earlyAnswers_;  // while asking: the server's signals may overtake its reply
};

}  // namespace tandemview
