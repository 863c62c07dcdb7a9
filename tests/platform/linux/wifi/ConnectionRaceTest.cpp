#include "platform/linux/wifi/ConnectionRace.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <thread>

#include "fakes/ManualQueue.h"
#include "runtime/Socket.h"
#include "support/PrivateAvahi.h"

namespace tandemview {
namespace {

/// An address, by an interface.
SocketAddress placeAt(const std::string& address, const char* interface, std::uint16_t port) {
  const int index = static_cast<int>(::if_nametoindex(interface));
  sockaddr_in6 ipv6{};
  ipv6.sin6_family = AF_INET6;
  ipv6.sin6_port = htons(port);
  if (::inet_pton(AF_INET6, address.c_str(), &ipv6.sin6_addr) == 1) return {.address = ipv6, .interface = index};
  sockaddr_in ipv4{};
  ipv4.sin_family = AF_INET;
  ipv4.sin_port = htons(port);
  ::inet_pton(AF_INET, address.c_str(), &ipv4.sin_addr);
  return {.address = ipv4, .interface = index};
}

template <typename Call>
int with(Call call, const Descriptor& socket, const SocketAddress& place) {
  return std::visit(
      [&](const auto& ip) { return call(socket.get(), reinterpret_cast<const sockaddr*>(&ip), sizeof(ip)); },
      place.address);
}

/// Whether somebody has connected to a listening socket, or does so in that time.
bool isReached(const Descriptor& socket, int milliseconds) {
  pollfd poll{.fd = socket.get(), .events = POLLIN, .revents = 0};
  return ::poll(&poll, 1, milliseconds) == 1;
}

/// A socket on a free port of this host.
struct Peer {
  enum class Manner { Accepts, Refuses, IsSilent };

  Peer(const char* host, Manner manner)
      : address(placeAt(host, "lo", 0)), socket(newSocket(address.family(), SOCK_STREAM)) {
    with(::bind, socket, address);
    std::visit(
        [this](auto& ip) {
          socklen_t length = sizeof(ip);
          ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&ip), &length);
        },
        address.address);
    if (manner != Manner::Refuses) ::listen(socket.get(), 0);
    if (manner != Manner::IsSilent) return;
    for (Descriptor& other : fill) {  // nobody accepts these, and the system drops what comes after
      other = newSocket(address.family(), SOCK_STREAM);
      makeNonBlocking(other.get());
      with(::connect, other, address);
    }
  }

  SocketAddress address;
  Descriptor socket;
  Descriptor fill[4];
};

class ConnectionRaceTest : public testing::Test {
 protected:
  ConnectionRaceTest() { startRace(); }

  void startRace() {
    result.reset();
    race = ConnectionRace::start(queue, [this](Result<Descriptor> done) { result.emplace(std::move(done)); });
  }

  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  std::optional<Result<Descriptor>> result;
  std::shared_ptr<ConnectionRace> race;
};

using Manner = Peer::Manner;

TEST_F(ConnectionRaceTest, PrefersIPv6ThatComesALittleLater) {
  const Peer ipv4("127.0.0.1", Manner::Accepts);
  const Peer ipv6("::1", Manner::Accepts);
  race->add(ipv4.address);
  queue->advance(0.04);
  race->add(ipv6.address);
  queue->advance(0.02);
  ASSERT_TRUE(queue->drainUntil([&] { return result.has_value(); }));
  EXPECT_TRUE(result->has_value() && isReached(ipv6.socket, 0));
  EXPECT_FALSE(isReached(ipv4.socket, 0));
}

TEST_F(ConnectionRaceTest, GoesOnAtOnceAfterARefusalAndSoonAfterSilence) {
  const Peer silent("::1", Manner::IsSilent);
  const Peer refusing("127.0.0.1", Manner::Refuses);
  const Peer accepting("::1", Manner::Accepts);
  for (const Peer* peer : {&silent, &accepting, &refusing}) race->add(peer->address);
  queue->advance(0.2);
  EXPECT_FALSE(result.has_value());
  queue->advance(0.1);  // the refusing one's turn, then at once the last
  ASSERT_TRUE(queue->drainUntil([&] {
    queue->advance(0);
    return result.has_value();
  }));
  EXPECT_TRUE(result->has_value() && isReached(accepting.socket, 0));
}

TEST_F(ConnectionRaceTest, FailsWhenNothingIsLeftToTryOrAfterTenSecondsOfSilence) {
  for (const auto& [manner, code, seconds] :
       {std::tuple(Manner::Refuses, ECONNREFUSED, 0.0), {Manner::IsSilent, ETIMEDOUT, 10.1}}) {
    startRace();
    const Peer peer("127.0.0.1", manner);
    race->add(peer.address);
    queue->advance(1);
    EXPECT_FALSE(result.has_value()) << "another address may come";
    race->endAddresses();
    queue->advance(std::max(seconds - 1.2, 0.0));
    EXPECT_EQ(result.has_value(), manner == Manner::Refuses);
    queue->advance(0.2);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->error(), posixError(code));
  }
}

