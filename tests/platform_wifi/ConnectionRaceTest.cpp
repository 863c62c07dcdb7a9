#include "platform/linux/ConnectionRace.h"

#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <vector>

#include "fakes/ManualQueue.h"
#include "runtime/Socket.h"

namespace tandemview {
namespace {

/// A socket on a free port of 127.0.0.1 or ::1.
struct Peer {
  enum class Manner { Accepts, Refuses, IsSilent };

  Peer(int family, Manner manner) : socket(::socket(family, SOCK_STREAM, 0)) {
    address.interface = static_cast<int>(::if_nametoindex("lo"));
    if (family == AF_INET6) {
      address.address = sockaddr_in6{.sin6_family = AF_INET6,
                                     .sin6_port = 0,
                                     .sin6_flowinfo = 0,
                                     .sin6_addr = in6addr_loopback,
                                     .sin6_scope_id = 0};
    } else {
      address.address =
          sockaddr_in{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
    }
    std::visit(
        [&](auto& ip) {
          auto* generic = reinterpret_cast<sockaddr*>(&ip);
          socklen_t length = sizeof(ip);
          ::bind(socket.get(), generic, length);
          ::getsockname(socket.get(), generic, &length);
          if (manner != Manner::Refuses) ::listen(socket.get(), 0);
          if (manner != Manner::IsSilent) return;
          for (Descriptor& other : fill) {  // nobody accepts these, and the system drops what comes after
            other = Descriptor(::socket(family, SOCK_STREAM, 0));
            makeNonBlocking(other.get());
            ::connect(other.get(), generic, length);
          }
        },
        address.address);
  }

  bool isConnectedTo(const Descriptor& client) const {
    sockaddr_in6 name{};
    socklen_t length = sizeof(name);
    ::getpeername(client.get(), reinterpret_cast<sockaddr*>(&name), &length);
    return std::visit([&](const auto& ip) { return std::memcmp(&ip, &name, sizeof(ip)) == 0; }, address.address);
  }

  Descriptor socket;
  SocketAddress address;
  Descriptor fill[4];
};

class ConnectionRaceTest : public testing::Test {
 protected:
  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  std::optional<Result<Descriptor>> result;
  std::shared_ptr<ConnectionRace> race =
      ConnectionRace::start(queue, [this](Result<Descriptor> done) { result.emplace(std::move(done)); });
};

using Manner = Peer::Manner;

TEST_F(ConnectionRaceTest, PrefersIPv6ThatComesALittleLater) {
  const Peer ipv4(AF_INET, Manner::Accepts);
  const Peer ipv6(AF_INET6, Manner::Accepts);
  race->add(ipv4.address);
  queue->advance(0.04);
  race->add(ipv6.address);
  queue->advance(0.02);
  ASSERT_TRUE(queue->drainUntil([&] { return result.has_value(); }));
  EXPECT_TRUE(ipv6.isConnectedTo(result->value()));
}

TEST_F(ConnectionRaceTest, GoesOnAtOnceAfterARefusalAndSoonAfterSilence) {
  const Peer silent(AF_INET6, Manner::IsSilent);
  const Peer refusing(AF_INET, Manner::Refuses);
  const Peer accepting(AF_INET6, Manner::Accepts);
  for (const Peer* peer : {&silent, &accepting, &refusing}) race->add(peer->address);
  queue->advance(0.2);
  EXPECT_FALSE(result.has_value());
  queue->advance(0.1);  // the refusing one's turn, then at once the last
  ASSERT_TRUE(queue->drainUntil([&] {
    queue->advance(0);
    return result.has_value();
  }));
  EXPECT_TRUE(accepting.isConnectedTo(result->value()));
}

TEST_F(ConnectionRaceTest, FailsWhenNothingIsLeftToTry) {
  const Peer refusing(AF_INET, Manner::Refuses);
  race->add(refusing.address);
  queue->advance(1);
  EXPECT_FALSE(result.has_value()) << "another address may come";
  race->endAddresses();
  queue->advance(0);
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->error(), posixError(ECONNREFUSED));
}

TEST_F(ConnectionRaceTest, FailsAfterTenSecondsOfSilence) {
  const Peer silent(AF_INET, Manner::IsSilent);
  race->add(silent.address);
  race->endAddresses();
  queue->advance(9.9);
  EXPECT_FALSE(result.has_value());
  queue->advance(0.2);
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->error(), posixError(ETIMEDOUT));
}

}  // namespace
}  // namespace tandemview
