// What the Wi-Fi link costs beyond the system: messages of 200 kB over TCP on the loopback interface, through a
// connection that Avahi has found and through a bare socket. Both are read by bare read(). Once the thread that writes
// has the messages itself, and once another thread hands them over, as the program's capture does.

#include <benchmark/benchmark.h>
#include <netinet/in.h>

#include <array>
#include <cstdio>
#include <future>
#include <semaphore>
#include <thread>

#include "platform/linux/wifi/AvahiWiFiNetwork.h"
#include "runtime/SerialQueue.h"
#include "support/PrivateAvahi.h"

using namespace tandemview;

namespace {

constexpr std::size_t messageSize = 200'000;
constexpr std::size_t envelopeSize = 4 + messageSize;
constexpr int messagesPerRound = 200;
constexpr int mostUnderWay = 3;  // as the sender allows

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

/// Two ends of a TCP connection.
struct BareSocket {
  BareSocket() {
    ::connect(sender.get(), reinterpret_cast<const sockaddr*>(&listener.address), sizeof(listener.address));
  }

  void write(const std::vector<char>& message) const {
    for (std::size_t written = 0; written < message.size();) {
      written += static_cast<std::size_t>(::write(sender.get(), message.data() + written, message.size() - written));
    }
  }

  const Listener listener;
  const Descriptor sender{::socket(AF_INET, SOCK_STREAM, 0)};
};

void bareSocket(benchmark::State& state) {
  const BareSocket bare;
  const Descriptor receiver = bare.listener.accept();
  const std::vector<char> message(envelopeSize, 'x');
  for (auto _ : state) {
    std::thread writer([&] {
      for (int number = 0; number < messagesPerRound; ++number) bare.write(message);
    });
    readRound(receiver);
    writer.join();
  }
  count(state);
}

void bareSocketHandedOver(benchmark::State& state) {
  const BareSocket bare;
  const Descriptor receiver = bare.listener.accept();
  const std::vector<char> message(envelopeSize, 'x');
  for (auto _ : state) {
    std::counting_semaphore<> free(mostUnderWay);
    std::counting_semaphore<> handedOver(0);
    std::thread writer([&] {
      for (int number = 0; number < messagesPerRound; ++number) {
        handedOver.acquire();
        bare.write(message);
        free.release();
      }
    });
    std::thread source([&] {
      for (int number = 0; number < messagesPerRound; ++number) {
        free.acquire();
        handedOver.release();
      }
    });
    readRound(receiver);
    writer.join();
    source.join();
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

  /// Keeps all places taken. Returns at once.
  void sendRound() {
    queue_->async([this] {
      unsent_ = messagesPerRound;
      for (int number = 0; number < mostUnderWay; ++number) sendNext();
    });
  }

  /// Sends a message from the calling thread; `didSend` is called on the link's queue.
  void send(std::function<void()> didSend) {
    const auto length = static_cast<std::uint32_t>(payload_.size());
    const std::array prefix{std::byte(length >> 24), std::byte(length >> 16), std::byte(length >> 8),
                            std::byte(length)};
    connection_->send(Data::copying(prefix).joinedWith(payload_),
                      [didSend = std::move(didSend)](const std::optional<Error>&) { didSend(); });
  }
  const Descriptor& receiver() const { return receiver_; }

 private:
  void sendNext() {
    if (unsent_ == 0) return;
    --unsent_;
    send([this] { sendNext(); });
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

void wifiLinkHandedOver(benchmark::State& state) {
  if (!phoneLink) phoneLink = std::make_unique<Link>();
  const auto free = std::make_shared<std::counting_semaphore<>>(mostUnderWay);
  for (auto _ : state) {
    std::thread source([&free] {
      for (int number = 0; number < messagesPerRound; ++number) {
        free->acquire();
        phoneLink->send([free] { free->release(); });
      }
    });
    readRound(phoneLink->receiver());
    source.join();
  }
  count(state);
}

}  // namespace

BENCHMARK(bareSocket)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(bareSocketHandedOver)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(wifiLink)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(wifiLinkHandedOver)->UseRealTime()->Unit(benchmark::kMillisecond);

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
