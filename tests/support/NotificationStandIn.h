#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <mutex>

#include "support/ServedConnection.h"

namespace tandemview {

/// A desktop's notifications, as far as a test can be one: the first has the number 1.
class NotificationStandIn {
 public:
  using Reply = sdbus::Result<std::uint32_t>;
  enum class Manner { Usual, AnswersBeforeItReplies, RepliesZero, RepliesWhenTold };

  NotificationStandIn(std::unique_ptr<ServedConnection> bus, const std::vector<std::string>& capabilities,
                      Manner manner = Manner::Usual)
      : bus_(std::move(bus)), manner_(manner), object_(sdbus::createObject(**bus_, path)) {
    object_->registerMethod("GetCapabilities").onInterface(interface).implementedAs([capabilities] {
      return capabilities;
    });
    object_->registerMethod("Notify").onInterface(interface).implementedAs(
        [this](Reply&& reply, const std::string&, std::uint32_t, const std::string&, const std::string& summary,
               const std::string& body, const std::vector<std::string>& actions,
               const std::map<std::string, sdbus::Variant>& hints, std::int32_t timeout) {
          const std::lock_guard lock(mutex_);
          shown_ = summary + "|" + body;
          for (const std::string& action : actions) shown_ += "|" + action;
          if (timeout != 0) shown_ += " expires";
          desktopEntry_ = hints.at("desktop-entry").get<std::string>();
          ++notifications_;
          if (manner_ == Manner::AnswersBeforeItReplies) choose(notifications_, "1");
          if (manner_ == Manner::RepliesWhenTold) {
            waiting_ = std::move(reply);
          } else {
            reply.returnResults(manner_ == Manner::RepliesZero ? 0 : notifications_);
          }
        });
    object_->registerMethod("CloseNotification").onInterface(interface).implementedAs([this](std::uint32_t number) {
      const std::lock_guard lock(mutex_);
      withdrawn_.push_back(number);
    });
    object_->registerSignal("ActionInvoked").onInterface(interface).withParameters<std::uint32_t, std::string>();
    object_->registerSignal("NotificationClosed").onInterface(interface).withParameters<std::uint32_t, std::uint32_t>();
    object_->finishRegistration();
    (**bus_).requestName(interface);
  }

  /// What was shown last.
  std::string shown() { return guarded(shown_); }
  std::string desktopEntry() { return guarded(desktopEntry_); }
  std::uint32_t count() { return guarded(notifications_); }
  std::vector<std::uint32_t> withdrawn() { return guarded(withdrawn_); }

  /// Returns when all that it has said has been passed on by the bus.
  void settle() {
    std::string identifier;
    sdbus::createProxy(**bus_, "org.freedesktop.DBus", "/org/freedesktop/DBus")
        ->callMethod("GetId")
        .onInterface("org.freedesktop.DBus")
        .storeResultsTo(identifier);
  }

  void choose(std::uint32_t notification, const std::string& action) {
    object_->emitSignal("ActionInvoked").onInterface(interface).withArguments(notification, action);
  }
  void close(std::uint32_t notification) {
    object_->emitSignal("NotificationClosed").onInterface(interface).withArguments(notification, std::uint32_t(2));
  }
  /// Outside of the lock, which the bus's thread takes while it holds its own.
  void reply() {
    std::unique_lock lock(mutex_);
    const Reply waiting = std::move(*waiting_);
    lock.unlock();
    waiting.returnResults(count());
  }

 private:
  static constexpr const char* interface = "org.freedesktop.Notifications";
  static constexpr const char* path = "/org/freedesktop/Notifications";

  template <typename Value>
  Value guarded(const Value& value) {
    const std::lock_guard lock(mutex_);
    return value;
  }

  const std::unique_ptr<ServedConnection> bus_;
  const Manner manner_;
  std::unique_ptr<sdbus::IObject> object_;
  std::mutex mutex_;
  std::string shown_, desktopEntry_;
  std::vector<std::uint32_t> withdrawn_;
  std::uint32_t notifications_ = 0;
  std::optional<Reply> waiting_;
};

}  // namespace tandemview
