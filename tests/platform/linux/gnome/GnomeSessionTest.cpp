// The adapters against the real compositor and the real PipeWire.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <future>
#include <mutex>

#include "fakes/LogRecorder.h"
#include "fakes/MemoryUserDefaults.h"
#include "platform/linux/gnome/capture/GnomeCaptureSystem.h"
#include "platform/linux/gnome/display/GnomeDisplaySystem.h"
#include "platform/linux/gnome/display/GnomeScreens.h"
#include "runtime/SerialQueue.h"
#include "support/PaintedWindow.h"
#include "support/PrivateGnome.h"
#include "support/Stranger.h"

namespace tandemview {
namespace {

using namespace std::chrono_literals;

constexpr auto patience = 20s;

class GnomeSessionTest : public testing::Test {
 protected:
  ~GnomeSessionTest() override {
    stream_ = nullptr;
    queue_->stopAndJoin();
  }

  void open(const std::vector<std::string>& monitors = {"1280x800"}) {
    gnome_.emplace(monitors);
    gnome_->enter();
    session_ = GnomeSession::open(settings_);
    ASSERT_TRUE(session_->isOffered());
    displays_ = std::make_unique<GnomeDisplaySystem>(session_);
    screens_ = std::make_unique<GnomeScreens>(session_);
    captures_ = std::make_unique<GnomeCaptureSystem>(session_, queue_);
    display_ = displays_->makeVirtualDisplay({}).display;
  }

  bool show(std::uint32_t width, std::uint32_t height) {
    const auto mode = displays_->makeDisplayMode(width, height, 60);
    return mode && display_->applySettings({.modes = {*mode}, .hiDPI = false}) == ApplyOutcome::Applied &&
           isSoon([&] { return ours().width == width && ours().height == height; });
  }

  ScreenRectangle ours() const {
    const auto id = display_->displayID();
    return id ? screens_->bounds(*id) : ScreenRectangle();
  }

  ScreenRectangle boundsOf(const std::string& connector) const {
    const GnomeLayout layout = session_->layout();
    const GnomeLayout::Monitor* const monitor = layout.monitor(connector);
    return monitor ? layout.bounds(monitor->id) : ScreenRectangle();
  }

  template <typename Condition>
  static bool isSoon(Condition condition) {
    return Program::within(std::chrono::duration_cast<std::chrono::seconds>(patience), condition);
  }

  /// A stream of our display, and its pictures as they come.
  void capture() {
    const std::lock_guard lock(mutex_);
    picture_ = nullptr;
    error_.reset();
    const ScreenRectangle size = ours();
    const auto stream = captures_->makeStream({.displayID = *display_->displayID(),
                                               .width = static_cast<std::int64_t>(size.width),
                                               .height = static_cast<std::int64_t>(size.height),
                                               .minimumFrameInterval = 0.001},
                                              {.sampleQueue = queue_,
                                               .didOutputSample =
                                                   [this](SampleType, std::shared_ptr<PixelBuffer> picture) {
                                                     std::unique_lock sampleLock(mutex_);
                                                     changed_.wait_for(sampleLock, encodingTime_, [] { return false; });
                                                     picture_ = std::move(picture);
                                                     changed_.notify_all();
                                                   },
                                               .didStopWithError =
                                                   [this](const Error& error) {
                                                     const std::lock_guard errorLock(mutex_);
                                                     error_ = error;
                                                   }});
    ASSERT_TRUE(stream);
    stream_ = *stream;
    stream_->startCapture([](const std::optional<Error>& error) { EXPECT_FALSE(error); });
  }

