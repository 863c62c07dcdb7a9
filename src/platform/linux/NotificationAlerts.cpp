#include "platform/linux/NotificationAlerts.h"

#include <sdbus-c++/sdbus-c++.h>

#include <charconv>
#include <chrono>
#include <map>
#include <utility>
#include <vector>

#include "platform/linux/BusService.h"

namespace tandemview {

namespace {

constexpr BusService::Place serverPlace = {.name = "org.freedesktop.Notifications",
                                           .path = "/org/freedesktop/Notifications",
                                           .interface = "org.freedesktop.Notifications"};

/// Of freedesktop.org's urgency levels.
constexpr std::uint8_t normalUrgency = 1;
constexpr std::uint8_t criticalUrgency = 2;

constexpr std::int32_t neverExpires = 0;

std::string escapedForMarkup(const std::string& text) {
  static const std::map<char, std::string> entities = {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}};
  std::string escaped;
  for (const char character : text) {
    const auto entity = entities.find(character);
    escaped += entity == entities.end() ? std::string(1, character) : entity->second;
  }
  return escaped;
}

}  // namespace

NotificationAlerts::NotificationAlerts(std::shared_ptr<Queue> mainQueue, std::shared_ptr<AlertSystem> fallback)
    : mainQueue_(std::move(mainQueue)), fallback_(std::move(fallback)) {}

NotificationAlerts::~NotificationAlerts() = default;

void NotificationAlerts::show(const Alert& alert, std::function<void(int button)> answer) {
  alert_ = alert;
  answer_ = std::move(answer);
  stage_ = Stage::Asking;
  if (connection_) return askCapabilities();
  const std::weak_ptr<Queue> weakQueue = mainQueue_;
  BusConnection::open(BusConnection::Bus::Session, [weakQueue, weak = weak_from_this()](BusConnection::Opened opened) {
    const auto queue = weakQueue.lock();
    if (!queue) return;
    queue->async([weak, opened = std::move(opened)] {
      if (const auto self = weak.lock()) self->connected(opened);
    });
  });
}

void NotificationAlerts::connected(BusConnection::Opened opened) {
  if (!opened) return fallBack();
  const auto weak = weak_from_this();
  connection_ = BusConnection::serving(*opened, mainQueue_, [weak] {
    if (const auto self = weak.lock()) self->busIsGone();
  });
  try {
    server_ = std::make_unique<BusService>(*connection_, serverPlace, [weak](bool) {
      if (const auto self = weak.lock()) self->serverIsGone();  // whoever is there now knows nothing of ours
    });
    server_->uponSignal("ActionInvoked", [weak](sdbus::Message& message) {
      std::uint32_t notification = 0;
      std::string button;
      message >> notification >> button;
      if (const auto self = weak.lock()) self->isChosen(notification, button);
    });
    server_->uponSignal("NotificationClosed", [weak](sdbus::Message& message) {
      std::uint32_t notification = 0;
      message >> notification;
      if (const auto self = weak.lock()) self->isClosed(notification);
    });
  } catch (const sdbus::Error&) {
    return busIsGone();
  }
  askCapabilities();
}

void NotificationAlerts::askCapabilities() {
  try {
    server_->object()
        .callMethodAsync("GetCapabilities")
        .onInterface(serverPlace.interface)
        .withTimeout(std::chrono::seconds(BusConnection::timeoutSeconds))
        .uponReplyInvoke([weak = weak_from_this()](const sdbus::Error* error, const std::vector<std::string>& names) {
          const auto self = weak.lock();
          if (!self || self->stage_ != Stage::Asking) return;
          if (error) return self->fallBack();
          self->notify(Capabilities(names.begin(), names.end()));
        });
    connection_->update();
  } catch (const sdbus::Error&) {
    fallBack();
  }
}

void NotificationAlerts::notify(const Capabilities& capabilities) {
  const bool offersChoice = alert_.buttons.size() > 1;
  if (offersChoice && !capabilities.contains("actions")) return fallBack();
  std::vector<std::string> actions;  // a key and a label each; the keys are the buttons' indices
  for (std::size_t button = 0; offersChoice && button < alert_.buttons.size(); ++button) {
    actions.push_back(std::to_string(button));
    actions.push_back(alert_.buttons[button]);
  }
  const bool isWarning = alert_.style == AlertStyle::Warning;
  const std::map<std::string, sdbus::Variant> hints = {
      {"urgency", sdbus::Variant(isWarning ? criticalUrgency : normalUrgency)},
      {"desktop-entry", sdbus::Variant(std::string("tandemview"))}};
  const std::string& text = alert_.informativeText;
  try {
    server_->object()
        .callMethodAsync("Notify")
        .onInterface(serverPlace.interface)
        .withTimeout(std::chrono::seconds(BusConnection::timeoutSeconds))
        .withArguments(std::string("Tandemview"), std::uint32_t(0), std::string("tandemview"), alert_.message,
                       capabilities.contains("body-markup") ? escapedForMarkup(text) : text, actions, hints,
                       neverExpires)
        .uponReplyInvoke([weak = weak_from_this()](const sdbus::Error* error, std::uint32_t notification) {
          const auto self = weak.lock();
          if (!self || self->stage_ != Stage::Asking) return;
          if (error) return self->fallBack();
          self->stage_ = Stage::Notified;
          self->notification_ = notification;
        });
    connection_->update();
  } catch (const sdbus::Error&) {
    fallBack();
  }
}

void NotificationAlerts::isChosen(std::uint32_t notification, const std::string& button) {
  if (stage_ != Stage::Notified || notification != notification_) return;
  int index = -1;
  const auto [end, error] = std::from_chars(button.data(), button.data() + button.size(), index);
  if (error != std::errc() || end != button.data() + button.size() || index < 0 || index > lastButton()) return;
  finish(index);
}

void NotificationAlerts::isClosed(std::uint32_t notification) {
  if (stage_ == Stage::Notified && notification == notification_) finish(lastButton());
}

void NotificationAlerts::serverIsGone() {
  if (stage_ == Stage::Notified) finish(lastButton());
}

void NotificationAlerts::busIsGone() {
  server_.reset();
  connection_.reset();
  if (stage_ == Stage::Asking) return fallBack();
  serverIsGone();
}

void NotificationAlerts::fallBack() {
  stage_ = Stage::Idle;
  fallback_->show(alert_, std::exchange(answer_, nullptr));
}

void NotificationAlerts::finish(int button) {
  stage_ = Stage::Idle;
  std::exchange(answer_, nullptr)(button);
}

}  // namespace tandemview
