#pragma once

#include <string_view>
#include <thread>

#include "runtime/Queue.h"

namespace tandemview {

/// A queue on an event loop of its own, run by a thread that it starts or, for the main queue, by the main thread.
class SerialQueue final : public Queue {
 public:
  /// A queue that a thread of its own serves, which debuggers show by the label's last part ("capture" of
  /// "com.tandemview.capture"). It must not be destroyed on that thread: see stopAndJoin().
  static std::shared_ptr<SerialQueue> withThread(std::string_view label);

  /// A queue that is served by whoever calls run().
  SerialQueue();
  ~SerialQueue() override;

  void async(Work work) override;
  void after(double seconds, Work work) override;
  Result<std::unique_ptr<DescriptorWatch>> watch(int descriptor) override;

  /// Serves the queue on the calling thread until stop().
  void run();

  /// Makes run() return after the work under way. From any thread.
  void stop();

  /// Finishes the work under way, drops the rest and ends the queue's own thread. From any other thread.
  void stopAndJoin();

  /// Calls `handler` on this queue for every arrival of one of the signals, instead of their default action.
  void onSignals(std::initializer_list<int> signals, std::function<void(int)> handler);

 private:
  struct Loop;
  std::unique_ptr<Loop> loop_;
  std::thread thread_;
};

}  // namespace tandemview
