#pragma once

#include <memory>
#include <string>

#include "app/StatusItemSystem.h"
#include "platform/linux/bus/BusConnection.h"
#include "platform/linux/tray/DBusMenu.h"
#include "platform/linux/tray/StatusNotification.h"

namespace sdbus {
class IObject;
}  // namespace sdbus

namespace tandemview {

class BusService;

/// The status item as an org.kde.StatusNotifierItem on the session bus, which the desktop's tray draws. A desktop
/// without a tray shows a notification instead, as soon as that is certain. Without a bus nothing is shown until it is
/// there. Lives on the main queue.
class StatusNotifierItem final : public StatusItemSystem, public std::enable_shared_from_this<StatusNotifierItem> {
 public:
  /// `iconDirectory`: the one above "hicolor" with the program's own icons.
  StatusNotifierItem(std::shared_ptr<Queue> mainQueue, std::string iconDirectory,
                     std::shared_ptr<StatusNotification> notification);
  ~StatusNotifierItem() override;

  /// Every program is one here.
  void becomeAccessory() override {}

  void install(std::shared_ptr<const StatusItem> item, MenuHandlers handlers) override;
  void itemChanged() override;
  void lineChanged(const MenuItem& line) override;

  /// The user has started the program again, looking for it: without a tray the notification is shown again.
  void showAgain();

 private:
  void connect();
  void connected(BusConnection::Opened opened);
  void connectLater(const std::string& reason);
  void registerObject();
  void registerWithTray();
  void askForHost();
  void trayIsThere();
  void trayIsGone(const std::string& reason);
  void tellChanges();
  std::string iconName() const;
  std::string plainTitle() const;

  const std::shared_ptr<Queue> mainQueue_;
  const std::string iconDirectory_;
  const std::shared_ptr<StatusNotification> notification_;
  std::shared_ptr<const StatusItem> item_;  // null until it is installed
  MenuHandlers handlers_;
  std::shared_ptr<BusConnection> connection_;
  std::unique_ptr<sdbus::IObject> object_;
  std::shared_ptr<DBusMenu> menu_;
  std::unique_ptr<BusService> watcher_;
  bool hasChanged_ = false;
  bool isMissing_ = false;   // the tray, and that has been said
  bool isNotified_ = false;  // or will be, unless there is a tray by then
};

}  // namespace tandemview
