#include "runtime/SerialQueue.h"

#include <pthread.h>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/post.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <string>

#include "runtime/Assertion.h"

namespace tandemview {

namespace {

class AsioDescriptorWatch final : public DescriptorWatch {
 public:
  explicit AsioDescriptorWatch(asio::posix::stream_descriptor descriptor) : descriptor_(std::move(descriptor)) {}
  ~AsioDescriptorWatch() override { descriptor_.release(); }

  void whenReadable(Work work) override {
    wait(asio::posix::stream_descriptor::wait_read, &Waits::toRead, std::move(work));
  }
  void whenWritable(Work work) override {
    wait(asio::posix::stream_descriptor::wait_write, &Waits::toWrite, std::move(work));
  }

 private:
  struct Waits {
    bool toRead = false;
    bool toWrite = false;
  };

  void wait(asio::posix::stream_descriptor::wait_type readiness, bool Waits::*kind, Work work) {
    require(!(waits_.get()->*kind), "one wait at a time");
    waits_.get()->*kind = true;
    // A dropped watch cancels its waits, but a wait that is already complete still arrives: `weak` tells.
    descriptor_.async_wait(readiness,
                           [work = std::move(work), kind, weak = std::weak_ptr(waits_)](asio::error_code error) {
                             const auto waits = weak.lock();
                             if (!waits) return;
                             waits.get()->*kind = false;
                             if (error != asio::error::operation_aborted) work();
                           });
  }

  asio::posix::stream_descriptor descriptor_;
  std::shared_ptr<Waits> waits_ = std::make_shared<Waits>();
};

void waitForSignal(const std::shared_ptr<asio::signal_set>& signals, std::function<void(int)> handler) {
  signals->async_wait([signals, handler = std::move(handler)](asio::error_code error, int signal) {
    if (error) return;
    handler(signal);
    waitForSignal(signals, handler);
  });
}

/// Names the calling thread after the last part of a label, for debuggers and for "top".
void nameThread(std::string_view label) {
  constexpr std::size_t longestName = 15;  // that Linux keeps
  const std::string name(label.substr(label.rfind('.') + 1).substr(0, longestName));
#ifdef __APPLE__
  ::pthread_setname_np(name.c_str());
#else
  ::pthread_setname_np(::pthread_self(), name.c_str());
#endif
}

}  // namespace

struct SerialQueue::Loop {
  asio::io_context context{1};
  asio::executor_work_guard<asio::io_context::executor_type> keepRunning{context.get_executor()};
  /// Makes the loop open its own descriptors now, and not when there may be none left.
  asio::steady_timer reactor{context};
};

std::shared_ptr<SerialQueue> SerialQueue::withThread(std::string_view label) {
  auto queue = std::make_shared<SerialQueue>();
  queue->thread_ = std::thread([loop = queue->loop_.get(), name = std::string(label)] {
    nameThread(name);
    loop->context.run();
  });
  return queue;
}

SerialQueue::SerialQueue() : loop_(std::make_unique<Loop>()) {}

SerialQueue::~SerialQueue() {
  stopAndJoin();
}

void SerialQueue::stopAndJoin() {
  stop();
  if (thread_.joinable()) thread_.join();
}

void SerialQueue::async(Work work) {
  asio::post(loop_->context, std::move(work));
}

void SerialQueue::after(double seconds, Work work) {
  const auto delay = std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds));
  auto timer = std::make_shared<asio::steady_timer>(loop_->context, delay);
  timer->async_wait([timer, work = std::move(work)](asio::error_code error) {
    if (!error) work();
  });
}

Result<std::unique_ptr<DescriptorWatch>> SerialQueue::watch(int descriptor) {
  asio::posix::stream_descriptor watched(loop_->context);
  asio::error_code error;
  watched.assign(descriptor, error);
  if (error) return tl::unexpected(posixError(error.value()));
  return std::make_unique<AsioDescriptorWatch>(std::move(watched));
}

void SerialQueue::run() {
  loop_->context.run();
}

void SerialQueue::stop() {
  loop_->context.stop();
}

void SerialQueue::onSignals(std::initializer_list<int> signals, std::function<void(int)> handler) {
  auto set = std::make_shared<asio::signal_set>(loop_->context);
  for (const int signal : signals) set->add(signal);
  waitForSignal(set, std::move(handler));
}

}  // namespace tandemview
