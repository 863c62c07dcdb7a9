#pragma once

#include <sdbus-c++/TypeTraits.h>

#include <memory>
#include <set>
#include <string>

#include "app/StatusItemSystem.h"
#include "platform/linux/bus/BusConnection.h"
#include "platform/linux/tray/MenuTree.h"
#include "runtime/Timer.h"

namespace sdbus {
class IObject;
}

namespace tandemview {

/// A menu that somebody else on the bus draws, by the protocol com.canonical.dbusmenu. Made, used and destroyed on
/// the bus connection's queue.
///
/// It counts as open from the host's announcement on, until the host closes it or leaves the bus. Hosts that announce
/// the opening and tell nothing more are taken to have closed it at a choice, or after a while of silence.
class DBusMenu final : public std::enable_shared_from_this<DBusMenu> {
 public:
  struct Surroundings {
    std::shared_ptr<Queue> queue;
    std::shared_ptr<BusConnection> connection;
    std::string iconThemePath;
    StatusItemSystem::MenuHandlers handlers;
  };

  /// Serves the menu at `path` on the bus. Throws sdbus::Error if the bus refuses that.
  static std::shared_ptr<DBusMenu> serving(Surroundings surroundings, const std::string& path,
                                           const std::vector<std::shared_ptr<MenuItem>>& menu);
  ~DBusMenu();

  /// Tells the host, at the end of the queue's current work.
  void lineChanged(const MenuItem& line);

 private:
  enum class State { Closed, Announced, Open };
  struct Event {
    MenuTree::Identifier line;
    std::string name;
  };

  DBusMenu(Surroundings surroundings, const std::vector<std::shared_ptr<MenuItem>>& menu);

  void registerQueries();
  void registerEvents();
  void registerProperties();
  void requireLine(MenuTree::Identifier line);
  void handleEvent(const Event& event);
  void choose(MenuTree::Identifier line);
  void aboutToShow(MenuTree::Identifier line);
  void opened();
  void open(State state);
  void close();
  void closeWithHost(const std::string& host);
  void closeAfterSilence();
  void tellChanges();

  const Surroundings surroundings_;
  const MenuTree tree_;
  std::unique_ptr<sdbus::IObject> object_;
  std::set<MenuTree::Identifier> changed_;
  State state_ = State::Closed;
  sdbus::Slot hostWatch_;  // while it is open
  std::shared_ptr<Timer> silence_;
  bool wasHeard_ = false;  // since the last tick of `silence_`
};

}  // namespace tandemview
