#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "fakes/LogRecorder.h"
#include "fakes/MemoryUserDefaults.h"
#include "fakes/RecordingWiFiNetwork.h"
#include "runtime/SerialQueue.h"
#include "support/HastyQueue.h"
#include "wifi/WiFiSender.h"

namespace tandemview {
namespace {

/// Frames, pings, failures and restarts all at once: a data race or a deadlock shows here.
TEST(WiFiSenderThreadsTest, SurvivesEverythingAtOnce) {
  LogRecorder log;
  const auto mainThread = SerialQueue::withThread("main");
  const auto wifiThread = SerialQueue::withThread("com.app.wifisender");
  const auto hastyMain = std::make_shared<HastyQueue>(mainThread);
  const auto hastyWiFi = std::make_shared<HastyQueue>(wifiThread);
  const auto network = std::make_shared<RecordingWiFiNetwork>();
  const auto userDefaults = std::make_shared<MemoryUserDefaults>();
  userDefaults->setString("WiFiPairingCode", "47");
  auto sender = std::make_shared<WiFiSender>(WiFiSender::Surroundings{.mainQueue = hastyMain,
                                                                      .queue = hastyWiFi,
                                                                      .network = network,
                                                                      .userDefaults = userDefaults,
                                                                      .clock = std::make_shared<SystemMediaClock>(),
                                                                      .wallClock = std::make_shared<SystemWallClock>(),
                                                                      .program = {.name = "Tandemview"}});
  std::atomic<int> linksUp = 0;
  std::atomic<int> touches = 0;
  sender->onClientConnected = [&] { ++linksUp; };
  sender->onTouchEvent = [&](const Data&) { ++touches; };
  const std::weak_ptr weak = sender;
  sender->onClientDisconnected = [weak] {
    if (const auto owner = weak.lock()) owner->start();
  };
  hastyMain->async([sender] { sender->start(); });
  std::atomic<bool> isEnding = false;
  const auto repeating = [&](auto turn) {  // on a thread of its own
    return std::async(std::launch::async, [&isEnding, turn] {
      for (; !isEnding; std::this_thread::yield()) turn();
    });
  };
  {
    const Data picture = Data::copying("picture");
    const auto frames = repeating([&] { sender->sendFrame(picture); });
    const auto onlooker = repeating([&] { sender->connection(); });
    const auto phone = repeating([&] {
      if (const auto browsers = network->browsers(); !browsers.empty() && browsers.back()->isRunning()) {
        browsers.back()->becomeReady();
        browsers.back()->find({"ScrRcv-12", "ScrRcv-47"});
      }
      const auto connections = network->connections();
      if (connections.empty() || !connections.back()->isStarted()) return;
      const auto& link = connections.back();
      link->becomeReady();
      link->deliver(std::string("\0\0\0\x08", 4) + "12345678");
      link->deliver(std::string("\0\0\0\x16", 4) + R"({"type":1,"x":1,"y":1})");
    });
    const std::function<void(RecordingWiFiNetwork::Connection&)> ends[] = {
        [](auto& link) { link.fail({.domain = "test", .code = 1, .description = "broken"}); },
        [](auto& link) { link.deliver(std::string(100, '\0')); },
        [&](auto&) { hastyMain->async([sender] { sender->start(); }); },
    };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (int turn = 0; turn < 30; ++turn) {
      const int before = linksUp;
      while (linksUp == before && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
      ends[turn % 3](*network->connections().back());
    }
    isEnding = true;
    EXPECT_GE(linksUp, 30);
    EXPECT_GT(touches, 0);
  }
  sender = nullptr;
  wifiThread->stopAndJoin();
  mainThread->stopAndJoin();
}

}  // namespace
}  // namespace tandemview
