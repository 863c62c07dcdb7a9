#include "platform/linux/AvahiDaemon.h"

#include <avahi-common/error.h>

#include <utility>

#include "runtime/Log.h"

namespace tandemview {

namespace {

constexpr double reconnectSeconds = 2;

}  // namespace

Error avahiError(int code) {
  return {.domain = "Avahi", .code = code, .description = avahi_strerror(code)};
}

AvahiDaemon::AvahiDaemon(std::shared_ptr<Queue> queue) : queue_(std::move(queue)), poll_(queue_) {}

AvahiDaemon::~AvahiDaemon() {
  disconnect();
}

void AvahiDaemon::add(const std::shared_ptr<AvahiDaemonUser>& user) {
  std::erase_if(users_, [](const auto& other) { return other.expired(); });
  users_.push_back(user);
  if (isRunning_) return user->daemonDidStart(*client_);
  if (!client_ && !isConnecting_) connect();
}

Error AvahiDaemon::lastError() const {
  return avahiError(client_ ? avahi_client_errno(client_) : AVAHI_ERR_DISCONNECTED);
}

/// Later, since the library may be in the midst of a callback of the client that is to go.
void AvahiDaemon::reconnect() {
  if (std::exchange(isConnecting_, true)) return;
  stop();
  queue_->after(reconnectSeconds, [weak = weak_from_this()] {
    if (const auto daemon = weak.lock()) daemon->connect();
  });
}

void AvahiDaemon::connect() {
  disconnect();
  isConnecting_ = false;
  // The first report comes from within this call. Without a daemon the client waits for one, but not without a bus.
  client_ = avahi_client_new(poll_.get(), AVAHI_CLIENT_NO_FAIL, stateChanged, this, nullptr);
  if (client_) return;
  reportAbsence();
  reconnect();
}

void AvahiDaemon::disconnect() {
  stop();
  if (client_) avahi_client_free(std::exchange(client_, nullptr));
}

void AvahiDaemon::stateChanged(AvahiClient* client, AvahiClientState state, void* daemon) {
  auto& self = *static_cast<AvahiDaemon*>(daemon);
  switch (state) {
    case AVAHI_CLIENT_S_RUNNING:
      return self.start(*client);
    case AVAHI_CLIENT_S_REGISTERING:  // of the host's name, at its start and again when the network changes
    case AVAHI_CLIENT_S_COLLISION:
      return;
    case AVAHI_CLIENT_CONNECTING:
      self.stop();
      return self.reportAbsence();
    case AVAHI_CLIENT_FAILURE:
      self.reportAbsence();
      return self.reconnect();
  }
}

void AvahiDaemon::start(AvahiClient& client) {
  client_ = &client;
  if (std::exchange(isRunning_, true)) return;
  if (std::exchange(isAbsent_, false)) Log::line("✅ The Avahi daemon is there");
  for (const auto& user : users()) {
    if (isRunning_) user->daemonDidStart(client);  // until one of them finds that it is not
  }
}

void AvahiDaemon::stop() {
  if (!std::exchange(isRunning_, false)) return;
  for (const auto& user : users()) user->daemonDidStop();
}

void AvahiDaemon::reportAbsence() {
  if (std::exchange(isAbsent_, true)) return;
  Log::line("⚠️ The Avahi daemon is not there: no phone can be found over Wi-Fi until it is");
}

std::vector<std::shared_ptr<AvahiDaemonUser>> AvahiDaemon::users() {
  std::vector<std::shared_ptr<AvahiDaemonUser>> present;
  for (const auto& weak : users_) {
    if (auto user = weak.lock()) present.push_back(std::move(user));
  }
  return present;
}

}  // namespace tandemview