/// A TCP socket that listens there, in the network of another process if one is given.
Descriptor listener(const SocketAddress& place, pid_t network) {
  Descriptor socket;
  std::thread([&] {  // only the thread moves
    const Descriptor space(::open(("/proc/" + std::to_string(network) + "/ns/net").c_str(), O_RDONLY | O_CLOEXEC));
    if (network != 0 && ::setns(space.get(), CLONE_NEWNET) != 0) return;
    Descriptor listening = newSocket(place.family(), SOCK_STREAM);
    const int on = 1;
    ::setsockopt(listening.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    if (with(::bind, listening, place) == 0 && ::listen(listening.get(), 8) == 0) socket = std::move(listening);
  })
      .join();
  return socket;
}

/// Here is joined to a router by link0, and the router to somewhere far.
TEST_F(ConnectionRaceTest, KeepsToTheLinkOfTheInterface) {
  if (!PrivateAvahi::enter()) GTEST_SKIP() << PrivateAvahi::whyNot;
  const std::vector<std::string> network = {"/usr/bin/unshare", "-n", "sh", "-c",
                                            "ip link set lo up; echo ready; exec sleep 300"};
  const Program router(network, {});
  const Program far(network, {});
  ASSERT_TRUE(router.prints("ready") && far.prints("ready"));
  const std::string processes =
      "router=" + std::to_string(router.process()) + "; far=" + std::to_string(far.process()) + ";";
  const auto run = [&](const char* script) { return std::system((processes + script).c_str()); };
  if (run("ip link del link0 2>/dev/null;"  // of an earlier run in the same process
          "ip link add link0 type veth peer name link1 netns $router") != 0) {
    GTEST_SKIP() << "needs virtual network cables (veth)";
  }
  ASSERT_EQ(run(R"(
    set -e
    settle() {
      $4 ip addr add 10.9.$2.$3/24 dev $1
      $4 ip addr add fd09::$2:$3/112 dev $1 nodad
      $4 ip link set $1 up
    }
    here=; there="nsenter -t $router -n"; beyond="nsenter -t $far -n"
    $there ip link add link2 type veth peer name link3 netns $far
    settle link0 1 1 "$here"; settle link1 1 2 "$there"; settle link2 2 1 "$there"; settle link3 2 2 "$beyond"
    for option in ipv4/ip_forward ipv6/conf/all/forwarding; do
      $there sh -c "echo 1 > /proc/sys/net/$option"
    done
    ip route add default via 10.9.1.2;        ip -6 route add default via fd09::1:2
    $beyond ip route add default via 10.9.2.1; $beyond ip -6 route add default via fd09::2:1)"),
            0);

  struct Case {
    const char* name;
    const char* address;
    const char* interface;
    pid_t network;
    bool isReached;
  };
  for (const Case& each :
       {Case{"the router, on the link", "10.9.1.2", "link0", router.process(), true},
        {"the router, on the link", "fd09::1:2", "link0", router.process(), true},
        {"beyond the router", "10.9.2.2", "link0", far.process(), false},
        {"beyond the router", "fd09::2:2", "link0", far.process(), false},
        {"a loopback address, found there", "127.0.0.1", "lo", 0, true},
        {"a loopback address, claimed on the link", "127.0.0.1", "link0", 0, false},
        {"a loopback address, claimed on the link", "::1", "link0", 0, false},
        {"another interface's address, claimed on the loopback interface", "10.9.1.1", "lo", 0, false},
        {"no interface", "127.0.0.1", "", 0, false}}) {
    SCOPED_TRACE(each.name);
    const SocketAddress place = placeAt(each.address, each.interface, 9);
    const Descriptor peer = listener(place, each.network);
    ASSERT_TRUE(peer);
    const Descriptor control = newSocket(place.family(), SOCK_STREAM);
    ASSERT_EQ(with(::connect, control, place), 0) << "without such care it is reached";
    ASSERT_TRUE(Descriptor(::accept(peer.get(), nullptr, nullptr)));

    startRace();
    race->add(place);
    race->endAddresses();
    queue->advance(0.1);
    EXPECT_EQ(isReached(peer, each.isReached ? 5000 : 200), each.isReached);
    queue->advance(10);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->has_value(), each.isReached);
  }
}

}  // namespace
}  // namespace tandemview
