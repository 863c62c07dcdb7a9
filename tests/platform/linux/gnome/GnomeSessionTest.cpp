// The adapters against the real compositor and the real PipeWire.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>

#include "platform/linux/gnome/capture/GnomeCaptureSystem.h"
#include "platform/linux/gnome/display/GnomeDisplaySystem.h"
#include "platform/linux/gnome/display/GnomeScreens.h"
#include "runtime/SerialQueue.h"
#include "support/PrivateGnome.h"
#include "support/Stranger.h"
#include "support/StreamWatcher.h"

namespace tandemview {
namespace {

using namespace std::chrono_literals;

class GnomeSessionTest : public testing::Test {
 protected:
  GnomeSessionTest() {
    gnome_.enter();
    session_ = GnomeSession::open();
    displays_ = std::make_unique<GnomeDisplaySystem>(session_);
    screens_ = std::make_unique<GnomeScreens>(session_);
    display_ = displays_->makeVirtualDisplay({}).display;
  }
  ~GnomeSessionTest() override { queue_->stopAndJoin(); }

  bool show(std::uint32_t width, std::uint32_t height) {
    const auto mode = displays_->makeDisplayMode(width, height, 60);
    return mode && display_->applySettings({.modes = {*mode}}) == ApplyOutcome::Applied &&
           Program::within30Seconds([&] { return ours().width == width && ours().height == height; });
  }

  ScreenRectangle ours() const {
    const auto id = display_->displayID();
    return id ? screens_->bounds(*id) : ScreenRectangle();
  }

  PrivateGnome gnome_;
  const std::shared_ptr<SerialQueue> queue_ = SerialQueue::withThread("test");
  std::shared_ptr<GnomeSession> session_;
  std::unique_ptr<GnomeDisplaySystem> displays_;
  std::unique_ptr<GnomeScreens> screens_;
  std::shared_ptr<VirtualDisplay> display_;
};

/// Looks at a display on which nothing is drawn.
struct SizeReceiver final : GnomePictureReceiver {
  void take(const PicturePixels& picture) override { width = picture.width; }
  void sourceEnded(const Error& /*error*/) override {}

  std::atomic<std::int32_t> width = 0;
};

TEST_F(GnomeSessionTest, APictureOfTheLastSizeComesHoweverQuicklyItIsTurned) {
  EXPECT_FALSE(displays_->makeDisplayMode(8193, 100, 60));
  EXPECT_FALSE(session_->show({100, 8193}));
  ASSERT_TRUE(show(644, 1398));
  EXPECT_EQ(session_->layout().monitor(*display_->displayID())->mode, "644x1398@60.000");
  EXPECT_EQ(displays_->configureOrigin(*display_->displayID(), 100, 100), ConfigurationOutcome::NotCompleted);
  for (int round = 0; round < 10; ++round) {
    auto receiver = std::make_shared<SizeReceiver>();
    std::vector<std::future<bool>> turns;
    for (int turn = 0; turn < 5; ++turn) {
      session_->sendPicturesTo(receiver);
      const PixelSize size = turn % 2 == 0 ? PixelSize{1398, 644} : PixelSize{644, 1398};
      turns.push_back(std::async(std::launch::async, [=, this] { return session_->show(size); }));
      std::this_thread::sleep_for(std::chrono::milliseconds(round * 10));  // at another moment of a turn each
      if (turn % 2 == 0) session_->sendNoPicturesTo(receiver);
    }
    for (auto& turn : turns) turn.wait();
    ASSERT_TRUE(show(1398, 644)) << round;
    receiver = std::make_shared<SizeReceiver>();
    session_->sendPicturesTo(receiver);
    ASSERT_TRUE(Program::within30Seconds([&] { return receiver->width == 1398; })) << round;
    ASSERT_TRUE(show(644, 1398)) << round;
  }
}

TEST_F(GnomeSessionTest, ACompositorThatDoesNotAnswerIsAskedAgain) {
  ASSERT_TRUE(show(644, 1398));
  gnome_.forbid("org.gnome.Mutter.DisplayConfig");
  EXPECT_TRUE(session_->show({1398, 644}));
  std::this_thread::sleep_for(1s);  // it tells of the new size once
  EXPECT_EQ(ours().width, 644);
  gnome_.allowAll();
  EXPECT_TRUE(Program::within30Seconds([&] { return ours().width == 1398; }));
}

/// The screen saver of the session's bus, which tells of the lock screen.
class ScreenSaver {
 public:
  explicit ScreenSaver(const std::string& address) : bus_(sdbus::createSessionBusConnectionWithAddress(address)) {
    object_->registerMethod("GetActive").onInterface(name).implementedAs([this] { return isActive_.load(); });
    object_->registerSignal("ActiveChanged").onInterface(name).withParameters<bool>();
    object_->registerSignal("WakeUpScreen").onInterface(name);
    object_->finishRegistration();
    bus_->requestName(name);
    bus_->enterEventLoopAsync();
  }

