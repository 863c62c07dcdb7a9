// What framing costs beyond the system: 200 kB payloads over a Unix socket pair, through PTChannel on two queues and
// through bare write() and read() on two threads.

#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "protocol/MessageType.h"
#include "runtime/SerialQueue.h"
#include "runtime/Socket.h"
#include "usb/PTChannel.h"

using namespace tandemview;

namespace {

constexpr std::size_t payloadSize = 200'000;
constexpr int framesPerRound = 200;

struct Pair {
  Pair() {
    int descriptors[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, descriptors) != 0) std::abort();
    first = Descriptor(descriptors[0]);
    second = Descriptor(descriptors[1]);
  }
  Descriptor first;
  Descriptor second;
};

void bareWriteAndRead(benchmark::State& state) {
  Pair pair;
  const std::vector<char> payload(payloadSize, 'x');
  for (auto _ : state) {
    std::thread writer([&] {
      for (int frame = 0; frame < framesPerRound; ++frame) {
        for (std::size_t written = 0; written < payloadSize;) {
          written +=
              static_cast<std::size_t>(::write(pair.first.get(), payload.data() + written, payloadSize - written));
        }
      }
    });
    std::vector<char> received(payloadSize);
    for (int frame = 0; frame < framesPerRound; ++frame) {
      for (std::size_t count = 0; count < payloadSize;) {
        count += static_cast<std::size_t>(::read(pair.second.get(), received.data() + count, payloadSize - count));
      }
    }
    writer.join();
  }
  state.SetBytesProcessed(state.iterations() * framesPerRound * static_cast<std::int64_t>(payloadSize));
}

class CountingDelegate final : public PTChannelDelegate {
 public:
  void ioFrameChannel(PTChannel&, std::uint32_t, std::uint32_t, std::optional<Data>) override {
    if (++count_ % framesPerRound != 0) return;
    const std::lock_guard lock(mutex_);
    ++rounds_;
    arrived_.notify_one();
  }
  using PTChannelDelegate::ioFrameChannel;

  void waitForRound(int round) {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [&] { return rounds_ >= round; });
  }

 private:
  int count_ = 0;
  std::mutex mutex_;
  std::condition_variable arrived_;
  int rounds_ = 0;
};

/// Keeps three frames in flight, as the sender does.
struct Sender {
  std::shared_ptr<PTChannel> channel;
  Data payload;
  int remaining = 0;

  void sendNext() {
    if (remaining-- <= 0) return;
    channel->sendFrameOfType(MessageType::videoFrame, 0, payload, [this](const std::optional<Error>&) { sendNext(); });
  }
};

std::shared_ptr<PTChannel> channelOn(const std::shared_ptr<Queue>& queue, Descriptor socket,
                                     const std::shared_ptr<PTChannelDelegate>& delegate) {
  makeNonBlocking(socket.get());
  std::promise<std::shared_ptr<PTChannel>> promise;
  const auto shared = std::make_shared<Descriptor>(std::move(socket));
  queue->async([&] {
    const auto channel = PTChannel::channelWithDelegate(delegate, PTProtocol::sharedProtocolForQueue(queue));
    channel->startReadingFromConnectedChannel(*Stream::adopting(std::move(*shared), queue, nullptr));
    promise.set_value(channel);
  });
  return promise.get_future().get();
}

void framedChannel(benchmark::State& state) {
  Pair pair;
  const auto sendingQueue = SerialQueue::withThread("sending");
  const auto receivingQueue = SerialQueue::withThread("receiving");
  const auto receiver = std::make_shared<CountingDelegate>();
  const auto nobody = std::make_shared<CountingDelegate>();
  const auto receiving = channelOn(receivingQueue, std::move(pair.second), receiver);
  Sender sender = {channelOn(sendingQueue, std::move(pair.first), nobody), Data::copying(std::string(payloadSize, 'x')),
                   0};
  int round = 0;
  for (auto _ : state) {
    sendingQueue->async([&sender] {
      sender.remaining = framesPerRound;
      for (int slot = 0; slot < 3; ++slot) sender.sendNext();
    });
    receiver->waitForRound(++round);
  }
  state.SetBytesProcessed(state.iterations() * framesPerRound * static_cast<std::int64_t>(payloadSize));
  sendingQueue->stopAndJoin();
  receivingQueue->stopAndJoin();
}

}  // namespace

BENCHMARK(bareWriteAndRead)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(framedChannel)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
