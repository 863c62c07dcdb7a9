#pragma once

#include <memory>
#include <string>

#include "app/StatusItemSystem.h"
#include "platform/linux/BusConnection.h"
#include "platform/linux/DBusMenu.h"

namespace sdbus {
class IObject;
}  // namespace sdbus

namespace tandemview {

class BusService;

/// The status item as an org.kde.StatusNotifierItem on the session bus, which the desktop's tray draws. Without a bus
/// or a tray nothing is shown until they are there. Lives on the main queue.
class StatusNotifierItem final : public StatusItemSystem, public std::enable_shared_from_this<StatusNotifierItem> {
 public:
  /// `iconDirectory`: the one above "hicolor" with the program's own icons.
  StatusNotifierItem(std::shared_ptr<Queue> mainQueue, std::string iconDirectory);
  ~StatusNotifierItem() override;

  /// Every program is one here.
  void becomeAccessory() override {}

  void install(std::shared_ptr<const StatusItem> item, MenuHandlers handlers) override;
  void itemChanged() override;
  void lineChanged(const MenuItem& line) override;

 private:
  void connect();
  void connected(BusConnection::Opened opened);
  void connectLater(const std::string& reason);
  void registerObject();
  void registerWithTray();
  void trayIsGone(const std::string& reason);
  void tellChanges();
  std::string iconName() const;
  std::string plainTitle() const;

  const std::shared_ptr<Queue> mainQueue_;
  const std::string iconDirectory_;
  std::shared_ptr<const StatusItem> item_;  // null until it is installed
  MenuHandlers handlers_;
  std::shared_ptr<BusConnection> connection_;
  std::unique_ptr<sdbus::IObject> object_;
  std::shared_ptr<DBusMenu> menu_;
  std::unique_ptr<BusService> watcher_;
  bool hasChanged_ = false;
  bool wasMissing_ = false;  // the tray, and that has been said
};

}  // namespace tandemview
