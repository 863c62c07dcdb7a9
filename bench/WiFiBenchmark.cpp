// What the Wi-Fi link costs beyond the system: messages of 200 kB over TCP on the loopback interface, through a
// connection that Avahi has found and through a bare socket. Both are read by bare read().

#include <benchmark/benchmark.h>
#include <netinet/in.h>

#include <array>
#include <cstdio>
#include <future>
#include <thread>

#include "platform/linux/AvahiWiFiNetwork.h"
#include "platform_wifi/PrivateAvahi.h"
#include "runtime/SerialQueue.h"

using namespace tandemview;

namespace {

constexpr std::size_t messageSize = 200'000;
constexpr std::size_t envelopeSize = 4 + messageSize;
constexpr int messagesPerRound = 200;

/// A TCP socket of this host that listens.
struct Listener {
  Listener() {
    ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    ::listen(socket.get(), 8);
    socklen_t length = sizeof(address);
    ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &length);
  }
  Descriptor accept() const { return Descriptor(::accept4(socket.get(), nullptr, nullptr, SOCK_CLOEXEC)); }

  Descriptor socket{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
  sockaddr_in address{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
};

void readRound(const Descriptor& socket) {
  static std::array<char, envelopeSize> buffer;
  for (std::size_t remaining = messagesPerRound * envelopeSize; remaining > 0;) {
    const ssize_t count = ::read(socket.get(), buffer.data(), std::min(remaining, buffer.size()));
    if (count <= 0) std::abort();
    remaining -= static_cast<std::size_t>(count);
  }
}

void count(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * messagesPerRound * static_cast<std::int64_t>(envelopeSize));
}

void bareSocket(benchmark::State& state) {
  const Listener listener;
  const Descriptor sender(::socket(AF_INET, SOCK_STREAM, 0));
  ::connect(sender.get(), reinterpret_cast<const sockaddr*>(&listener.address), sizeof(listener.address));
  const Descriptor receiver = listener.accept();
  const std::vector<char> message(envelopeSize, 'x');
  for (auto _ : state) {
    std::thread writer([&] {
      for (int number = 0; number < messagesPerRound; ++number) {
        for (std::size_t written = 0; written < message.size();) {
          written +=
              static_cast<std::size_t>(::write(sender.get(), message.data() + written, message.size() - written));
        }
      }
    });
    readRound(receiver);
    writer.join();
  }
  count(state);
}

/// A connection to a service of this host, found as the program finds its phone.
class Link {
 public:
  Link() {
    browser_->start({.queue = queue_,
                     .didBecomeReady = [] {},
                     .didFail = [](const Error&) { std::abort(); },
                     .didChangeResults =
                         [this](const std::vector<WiFiBrowseResult>& results) {
                           if (!results.empty() && !connection_) connect(results.front().endpoint);
                         }});
    isReady_.get_future().wait();
    receiver_ = listener_.accept();
  }
  ~Link() { queue_->stopAndJoin(); }

  /// Keeps three messages under way, as the sender does. Returns at once.
  void sendRound() {
    queue_->async([this] {
      unsent_ = messagesPerRound;
      for (int number = 0; number < 3; ++number) sendNext();
    });
  }
  const Descriptor& receiver() const { return receiver_; }

 private:
  void sendNext() {
    if (unsent_ == 0) return;
    --unsent_;
    const auto length = static_cast<std::uint32_t>(payload_.size());
    const std::array prefix{std::byte(length >> 24), std::byte(length >> 16), std::byte(length >> 8),
                            std::byte(length)};
    connection_->send(Data::copying(prefix).joinedWith(payload_), [this](const std::optional<Error>&) { sendNext(); });
  }
  void connect(const std::shared_ptr<const WiFiEndpoint>& endpoint) {
    connection_ = network_->makeConnection(endpoint);
    connection_->start({.queue = queue_,
                        .didBecomeReady = [this] { isReady_.set_value(); },
                        .didFail = [](const Error&) { std::abort(); },
                        .didCancel = [] {}});
  }

  const Data payload_ = Data::copying(std::string(messageSize, 'x'));
  const Listener listener_;
  const std::unique_ptr<Program> service_ = PrivateAvahi::publish("bench", ntohs(listener_.address.sin_port));
  const std::shared_ptr<SerialQueue> queue_ = SerialQueue::withThread("link");
  const std::shared_ptr<AvahiWiFiNetwork> network_ = std::make_shared<AvahiWiFiNetwork>(queue_);
  const std::shared_ptr<WiFiBrowser> browser_ = network_->makeBrowser(PrivateAvahi::serviceType);
  std::shared_ptr<WiFiConnection> connection_;
  std::promise<void> isReady_;
  Descriptor receiver_;
  int unsent_ = 0;  // of the round
};

std::unique_ptr<Link> phoneLink;  // one for all repetitions: to be found takes a second

void wifiLink(benchmark::State& state) {
  if (!phoneLink) phoneLink = std::make_unique<Link>();
  for (auto _ : state) {
    phoneLink->sendRound();
    readRound(phoneLink->receiver());
  }
  count(state);
}

}  // namespace

BENCHMARK(bareSocket)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(wifiLink)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argumentCount, char** arguments) {
  benchmark::Initialize(&argumentCount, arguments);
  if (!PrivateAvahi::enter()) {
    std::fprintf(stderr, "wifi_benchmark: %s\n", PrivateAvahi::whyNot);
    return EXIT_FAILURE;
  }
  PrivateAvahi avahi;
  if (!avahi.startDaemon()) return EXIT_FAILURE;
  benchmark::RunSpecifiedBenchmarks();
  phoneLink = nullptr;  // before the daemon that it looks for
  return EXIT_SUCCESS;
}
