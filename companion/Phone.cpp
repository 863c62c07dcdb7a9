#include "companion/Phone.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "companion/Timestamp.h"
#include "protocol/Message.h"
#include "protocol/MessageType.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

/// More than a host can leave without an answer before its silence ends the link, at the shortest interval.
constexpr std::size_t mostPings = 100'000;

/// A host drops a phone, too, that says nothing for so long.
constexpr double longestSilence = 10;

/// Between two looks at what is late.
constexpr double lookInterval = 0.25;

/// After so long without a look we have not run ourselves, and what came meanwhile is yet to be read.
constexpr double longestSleep = 2;

Data deviceInfoMessage(const MacProtocol::DeviceInfo& info) {
  nlohmann::json object = {{"width", info.width},
                           {"height", info.height},
                           {"scale", info.scale},
                           {"quality", info.quality},
                           {"orientation", info.orientation}};
  if (info.idiom) object["idiom"] = *info.idiom;
  return Data::copying(object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

/// What is wrong with a host's words about itself; empty if nothing is.
std::string macInfoFault(const Data& payload) {
  const auto object = MacProtocol::jsonObject(payload);
  if (!object || object->value("kind", nlohmann::json()) != "macInfo") return "Mac info that is none";
  for (const char* key : {"version", "build"}) {
    if (!object->value(key, nlohmann::json()).is_string()) return fmt::format("Mac info without the text \"{}\"", key);
  }
  const nlohmann::json features = object->value("features", nlohmann::json());
  const auto isText = [](const nlohmann::json& feature) { return feature.is_string(); };
  if (!features.is_array() || !std::ranges::all_of(features, isText)) return "Mac info without the texts \"features\"";
  return "";
}

}  // namespace

Phone::Phone(std::shared_ptr<Queue> queue, const MediaClock& clock, Settings settings, PhoneDelegate& delegate)
    : queue_(std::move(queue)), clock_(clock), settings_(std::move(settings)), delegate_(delegate) {}

void Phone::accept(std::shared_ptr<PhoneLink> link) {
  hangUp("a new connection takes its place");
  link_ = std::move(link);
  hasMetHost_ = false;
  pings_.clear();
  hostClock_.reset();
  lastHeard_ = lastLook_ = clock_.now();
  lookTimer_ = Timer::repeating(queue_, lookInterval, weakly(this, &Phone::look));
  delegate_.phoneDidConnect(*this);
  link_->stallUntil(stalledUntil_);
  link_->start({.didReceive = weakly(this, &Phone::receive),
                .didSeeFault = weakly(
                    this, [](Phone& phone, const Fault& fault) { phone.delegate_.phoneDidSeeFault(phone, fault); }),
                .didEnd = weakly(this, &Phone::hangUp)});
}

void Phone::hangUp(const std::string& reason) {
  if (!link_) return;
  pingTimer_ = nullptr;
  lookTimer_ = nullptr;
  std::exchange(link_, nullptr)->stop();
  delegate_.phoneDidDisconnect(*this, reason);
}

void Phone::setInfo(MacProtocol::DeviceInfo info) {
  settings_.info = std::move(info);
  if (hasMetHost_) sendInfo();
}

void Phone::sendInfo() {
  send(MessageType::deviceInfo, deviceInfoMessage(settings_.info));
}

void Phone::ping() {
  if (!link_) return;
  const double now = clock_.now();
  if (pings_.size() == mostPings) pings_.pop_front();
  pings_.push_back({now, now < stalledUntil_ ? Ping::State::forgiven : Ping::State::due});
  send(MessageType::ping, MacProtocol::timestamp(now));
}

void Phone::send(std::uint32_t type, const Data& payload) {
  if (!link_) return;
  delegate_.phoneDidPassMessage(*this, Direction::toHost, type, payload.size());
  link_->send(type, payload);
}

void Phone::announce(std::uint32_t length) {
  if (link_) link_->announce(length);
}

void Phone::stall(double seconds) {
  stalledUntil_ = clock_.now() + seconds;
  forgive();
  if (link_) link_->stallUntil(stalledUntil_);
}

void Phone::silence(double seconds) {
  silentUntil_ = clock_.now() + seconds;
}

void Phone::receive(std::uint32_t type, const Data& payload) {
  const double now = clock_.now();
  if (now - lastLook_ > longestSleep) look();  // lest an answer that has waited for us is late
  lastHeard_ = now;
  delegate_.phoneDidPassMessage(*this, Direction::fromHost, type, payload.size());
  if (type == MessageType::macInfo) return receiveMacInfo(payload);
  if (type == MessageType::pong) return receivePong(payload, now);
  if (type != MessageType::videoFrame) {
    return fault("type", fmt::format("a frame of type {}, which no host sends", type));
  }
  if (!hasMetHost_) fault("Mac info", "a video frame before the Mac info");
  delegate_.phoneDidReceiveFrame(*this, payload, now);
}

void Phone::receiveMacInfo(const Data& payload) {
  const std::string wrong = macInfoFault(payload);
  if (!wrong.empty()) fault("Mac info", wrong);
  if (hasMetHost_) return fault("Mac info", "a second Mac info");
  hasMetHost_ = true;
  sendInfo();
  ping();  // so that the host's clock is known when the first frame comes
  pingTimer_ = Timer::repeating(queue_, settings_.pingInterval, weakly(this, [](Phone& phone) {
                                  if (phone.clock_.now() >= phone.silentUntil_) phone.ping();
                                }));
  delegate_.phoneDidMeetHost(*this, std::string(payload.text()));
}

void Phone::receivePong(const Data& payload, double now) {
  if (payload.size() != MacProtocol::pongSize) {
    return fault("pong", fmt::format("a pong of {} bytes", payload.size()));
  }
  const auto answered = std::ranges::find_if(
      pings_, [&](const Ping& ping) { return payload.text().starts_with(MacProtocol::timestamp(ping.sent).text()); });
  if (answered == pings_.end()) return fault("pong", "a pong that answers no ping");
  const Ping ping = *answered;
  pings_.erase(answered);
  const double roundTrip = now - ping.sent;
  if (ping.state == Ping::State::due && roundTrip > settings_.pongDeadline) {
    fault("pong", fmt::format("a pong after {:.3f} s", roundTrip));
  }
  const double hostTime = timestampFrom(payload.bytes().subspan(MacProtocol::pingSize).first<timestampSize>());
  if (!std::isfinite(hostTime)) return fault("pong", fmt::format("a pong's time is {}", hostTime));
  hostClock_.didAnswer(ping.sent, hostTime, now);
  delegate_.phoneDidReceivePong(*this, roundTrip);
}

/// Whether the host is late with something.
void Phone::look() {
  const double now = clock_.now();
  const bool hasSlept = now - std::exchange(lastLook_, now) > longestSleep;
  if (hasSlept || now < stalledUntil_) return forgive();
  if (isSilent(now)) {
    fault("silence", fmt::format("the host has sent nothing for {} s", longestSilence));
    return hangUp("the host is silent");
  }
  for (Ping& ping : pings_) {
    if (now - ping.sent <= settings_.pongDeadline) break;
    if (ping.state != Ping::State::due) continue;
    ping.state = Ping::State::late;
    fault("pong", fmt::format("no pong within {} s", settings_.pongDeadline));
  }
}

/// We have not listened until now.
void Phone::forgive() {
  lastHeard_ = clock_.now();
  for (Ping& ping : pings_) ping.state = Ping::State::forgiven;
}

/// A host whose picture rests sends nothing but what it owes: its greeting and its pongs.
bool Phone::isSilent(double now) const {
  if (now - lastHeard_ < longestSilence) return false;
  return !hasMetHost_ || std::ranges::any_of(pings_, [&](const Ping& ping) {
    return ping.state != Ping::State::forgiven && now - ping.sent >= longestSilence;
  });
}

}  // namespace tandemview
