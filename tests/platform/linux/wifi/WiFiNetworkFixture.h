#pragma once

#include <gtest/gtest.h>

#include <mutex>

#include "end_to_end/Program.h"
#include "fakes/LogRecorder.h"
#include "platform/linux/wifi/AvahiWiFiNetwork.h"
#include "runtime/SerialQueue.h"

namespace tandemview {

/// The host's network on a thread of its own, with one search and one connection whose reports are kept.
class WiFiNetworkFixture : public testing::Test {
 protected:
  static constexpr const char* absenceLine =
      "⚠️ The Avahi daemon is not there: no phone can be found over Wi-Fi until it is";
  static constexpr const char* presenceLine = "✅ The Avahi daemon is there";

  void SetUp() override {
    thread = SerialQueue::withThread("network");
    useQueue(thread);
  }
  void TearDown() override {
    if (thread) thread->stopAndJoin();
  }
  void useQueue(std::shared_ptr<Queue> networkQueue) {
    queue = std::move(networkQueue);
    network = std::make_shared<AvahiWiFiNetwork>(queue);
  }

  /// Starts a search that keeps its findings in `results`.
  void browse(const std::string& type) {
    browser = network->makeBrowser(type);
    browser->start({.queue = queue,
                    .didBecomeReady = [this] { note([&] { ++readyCount; }); },
                    .didFail = [this](const Error& error) { note([&] { searchError = error; }); },
                    .didChangeResults =
                        [this](const std::vector<WiFiBrowseResult>& changed) { note([&] { results = changed; }); }});
  }
  bool finds(const Lines& names) {
    return eventually([&] {
      Lines found;
      for (const WiFiBrowseResult& result : results) found.push_back(result.serviceName.value_or(""));
      return found == names;
    });
  }
  void connect() {
    connection = network->makeConnection(results.at(0).endpoint);
    connection->start({.queue = queue,
                       .didBecomeReady = [this] { event("ready"); },
                       .didFail = [this](const Error& error) { event("failed: " + error.localizedDescription()); },
                       .didCancel = [this] { event("cancelled"); }});
  }
  void receive(std::size_t length) {
    connection->receive(length, [this](const WiFiConnection::Received& received) {
      const std::string end = received.error ? " error" : received.streamEnded ? " end" : "";
      event("received " + std::string(received.bytes.contiguous().text()) + end);
    });
  }
  void send(const std::string& text) {
    connection->send(Data::copying(text),
                     [this](const std::optional<Error>& error) { event(error ? "not sent" : "sent"); });
  }
  template <typename Change>
  void note(Change change) {
    const std::lock_guard lock(mutex);
    change();
  }
  template <typename Condition>
  bool eventually(Condition condition) {
    return Program::within30Seconds([&] {
      const std::lock_guard lock(mutex);
      return condition();
    });
  }
  void event(const std::string& text) {
    note([&] { events.push_back(text); });
  }
  testing::AssertionResult sees(const Lines& expected) {
    if (eventually([&] { return events == expected; })) return testing::AssertionSuccess();
    const std::lock_guard lock(mutex);
    return testing::AssertionFailure() << testing::PrintToString(events);
  }

  LogRecorder log;
  std::shared_ptr<SerialQueue> thread;
  std::shared_ptr<Queue> queue;
  std::shared_ptr<AvahiWiFiNetwork> network;
  std::shared_ptr<WiFiBrowser> browser;
  std::shared_ptr<WiFiConnection> connection;

  std::mutex mutex;  // guards what follows
  std::vector<WiFiBrowseResult> results;
  int readyCount = 0;
  std::optional<Error> searchError;
  Lines events;
};

}  // namespace tandemview
