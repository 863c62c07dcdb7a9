#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>

#include <span>
#include <string>

#include "companion/SocketAddress.h"
#include "end_to_end/Program.h"
#include "runtime/BigEndian.h"
#include "runtime/Descriptor.h"
#include "runtime/MediaClock.h"

namespace tandemview {

/// A host on a connection of its own, whose clock is another computer's.
class PlayedHost {
 public:
  explicit PlayedHost(const Program& companion, double clockOffset) : clockOffset_(clockOffset) {
    EXPECT_TRUE(companion.prints("listens at ")) << companion.output();
    std::string address = companion.output();
    address = address.substr(address.find("listens at ") + 11);
    const auto target = *socketAddressFromText(address.substr(0, address.find('\n')));
    socket_ = Descriptor(::socket(target.storage.ss_family, SOCK_STREAM, 0));
    EXPECT_EQ(::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&target.storage), target.length), 0);
  }
  /// Reads what is on its way, lest the system drop what it has sent.
  ~PlayedHost() {
    ::shutdown(socket_.get(), SHUT_WR);
    while (!receiveBytes(1).empty()) continue;
  }
  PlayedHost(const PlayedHost&) = delete;
  PlayedHost& operator=(const PlayedHost&) = delete;

  void send(const std::string& bytes) const {
    EXPECT_EQ(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }
  static std::string message(std::uint32_t type, const std::string& payload, std::uint32_t version = 1,
                             std::uint32_t tag = 0) {
    std::string bytes;
    for (const std::uint32_t field : {version, type, tag, static_cast<std::uint32_t>(payload.size())}) {
      for (const std::byte byte : bigEndianBytes(field)) bytes += static_cast<char>(byte);
    }
    return bytes + payload;
  }
  void greet() const { send(message(106, R"({"kind":"macInfo","version":"1","build":"1","features":["resize"]})")); }
  /// The payload of the next message of that type.
  std::string receive(std::uint32_t type) const {
    while (true) {
      const std::string header = receiveBytes(16);
      if (header.size() < 16) return "";
      const auto field = [&](std::size_t at) {
        return bigEndianNumber(std::as_bytes(std::span(header)).subspan(at).first<4>());
      };
      const std::string payload = receiveBytes(field(12));
      if (field(4) == type) return payload;
    }
  }
  void answerPing() const {
    const std::string ping = receive(102);
    send(message(103, ping + bytesOf(now())));
  }
  std::string frame(const std::string& image, double late = 0) const {
    return message(101, bytesOf(now() + late) + image);
  }

 private:
  static std::string bytesOf(double seconds) { return {reinterpret_cast<const char*>(&seconds), sizeof(seconds)}; }
  double now() const { return SystemMediaClock().now() + clockOffset_; }
  std::string receiveBytes(std::size_t count) const {
    std::string bytes(count, '\0');
    const ssize_t received = count == 0 ? 0 : ::recv(socket_.get(), bytes.data(), count, MSG_WAITALL);
    bytes.resize(received > 0 ? static_cast<std::size_t>(received) : 0);
    return bytes;
  }

  Descriptor socket_;
  double clockOffset_;
};

}  // namespace tandemview
