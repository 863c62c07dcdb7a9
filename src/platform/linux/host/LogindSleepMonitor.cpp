#include "platform/linux/host/LogindSleepMonitor.h"

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <utility>

#include "app/WorkspaceNotifications.h"
#include "platform/linux/bus/BusService.h"
#include "platform/linux/host/Logind.h"
#include "runtime/Log.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

constexpr double retrySeconds = 10;

}  // namespace

std::shared_ptr<LogindSleepMonitor> LogindSleepMonitor::started(Surroundings surroundings) {
  std::shared_ptr<LogindSleepMonitor> monitor(new LogindSleepMonitor(std::move(surroundings)));
  monitor->connect();
  return monitor;
}

LogindSleepMonitor::LogindSleepMonitor(Surroundings surroundings) : surroundings_(std::move(surroundings)) {}

LogindSleepMonitor::~LogindSleepMonitor() = default;

void LogindSleepMonitor::connect() {
  BusConnection::open(BusConnection::Bus::System, surroundings_.mainQueue,
                      weakly(this, &LogindSleepMonitor::connected));
}

void LogindSleepMonitor::connected(BusConnection::Opened opened) {
  if (!opened) return connectLater(opened.error().localizedDescription());
  const auto weak = weak_from_this();
  connection_ = BusConnection::serving(*opened, surroundings_.mainQueue, [weak] {
    if (const auto self = weak.lock()) self->connectLater("the system bus is gone");
  });
  try {
    const BusService::Place place = {.name = logindName, .path = logindPath, .interface = logindInterface};
    logind_ = std::make_unique<BusService>(*connection_, place, [weak](bool isThere) {
      const auto self = weak.lock();
      if (!self) return;
      if (!isThere) return self->logindIsGone("logind is gone");
      self->takeInhibitor();
    });
    logind_->uponSignal("PrepareForSleep", [weak](sdbus::Message& message) {
      bool isAboutToSleep = false;
      message >> isAboutToSleep;
      if (const auto self = weak.lock()) self->prepareForSleep(isAboutToSleep);
    });
  } catch (const sdbus::Error& error) {
    return connectLater(error.getMessage());
  }
  takeInhibitor();
}

void LogindSleepMonitor::connectLater(const std::string& reason) {
  logind_.reset();
  connection_.reset();
  logindIsGone(reason);
  surroundings_.mainQueue->after(retrySeconds, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->connect();
  });
}

void LogindSleepMonitor::takeInhibitor() {
  try {
    logind_->object()
        .callMethodAsync("Inhibit")
        .onInterface(logindInterface)
        .withTimeout(std::chrono::seconds(BusConnection::timeoutSeconds))
        .withArguments("sleep", "Tandemview", "The screen's capture stops first", "delay")
        .uponReplyInvoke([weak = weak_from_this()](const sdbus::Error* error, sdbus::UnixFd inhibitor) {
          const auto self = weak.lock();
          if (!self) return;
          if (error) return self->isUnavailable(error->getMessage());
          self->inhibitorIsTaken(takeDescriptor(inhibitor));
        });
    connection_->update();
  } catch (const sdbus::Error& error) {
    isUnavailable(error.getMessage());
  }
}

void LogindSleepMonitor::inhibitorIsTaken(Descriptor inhibitor) {
  // One that comes when the machine is about to sleep would only hold that up.
  if (!isAsleep_) inhibitor_ = std::move(inhibitor);
  if (wasUnavailable_) Log::line("✅ Sleep and wake of the machine are noticed again");
  wasUnavailable_ = false;
}

void LogindSleepMonitor::prepareForSleep(bool isAboutToSleep) {
  if (isAboutToSleep == isAsleep_) return;
  isAsleep_ = isAboutToSleep;
  if (isAsleep_) {
    post(workspaceWillSleepNotification);
    inhibitor_ = Descriptor();
  } else {
    post(workspaceDidWakeNotification);
    takeInhibitor();
  }
}

/// Nobody would tell of the wake any more, and a machine that runs this is awake.
void LogindSleepMonitor::logindIsGone(const std::string& reason) {
  inhibitor_ = Descriptor();
  if (std::exchange(isAsleep_, false)) post(workspaceDidWakeNotification);
  isUnavailable(reason);
}

void LogindSleepMonitor::isUnavailable(const std::string& reason) {
  if (wasUnavailable_) return;
  wasUnavailable_ = true;
  Log::print("⚠️ Sleep and wake of the machine are not noticed: {}", reason);
}

void LogindSleepMonitor::post(const char* notification) {
  surroundings_.notificationCenter->post(notification, surroundings_.object, {});
}

}  // namespace tandemview
