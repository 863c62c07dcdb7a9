#include "runtime/SerialQueue.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/post.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>

namespace tandemview {

namespace {

class AsioDescriptorWatch final : public DescriptorWatch {
 public:
  AsioDescriptorWatch(asio::io_context& context, int descriptor) : descriptor_(context, descriptor) {}
  ~AsioDescriptorWatch() override { descriptor_.release(); }

  void whenReadable(Work work) override { wait(asio::posix::stream_descriptor::wait_read, std::move(work)); }
  void whenWritable(Work work) override { wait(asio::posix::stream_descriptor::wait_write, std::move(work)); }

 private:
  void wait(asio::posix::stream_descriptor::wait_type readiness, Work work) {
    // A dropped watch cancels its waits, but a wait that is already complete still arrives: `alive` tells.
    descriptor_.async_wait(readiness, [work = std::move(work), alive = std::weak_ptr(alive_)](asio::error_code error) {
      if (error != asio::error::operation_aborted && alive.lock()) work();
    });
  }

  asio::posix::stream_descriptor descriptor_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

void waitForSignal(const std::shared_ptr<asio::signal_set>& signals, std::function<void(int)> handler) {
  signals->async_wait([signals, handler = std::move(handler)](asio::error_code error, int signal) {
    if (error) return;
    handler(signal);
    waitForSignal(signals, handler);
  });
}

}  // namespace

struct SerialQueue::Loop {
  asio::io_context context{1};
  asio::executor_work_guard<asio::io_context::executor_type> keepRunning{context.get_executor()};
};

std::shared_ptr<SerialQueue> SerialQueue::withThread(std::string label) {
  auto queue = std::make_shared<SerialQueue>(std::move(label));
  queue->thread_ = std::thread([loop = queue->loop_.get()] { loop->context.run(); });
  return queue;
}

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)), loop_(std::make_unique<Loop>()) {}

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

std::unique_ptr<DescriptorWatch> SerialQueue::watch(int descriptor) {
  return std::make_unique<AsioDescriptorWatch>(loop_->context, descriptor);
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
