#pragma once

#include <memory>
#include <string>

#include "platform/linux/bus/BusConnection.h"
#include "runtime/Descriptor.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Queue.h"

namespace tandemview {

class BusService;

/// Tells of the machine's sleep and wake as logind announces them on the system bus, by the notifications
/// "NSWorkspaceWillSleepNotification" and "NSWorkspaceDidWakeNotification", which carry nothing. The machine waits
/// with its sleep until the observers of the first have run. Without a bus or logind nothing is told until they are
/// there. Lives on the main queue.
class LogindSleepMonitor final : public std::enable_shared_from_this<LogindSleepMonitor> {
 public:
  struct Surroundings {
    std::shared_ptr<Queue> mainQueue;
    std::shared_ptr<NotificationCenter> notificationCenter;
    const void* object;  // that the notifications are posted by
  };

  static std::shared_ptr<LogindSleepMonitor> started(Surroundings surroundings);
  ~LogindSleepMonitor();

 private:
  explicit LogindSleepMonitor(Surroundings surroundings);

  void connect();
  void connected(BusConnection::Opened opened);
  void connectLater(const std::string& reason);
  void takeInhibitor();
  void inhibitorIsTaken(Descriptor inhibitor);
  void prepareForSleep(bool isAboutToSleep);
  void logindIsGone(const std::string& reason);
  void isUnavailable(const std::string& reason);
  void post(const char* notification);

  const Surroundings surroundings_;
  std::shared_ptr<BusConnection> connection_;
  std::unique_ptr<BusService> logind_;
  Descriptor inhibitor_;  // delays the machine's sleep for as long as it is open
  bool isAsleep_ = false;
  bool wasUnavailable_ = false;
};

}  // namespace tandemview