  /// Waits until the last picture has this colour there, and is of this size.
  bool shows(std::uint32_t color, int x, int y) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] {
      if (!picture_ || x >= picture_->width() || y >= picture_->height()) return false;
      std::uint32_t pixel = 0;
      const std::size_t offset =
          static_cast<std::size_t>(y) * picture_->bytesPerRow() + static_cast<std::size_t>(x) * 4;
      std::memcpy(&pixel, picture_->baseAddress() + offset, sizeof(pixel));
      return (pixel & 0xFFFFFF) == color;
    });
  }

  bool hasError() {
    const std::lock_guard lock(mutex_);
    return error_.has_value();
  }

  std::optional<PrivateGnome> gnome_;
  const std::shared_ptr<SerialQueue> queue_ = SerialQueue::withThread("test");
  const std::shared_ptr<MemoryUserDefaults> settings_ = std::make_shared<MemoryUserDefaults>();
  std::shared_ptr<GnomeSession> session_;
  std::unique_ptr<GnomeDisplaySystem> displays_;
  std::unique_ptr<GnomeScreens> screens_;
  std::unique_ptr<GnomeCaptureSystem> captures_;
  std::shared_ptr<VirtualDisplay> display_;
  std::shared_ptr<CaptureStream> stream_;

  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::chrono::milliseconds encodingTime_{0};
  std::shared_ptr<PixelBuffer> picture_;
  std::optional<Error> error_;
};

TEST_F(GnomeSessionTest, ShowsWhatIsDrawnOnADisplayOfAnySizeThatTurnsInPlace) {
  open();
  const auto untouched = session_->layout().screens;
  EXPECT_FALSE(displays_->makeDisplayMode(8193, 100, 60));
  EXPECT_FALSE(session_->show({100, 8193}));
  ASSERT_TRUE(show(644, 1398));
  const DisplayID id = *display_->displayID();
  EXPECT_EQ(session_->layout().monitor(id)->mode, "644x1398@60.000");
  EXPECT_EQ(ours(), (ScreenRectangle{1280, 0, 644, 1398}));
  PaintedWindow window(gnome_->environment().at("DISPLAY"), {1280 + 100, 200, 70, 20});
  for (const auto& [width, height] : {std::pair(644, 1398), {1398, 644}, {645, 1397}}) {
    ASSERT_TRUE(show(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)));
    EXPECT_EQ(display_->displayID(), id);
    capture();
    window.paint(0x112233);
    ASSERT_TRUE(shows(0x112233, 169, 219)) << width;
    EXPECT_EQ(picture_->width(), width);
    window.paint(0x332211);
    ASSERT_TRUE(shows(0x332211, 100, 200));
    // Tiles of 64x16 that hold the window of 70x20 at (100, 200).
    for (const PixelRectangle& part : picture_->damage()) {
      EXPECT_GE(part.x, 64);
      EXPECT_GE(part.y, 192);
      EXPECT_LE(part.x + part.width, 192);
      EXPECT_LE(part.y + part.height, 224);
    }
    // Whoever takes them is slower than whoever draws them: the last one comes all the same.
    encodingTime_ = 30ms;
    for (std::uint32_t color = 1; color <= 40; ++color) window.paint(color);
    EXPECT_TRUE(shows(40, 150, 210));
    encodingTime_ = 0ms;
  }
  display_->terminate();
  EXPECT_FALSE(display_->displayID());
  EXPECT_TRUE(isSoon([&] { return hasError(); }));
  EXPECT_EQ(session_->layout().screens, untouched);
}

/// Looks at a display on which nothing is drawn.
struct SizeReceiver final : GnomePictureReceiver {
  void take(const PicturePixels& picture) override { width = picture.width; }
  void sourceEnded(const Error& /*error*/) override {}

  std::atomic<std::int32_t> width = 0;
};

TEST_F(GnomeSessionTest, APictureOfTheLastSizeComesHoweverQuicklyItIsTurned) {
  open();
  ASSERT_TRUE(show(644, 1398));
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
    ASSERT_TRUE(isSoon([&] { return receiver->width == 1398; })) << round;
    ASSERT_TRUE(show(644, 1398)) << round;
  }
}

