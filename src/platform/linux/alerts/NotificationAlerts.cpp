#include "platform/linux/alerts/NotificationAlerts.h"

#include <sdbus-c++/sdbus-c++.h>

#include <charconv>
#include <utility>

#include "platform/linux/bus/BusService.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

constexpr BusService::Place serverPlace = {.name = "org.freedesktop.Notifications",
                                           .path = "/org/freedesktop/Notifications",
                                           .interface = "org.freedesktop.Notifications"};

/// Of freedesktop.org's urgency levels.
constexpr std::uint8_t normalUrgency = 1;
constexpr std::uint8_t criticalUrgency = 2;

constexpr std::int32_t neverExpires = 0;

/// Where the program is installed, its desktop file has this name: from there the notification gets its icon, and its
/// place in the desktop's settings.
constexpr const char* desktopFile = "org.tandemview.Tandemview";

/// How long the bus and the server may take until the alert goes to the other system: a server that the bus has to
/// start first needs a moment.
constexpr double patienceSeconds = 5;

/// Servers tell everybody of everybody's notifications; more than these don't happen before ours is there.
constexpr std::size_t mostEarlyAnswers = 64;

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

NotificationAlerts::~NotificationAlerts() {
  if (stage_ == Stage::Notified) withdraw(notification_);
}

void NotificationAlerts::show(const Alert& alert, std::function<void(int button)> answer) {
  if (stage_ == Stage::Notified) withdraw(notification_);
  if (stage_ != Stage::Idle) finish(lastButton());
  alert_ = alert;
  answer_ = std::move(answer);
  stage_ = Stage::Asking;
  ++count_;
  earlyAnswers_.clear();
  mainQueue_->after(patienceSeconds, [weak = weak_from_this(), count = count_] {
    const auto self = weak.lock();
    if (self && self->isAsking(count)) self->fallBack();
  });
  if (server_) return askCapabilities();
  if (!std::exchange(isConnecting_, true)) connect();
}

void NotificationAlerts::connect() {
  BusConnection::open(BusConnection::Bus::Session, mainQueue_, weakly(this, &NotificationAlerts::connected));
}

void NotificationAlerts::connected(BusConnection::Opened opened) {
  isConnecting_ = false;
  if (!opened) return busIsGone();
  const auto weak = weak_from_this();
  connection_ = BusConnection::serving(*opened, mainQueue_, weakly(this, &NotificationAlerts::busIsGone));
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
  if (stage_ == Stage::Asking) askCapabilities();
}

void NotificationAlerts::askCapabilities() {
  try {
    server_->object()
        .callMethodAsync("GetCapabilities")
        .onInterface(serverPlace.interface)
        .withTimeout(BusService::forever)
        .uponReplyInvoke([weak = weak_from_this(), count = count_](const sdbus::Error* error,
                                                                   const std::vector<std::string>& names) {
          const auto self = weak.lock();
          if (!self || !self->isAsking(count)) return;
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
      {"desktop-entry", sdbus::Variant(std::string(desktopFile))}};
  const std::string& text = alert_.informativeText;
  try {
    server_->object()
        .callMethodAsync("Notify")
        .onInterface(serverPlace.interface)
        .withTimeout(BusService::forever)
        .withArguments(std::string("Tandemview"), std::uint32_t(0), std::string("tandemview"), alert_.message,
                       capabilities.contains("body-markup") ? escapedForMarkup(text) : text, actions, hints,
                       neverExpires)
        .uponReplyInvoke(
            [weak = weak_from_this(), count = count_](const sdbus::Error* error, std::uint32_t notification) {
              const auto self = weak.lock();
              if (!self) return;
              const bool isShown = !error && notification != 0;  // servers count from 1
              if (self->isAsking(count)) return isShown ? self->isNotified(notification) : self->fallBack();
              if (isShown) self->withdraw(notification);  // nobody waits for its answer any more
            });
    connection_->update();
  } catch (const sdbus::Error&) {
    fallBack();
  }
}

void NotificationAlerts::isNotified(std::uint32_t notification) {
  stage_ = Stage::Notified;
  notification_ = notification;
  const auto early = earlyAnswers_.find(notification);
  if (early != earlyAnswers_.end()) finish(early->second);
}

void NotificationAlerts::isChosen(std::uint32_t notification, const std::string& button) {
  int index = -1;
  const auto [end, error] = std::from_chars(button.data(), button.data() + button.size(), index);
  if (error != std::errc() || end != button.data() + button.size() || index < 0 || index > lastButton()) return;
  isAnswered(notification, index);
}

void NotificationAlerts::isClosed(std::uint32_t notification) {
  isAnswered(notification, lastButton());
}

/// The first answer counts: servers close a notification after its choice.
void NotificationAlerts::isAnswered(std::uint32_t notification, int button) {
  if (stage_ == Stage::Asking && earlyAnswers_.size() < mostEarlyAnswers) earlyAnswers_.emplace(notification, button);
  if (stage_ == Stage::Notified && notification == notification_) finish(button);
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

/// No reply is waited for: it may be the last thing that the program does.
void NotificationAlerts::withdraw(std::uint32_t notification) {
  if (!server_) return;
  try {
    server_->object()
        .callMethod("CloseNotification")
        .onInterface(serverPlace.interface)
        .withArguments(notification)
        .dontExpectReply();
    connection_->update();
  } catch (const sdbus::Error&) {
    // The bus is gone, and the notification with it or out of reach.
  }
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
