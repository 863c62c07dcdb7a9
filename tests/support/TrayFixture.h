#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>

#include "fakes/LogRecorder.h"
#include "fakes/ManualQueue.h"
#include "support/PrivateBus.h"
#include "support/ServedConnection.h"

namespace tandemview {

/// A session bus of the test's own, with the adapters' queue on the test's thread. What the desktop's programs do on
/// the bus runs on a thread of its own connection.
class TrayFixture : public testing::Test {
 protected:
  TrayFixture() { ::setenv("DBUS_SESSION_BUS_ADDRESS", bus_.address().c_str(), 1); }

  std::unique_ptr<ServedConnection> connect() { return std::make_unique<ServedConnection>(bus_.address()); }

  bool becomes(const std::function<bool()>& condition) { return queue_->drainUntil(condition); }

  /// Runs what waits for the adapters' answers, while the adapters' queue is served. Throws what `ask` throws.
  template <typename Ask>
  auto answered(Ask ask) {
    auto answer = std::async(std::launch::async, ask);
    queue_->drainUntil([&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    return answer.get();
  }

  LogRecorder log_;
  const std::shared_ptr<ManualQueue> queue_ = ManualQueue::make();
  PrivateBus bus_;
};

}  // namespace tandemview
