#include "app/AppDelegate.h"
#include "runtime/Log.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

constexpr std::uint16_t usbPort = 2345;  // of the companion app, on the device

}  // namespace

void AppDelegate::startUSB() {
  sender_ = std::make_shared<USBSender>(usbPort,
                                        USBSender::Surroundings{.mainQueue = surroundings_.mainQueue,
                                                                .notificationCenter = surroundings_.notificationCenter,
                                                                .clock = surroundings_.clock,
                                                                .program = surroundings_.program,
                                                                .sharedHub = surroundings_.sharedHub});
  sender_->onClientConnected = fromLink(&AppDelegate::usbConnected);
  sender_->onClientDisconnected = fromLink(&AppDelegate::usbDisconnected);
  installCallbacks<Link::USB>(*sender_);
  sender_->start();
}

void AppDelegate::startWiFi() {
  if (!surroundings_.wifiNetwork) return;
  wifiSender_ = std::make_shared<WiFiSender>(WiFiSender::Surroundings{.mainQueue = surroundings_.mainQueue,
                                                                      .queue = surroundings_.wifiQueue,
                                                                      .network = surroundings_.wifiNetwork,
                                                                      .userDefaults = surroundings_.userDefaults,
                                                                      .clock = surroundings_.clock,
                                                                      .wallClock = surroundings_.wallClock,
                                                                      .program = surroundings_.program});
  wifiSender_->onClientConnected = fromLink(&AppDelegate::wifiConnected);
  wifiSender_->onClientDisconnected = fromLink(&AppDelegate::wifiDisconnected);
  wifiSender_->onCodeContested = fromLink(&AppDelegate::showCodeContested);
  installCallbacks<Link::WiFi>(*wifiSender_);
  wifiSender_->start();
  Log::line("📶 WiFi sender started - looking for iPhone...");
}

void AppDelegate::showCodeContested() {
  surroundings_.alerts->show(
      {.style = AlertStyle::Warning,
       .message = "Two devices have your pairing code",
       .informativeText = "More than one device nearby answers to the code " + sessionPairingCode_ +
                          ". It may be chance, or somebody who wants to see your screen and control this computer. "
                          "Tandemview connects to none of them over Wi-Fi as long as this lasts.\n\nConnect your "
                          "iPhone with the cable.",
       .buttons = {"OK"}},
      [](int) {});
}

/// A link's report; nothing once the delegate is gone or on its way out.
template <typename... Arguments>
std::function<void(Arguments...)> AppDelegate::fromLink(void (AppDelegate::*handler)(Arguments...)) {
  return weakly(this, [handler](AppDelegate& self, Arguments... arguments) {
    if (!self.isEnding_) (self.*handler)(std::move(arguments)...);
  });
}

/// What a phone says is handled alike, whichever link it comes over.
template <AppDelegate::Link link, typename Sender>
void AppDelegate::installCallbacks(Sender& sender) {
  sender.onDeviceInfo = fromLink(&AppDelegate::handleDeviceInfo);
  sender.onTouchEvent = fromLink(&AppDelegate::handleTouchEvent<link>);
  sender.onKeyEvent = fromLink(&AppDelegate::handleKeyEvent);
  sender.onRoomForFrames = fromLink(&AppDelegate::linkHasRoom);
}

template <AppDelegate::Link link>
void AppDelegate::handleTouchEvent(Data payload) {
  touchLink_ = link;
  if (touchInjector_) touchInjector_->handleTouchEvent(payload);
}

void AppDelegate::handleKeyEvent(Data payload) {
  if (keyboardInjector_) keyboardInjector_->handleKeyEvent(payload);
}

/// A drag that came over a link which has ended: its end won't come.
void AppDelegate::releaseButtonHeldOver(Link link) {
  if (touchInjector_ && touchLink_ == link) touchInjector_->releaseHeldButton();
}

void AppDelegate::linkHasRoom() {
  if (distributor_) distributor_->linkHasRoom();
}

void AppDelegate::usbConnected() {
  if (isUSBConnected_) return;
  isUSBConnected_ = true;
  Log::line("✅ iPhone connected via USB");
  updateStatusTitle(true);
}

void AppDelegate::usbDisconnected() {
  if (!isUSBConnected_) return;
  isUSBConnected_ = false;
  Log::line("⚠️ iPhone disconnected (USB)");
  releaseButtonHeldOver(Link::USB);
  onMain([](AppDelegate& self) { self.linkEnded(); });
}

void AppDelegate::wifiConnected() {
  if (isWiFiConnected_) return;
  isWiFiConnected_ = true;
  Log::line("✅ iPhone connected via WiFi");
  sender_->stopRetryTimer();
  updateStatusTitle(true);
}

/// Unlike the loss of the cable, this one looks for the phone anew, on both ways.
void AppDelegate::wifiDisconnected() {
  if (!isWiFiConnected_) return;
  isWiFiConnected_ = false;
  Log::line("⚠️ iPhone disconnected (WiFi)");
  releaseButtonHeldOver(Link::WiFi);
  onMain([](AppDelegate& self) {
    if (self.isEnding_) return;
    self.linkEnded();
    self.wifiSender_->start();
    self.sender_->retryConnection();
    self.sender_->startRetryTimer();
  });
}

/// The stream goes on over the other link, as that link wants it, or ends with the last one.
void AppDelegate::linkEnded() {
  if (!hasLink()) return tearDownStreaming();
  if (encoder_) encoder_->jpegQuality = jpegQualityFor(qualityMode_, hasWiFiLink());
  if (menu_->showsLink()) updateStatusTitle(true);
}

/// The last link is gone: the display stays, the stream ends.
void AppDelegate::tearDownStreaming() {
  dropCapture();
  if (touchInjector_) touchInjector_->releaseHeldButton();
  if (surroundings_.events) surroundings_.events->discardWaitingEvents();
  recoveries_ = 0;
  waitsForUnlocking_ = false;
  {
    const std::lock_guard lock(configurationLock_);
    isConfiguring_ = false;
    pendingDeviceInfo_.reset();
  }
  updateStatusTitle(false);
}

}  // namespace tandemview
