#include "companion/Phone.h"

#include <fmt/core.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <nlohmann/json.hpp>

#include "protocol/Message.h"
#include "protocol/MessageType.h"
#include "usb/PTChannel.h"

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

void Phone::accept(std::shared_ptr<Stream> stream) {
  hangUp("a new connection takes its place");
  stream_ = std::move(stream);
  ++connection_;
  hasMetHost_ = false;
  unansweredPings_.clear();
  delegate_.phoneDidConnect();
  PTProtocol::sharedProtocolForQueue(queue_)->readFramesOverChannel(
      stream_, [weak = weak_from_this(), connection = connection_](
                   const std::optional<Error>& error, std::uint32_t type, std::uint32_t tag, std::uint32_t payloadSize,
                   const PTProtocol::ResumeBlock& resume) {
        if (const auto phone = weak.lock()) phone->readHeader(connection, error, type, tag, payloadSize, resume);
      });
}

void Phone::hangUp(const std::string& reason) {
  if (!stream_) return;
  pingTimer_ = nullptr;
  std::exchange(stream_, nullptr)->stop();
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
  if (!stream_ || unansweredPings_.size() == mostUnansweredPings) return;
  unansweredPings_.push_back(MacProtocol::timestamp(clock_.now()));
  send(MessageType::ping, unansweredPings_.back());
}

void Phone::send(std::uint32_t type, const Data& payload) {
  if (!stream_) return;
  PTProtocol::sharedProtocolForQueue(queue_)->sendFrameOfType(type, 0, payload, *stream_, nullptr);
}

void Phone::stall(double seconds) {
  stalledUntil_ = clock_.now() + seconds;
}

void Phone::readHeader(std::uint64_t connection, const std::optional<Error>& error, std::uint32_t type,
                       std::uint32_t tag, std::uint32_t payloadSize, const PTProtocol::ResumeBlock& resume) {
  if (connection != connection_ || !stream_) return;
  if (error) return hangUp(error->localizedDescription());
  if (type == PTProtocol::endOfStreamType) return hangUp("the host has closed it");
  if (tag != 0) delegate_.phoneDidSeeFault(fmt::format("a frame of type {} has the tag {}", type, tag));
  if (payloadSize > longestPayload) {
    delegate_.phoneDidSeeFault(fmt::format("a frame of type {} announces {} bytes", type, payloadSize));
    return hangUp("no message is that long");
  }
  const double pause = stalledUntil_ - clock_.now();
  if (pause <= 0) return readPayload(connection, type, payloadSize, resume);
  queue_->after(pause, [weak = weak_from_this(), connection, type, payloadSize, resume] {
    if (const auto phone = weak.lock()) phone->readPayload(connection, type, payloadSize, resume);
  });
}

void Phone::readPayload(std::uint64_t connection, std::uint32_t type, std::uint32_t payloadSize,
                        const PTProtocol::ResumeBlock& resume) {
  if (connection != connection_ || !stream_) return;
  if (payloadSize == 0) {
    receive(type, {});
    return resume();
  }
  PTProtocol::sharedProtocolForQueue(queue_)->readPayloadOfSize(
      payloadSize, *stream_,
      [weak = weak_from_this(), connection, type, payloadSize, resume](const std::optional<Error>& error,
                                                                       const std::optional<Data>& payload) {
        const auto phone = weak.lock();
        if (!phone || connection != phone->connection_ || !phone->stream_) return;
        if (error) return phone->hangUp(error->localizedDescription());
        if (!payload || payload->size() < payloadSize) return phone->hangUp("the host has closed it within a frame");
        phone->receive(type, *payload);
        resume();
      });
}

void Phone::receive(std::uint32_t type, const Data& payload) {
  const double now = clock_.now();
  if (type == MessageType::macInfo) return receiveMacInfo(payload);
  if (type == MessageType::pong) return receivePong(payload, now);
  if (type != MessageType::videoFrame) {
    return delegate_.phoneDidSeeFault(fmt::format("a frame of type {}, which no host sends", type));
  }
  if (!hasMetHost_) delegate_.phoneDidSeeFault("a video frame before the Mac info");
  delegate_.phoneDidReceiveFrame(payload, now);
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
    if (const auto phone = weak.lock()) phone->ping();
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