TEST_F(GnomeSessionTest, KeepsTheUsersArrangementAndRemembersWhereHePutsTheDisplay) {
  open({"1280x800", "1024x768"});
  const auto user = GnomeSession::open();  // another program, such as the desktop's settings
  const auto puts = [&](const char* connector, std::int32_t x, std::int32_t y) {
    const DisplayID id = user->layout().monitor(connector)->id;
    return user->move(id, x, y) && isSoon([&] { return boundsOf(connector).x == x && boundsOf(connector).y == y; });
  };
  const ScreenRectangle second = {100, 800, 1024, 768};
  ASSERT_TRUE(puts("Meta-1", 100, 800));
  const auto untouched = session_->layout().screens;

  ASSERT_TRUE(show(600, 1200));
  EXPECT_EQ(ours(), (ScreenRectangle{1280, 0, 600, 1200}));
  EXPECT_TRUE(isSoon([&] { return boundsOf("Meta-1") == second; }));
  ASSERT_TRUE(isSoon([&] { return user->layout().monitors.size() == 3; }));
  ASSERT_TRUE(puts("Meta-2", -600, -400));  // to the left, the lower edges in line
  ASSERT_TRUE(show(1200, 600));
  EXPECT_EQ(ours(), (ScreenRectangle{-1200, 200, 1200, 600}));
  EXPECT_TRUE(isSoon([&] { return boundsOf("Meta-1") == second; }));
  display_->terminate();
  EXPECT_TRUE(isSoon([&] { return session_->layout().screens == untouched; }));
  ASSERT_TRUE(show(600, 1200));
  EXPECT_EQ(ours(), (ScreenRectangle{-600, -400, 600, 1200}));
  EXPECT_TRUE(isSoon([&] { return boundsOf("Meta-1") == second; }));
  EXPECT_EQ(displays_->configureOrigin(*display_->displayID(), 1280, -100), ConfigurationOutcome::Completed);
  EXPECT_EQ(ours().x, 1280);
  EXPECT_EQ(displays_->configureOrigin(*display_->displayID(), 100, 100), ConfigurationOutcome::NotCompleted);
}

TEST_F(GnomeSessionTest, WhatEndsTheDisplayIsToldAndItMayComeBack) {
  LogRecorder log;
  open();
  for (const bool endsCompositor : {false, true}) {
    ASSERT_TRUE(show(644, 1398));
    capture();
    if (endsCompositor) {
      gnome_->restartCompositor();
    } else {
      gnome_->restartPipeWire();
    }
    EXPECT_TRUE(isSoon([&] { return hasError() && !display_->displayID(); }));
    EXPECT_TRUE(isSoon([&] { return session_->isOffered(); }));
    EXPECT_TRUE(isSoon([&] { return show(1398, 644); }));
    display_->terminate();
    const auto lines = log.take();
    EXPECT_EQ(std::ranges::count_if(lines, [](const std::string& line) { return line.starts_with("📺 "); }), 1);
  }
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
  open();
  const std::string bus = gnome_->environment().at("DBUS_SESSION_BUS_ADDRESS");
  auto screenSaver = std::make_unique<ScreenSaver>(bus);
  const auto mode = displays_->makeDisplayMode(1398, 644, 60);
  const auto isTaken = [&](bool isLocked) {
    capture();
    gnome_->endCasts(isLocked);
    return isSoon([&] { return hasError() && !display_->displayID() && display_->isWithheld() == isLocked; }) &&
           (error_->domain == userStoppedDomain) == !isLocked;
  };
  const auto isShown = [&](double width) {
    return isSoon([&] { return ours().width == width && !display_->isWithheld(); });
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
  gnome_->allowCasts();
  screenSaver->wake();
  ASSERT_TRUE(isShown(1398));
  screenSaver->setActive(false);

  ASSERT_TRUE(isTaken(true));
  gnome_->allowCasts();
  EXPECT_TRUE(isShown(1398)) << "unlocked before the lock screen was up";
  ASSERT_TRUE(isTaken(true));
  screenSaver->setActive(true);
  screenSaver = nullptr;
  EXPECT_TRUE(isSoon([&] { return !display_->isWithheld(); })) << "nobody would tell any more";
  gnome_->allowCasts();
  ASSERT_TRUE(show(644, 1398));
  ASSERT_TRUE(isTaken(/*isLocked=*/false));
  display_->terminate();
}

}  // namespace
}  // namespace tandemview