  void setActive(bool isActive) {
    if (isActive_.exchange(isActive) == isActive) return;
    object_->emitSignal("ActiveChanged").onInterface(name).withArguments(isActive);
  }

  void wake() { object_->emitSignal("WakeUpScreen").onInterface(name); }

  static constexpr const char* name = "org.gnome.ScreenSaver";
  static constexpr const char* path = "/org/gnome/ScreenSaver";

 private:
  std::atomic<bool> isActive_ = false;
  const std::unique_ptr<sdbus::IConnection> bus_;
  const std::unique_ptr<sdbus::IObject> object_ = sdbus::createObject(*bus_, path);
};

TEST_F(GnomeSessionTest, WhatTheLockScreenTakesComesWithTheUnlockingAndWhatTheUserStopsDoesNot) {
  const std::string bus = gnome_.environment().at("DBUS_SESSION_BUS_ADDRESS");
  auto screenSaver = std::make_unique<ScreenSaver>(bus);
  GnomeCaptureSystem captures(session_, queue_);
  const auto mode = displays_->makeDisplayMode(1398, 644, 60);
  const auto isTaken = [&](bool isLocked) {
    StreamWatcher stream;
    EXPECT_TRUE(stream.start(captures, *display_->displayID(), ours(), queue_));
    gnome_.endCasts(isLocked);
    const std::optional<Error> end = stream.end();
    return end && (end->domain == userStoppedDomain) == !isLocked &&
           Program::within30Seconds([&] { return !display_->displayID() && display_->isWithheld() == isLocked; });
  };
  const auto isShown = [&](double width) {
    return Program::within30Seconds([&] { return ours().width == width && !display_->isWithheld(); });
  };
  ASSERT_TRUE(show(644, 1398));
  ASSERT_TRUE(isTaken(/*isLocked=*/true));
  screenSaver->setActive(true);
  Stranger(bus).send(ScreenSaver::path, ScreenSaver::name, "ActiveChanged", false);
  screenSaver->wake();
  std::this_thread::sleep_for(5.5s);  // as long as the lock screen may take to come up
  EXPECT_TRUE(display_->isWithheld());
  EXPECT_EQ(display_->applySettings({.modes = {*mode}}), ApplyOutcome::Applied) << "a phone that comes meanwhile";
  EXPECT_TRUE(display_->isWithheld());
  EXPECT_FALSE(display_->displayID());
  gnome_.allowAll();
  screenSaver->wake();
  ASSERT_TRUE(isShown(1398));
  screenSaver->setActive(false);

  ASSERT_TRUE(isTaken(true));
  gnome_.allowAll();
  EXPECT_TRUE(isShown(1398)) << "unlocked before the lock screen was up";
  ASSERT_TRUE(isTaken(true));
  screenSaver->setActive(true);
  screenSaver = nullptr;
  EXPECT_TRUE(Program::within30Seconds([&] { return !display_->isWithheld(); })) << "nobody would tell any more";
  gnome_.allowAll();
  ASSERT_TRUE(show(644, 1398));
  ASSERT_TRUE(isTaken(/*isLocked=*/false));
  display_->terminate();
}

}  // namespace
}  // namespace tandemview
