#include "companion/Phone.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <nlohmann/json.hpp>

#include "protocol/Message.h"
#include "protocol/MessageType.h"

namespace tandemview {

namespace {

/// A host that answers none of so many pings gets no more of them.
constexpr std::size_t mostUnansweredPings = 1000;

Data deviceInfoMessage(const MacProtocol::DeviceInfo& info) {
  nlohmann::json object = {{"width", info.width},
                           {"height", info.height},
                           {"scale", info.scale},
                           {"quality", info.quality},
                           {"orientation", info.orientation}};
  if (info.idiom) object["idiom"] = *info.idiom;
  return Data::copying(object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace

Phone::Phone(std::shared_ptr<Queue> queue, const MediaClock& clock, MacProtocol::DeviceInfo info, double pingInterval,
             PhoneDelegate& delegate)
    : queue_(std::move(queue)),
      clock_(clock),
      info_(std::move(info)),
      pingInterval_(pingInterval),
      delegate_(delegate) {}

void Phone::accept(std::shared_ptr<PhoneLink> link) {
  hangUp("a new connection takes its place");
  link_ = std::move(link);
  hasMetHost_ = false;
  unansweredPings_.clear();
  delegate_.phoneDidConnect(*this);
  link_->stallUntil(stalledUntil_);
  link_->start({.didReceive =
                    [weak = weak_from_this()](std::uint32_t type, const Data& payload) {
                      if (const auto phone = weak.lock()) phone->receive(type, payload);
                    },
                .didSeeFault =
                    [weak = weak_from_this()](const std::string& fault) {
                      if (const auto phone = weak.lock()) phone->delegate_.phoneDidSeeFault(fault);
                    },
                .didEnd =
                    [weak = weak_from_this()](const std::string& reason) {
                      if (const auto phone = weak.lock()) phone->hangUp(reason);
                    }});
}

void Phone::hangUp(const std::string& reason) {
  if (!link_) return;
  pingTimer_ = nullptr;
  std::exchange(link_, nullptr)->stop();
  delegate_.phoneDidDisconnect(reason);
}

void Phone::setInfo(MacProtocol::DeviceInfo info) {
  info_ = std::move(info);
  if (hasMetHost_) sendInfo();
}

void Phone::sendInfo() {
  send(MessageType::deviceInfo, deviceInfoMessage(info_));
}

void Phone::ping() {
  if (!link_ || unansweredPings_.size() == mostUnansweredPings) return;
  unansweredPings_.push_back(MacProtocol::timestamp(clock_.now()));
  send(MessageType::ping, unansweredPings_.back());
}

void Phone::send(std::uint32_t type, const Data& payload) {
  if (link_) link_->send(type, payload);
}

void Phone::announce(std::uint32_t length) {
  if (link_) link_->announce(length);
}

void Phone::stall(double seconds) {
  stalledUntil_ = clock_.now() + seconds;
  if (link_) link_->stallUntil(stalledUntil_);
}

void Phone::silence(double seconds) {
  silentUntil_ = clock_.now() + seconds;
}

void Phone::receive(std::uint32_t type, const Data& payload) {
  const double now = clock_.now();
  if (type == MessageType::macInfo) return receiveMacInfo(payload);
  if (type == MessageType::pong) return receivePong(payload, now);
  if (type != MessageType::videoFrame) {
    return delegate_.phoneDidSeeFault(fmt::format("a frame of type {}, which no host sends", type));
  }
  if (!hasMetHost_) delegate_.phoneDidSeeFault("a video frame before the Mac info");
  delegate_.phoneDidReceiveFrame(*this, payload, now);
}

void Phone::receiveMacInfo(const Data& payload) {
  const auto object = MacProtocol::jsonObject(payload);
  if (!object || !object->contains("kind") || object->at("kind") != "macInfo") {
    return delegate_.phoneDidSeeFault("Mac info that is none");
  }
  if (hasMetHost_) return delegate_.phoneDidSeeFault("a second Mac info");
  hasMetHost_ = true;
  sendInfo();
  pingTimer_ = Timer::repeating(queue_, pingInterval_, [weak = weak_from_this()] {
    const auto phone = weak.lock();
    if (phone && phone->clock_.now() >= phone->silentUntil_) phone->ping();
  });
  delegate_.phoneDidMeetHost(std::string(payload.text()));
}

void Phone::receivePong(const Data& payload, double now) {
  const auto isAnswered = [&](const Data& ping) {
    return payload.size() == MacProtocol::pongSize && payload.text().starts_with(ping.text());
  };
  const auto ping = std::ranges::find_if(unansweredPings_, isAnswered);
  if (ping == unansweredPings_.end()) return delegate_.phoneDidSeeFault("a pong that answers no ping");
  double sent = 0;
  std::memcpy(&sent, ping->bytes().data(), sizeof(sent));
  unansweredPings_.erase(ping);
  delegate_.phoneDidReceivePong(now - sent);
}

}  // namespace tandemview
