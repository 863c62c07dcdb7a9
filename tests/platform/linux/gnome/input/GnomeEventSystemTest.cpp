#include <fmt/format.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "fakes/LogRecorder.h"
#include "input/KeyboardInjector.h"
#include "input/TouchInjector.h"
#include "platform/linux/gnome/display/GnomeScreens.h"
#include "platform/linux/gnome/input/GnomeEventSystem.h"
#include "support/DesktopClient.h"
#include "support/LocaleStandIn.h"
#include "support/PrivateGnome.h"
#include "support/PrivateIBus.h"
#include "support/QueueDriver.h"

namespace tandemview {
namespace {

constexpr PixelRectangle phones = {1280, 0, 644, 1398};
constexpr PixelRectangle mains = {0, 0, 1280, 800};
const MouseEvent press = {.type = MouseEventType::LeftDown, .location = {20, 30}, .button = MouseButton::Left};

/// The compositor takes a pointer for our display only while somebody watches its pictures.
struct Watcher : GnomePictureReceiver {
  void take(const PicturePixels& /*picture*/) override { isWatching = true; }
  void sourceEnded(const Error& /*error*/) override {}

  std::atomic<bool> isWatching = false;
};

/// What the program has of it, in the session that the environment names: beside its monitors the phone's of 644x1398.
struct Input {
  Input() {
    main->perform([this] {
      events = GnomeEventSystem::make(
          {.queue = main->queue(), .clock = std::make_shared<SystemMediaClock>(), .session = session});
    });
    show();
  }
  ~Input() {
    main->perform([this] { events = nullptr; });
  }

  void show() {
    EXPECT_TRUE(session->show({.width = 644, .height = 1398}));
    watch();
  }
  void watch() {
    watcher->isWatching = false;
    session->sendPicturesTo(watcher);
    EXPECT_TRUE(Program::within30Seconds([this] { return session->display() && watcher->isWatching; }));
  }
  PictureFlow flow() const {
    std::promise<PictureFlow> answer;
    const auto& remoteDesktop = session->remoteDesktop();
    remoteDesktop->queue()->async([&] { answer.set_value(remoteDesktop->flow()); });
    return answer.get_future().get();
  }
  void post(const MouseEvent& event) {
    main->perform([&] { events->postMouseEvent(event); });
  }
  std::optional<ScreenPoint> pointer() {
    std::optional<ScreenPoint> location;
    main->perform([&] { location = events->pointerLocation(); });
    return location;
  }

  std::shared_ptr<QueueDriver> main = makeSerialQueueDriver();
  std::shared_ptr<Watcher> watcher = std::make_shared<Watcher>();
  std::shared_ptr<GnomeSession> session = GnomeSession::open();
  std::shared_ptr<GnomeEventSystem> events;
};

/// A monitor of 1280x800 beside the phone's, and a German keyboard.
struct GnomeEventSystemTest : testing::Test {
  GnomeEventSystemTest() {
    gnome.enter();
    input.emplace();
  }

  /// A client with the pointer over it.
  std::unique_ptr<DesktopClient> startClient(const std::string& kind, const PixelRectangle& monitor,
                                             Program::Environment environment = {}) {
    environment.insert({{"GDK_BACKEND", "wayland"}});
    environment.insert(gnome.environment().begin(), gnome.environment().end());
    auto client = std::make_unique<DesktopClient>(kind, monitor, environment);
    EXPECT_TRUE(client->prints("ready")) << client->output();
    if (kind == "area") awaitPointer(*client);
    return client;
  }
  void awaitPointer(DesktopClient& client) {
    EXPECT_TRUE(client.seesPointer([&](const ScreenPoint& point) { input->post({.location = point}); }))
        << client.output();
  }

  void touch(const char* mode, const char* type, double x, double y) {
    input->main->perform([&] {
      if (!touches) {
        touches = std::make_unique<TouchInjector>(
            ScreenRectangle(),
            TouchInjector::Surroundings{input->events, std::make_shared<GnomeScreens>(input->session),
                                        std::make_shared<SystemMediaClock>()});
        touches->setDisplay(*input->session->display());
      }
      touches->handleTouchEvent(
          Data::copying(fmt::format(R"({{"type":"{}","x":{},"y":{},"mode":"{}"}})", type, x, y, mode)));
    });
  }
  void type(const std::string& text) {
    input->main->perform([&] { KeyboardInjector(nullptr, input->events).typeText(text); });
  }

  LogRecorder log;
  LocaleStandIn locale{"de"};
  PrivateGnome gnome{{"1280x800"}, {{"DBUS_SYSTEM_BUS_ADDRESS", locale.address()}}};
  std::optional<Input> input;
  std::unique_ptr<TouchInjector> touches;
};

TEST_F(GnomeEventSystemTest, ThePointerAndTheWheelHaveFractions) {
  const auto client = startClient("area", phones);
  touch("direct", "move", 10.25 / 644, 20.5 / 1398);
  touch("direct", "move", 100.0 / 644, 100.0 / 1398);
  // By the trackpad from where the pointer was put, though nobody tells where it is. Small movements add up.
  for (int count = 0; count < 4; ++count) touch("trackpad", "move", 0.25 / 644, 0);
  touch("trackpad", "scroll", 5, -20);
  EXPECT_EQ(client->events(7), (Lines{"motion 10.25,20.5", "motion 100,100", "motion 100.25,100", "motion 100.5,100",
                                      "motion 100.75,100", "motion 101,100", "scroll 0.5,-2 smooth"}))
      << "GTK counts ten pixels as one";

  // The other monitor lies beyond our display's corner.
  const auto other = startClient("area", mains);
  input->post({.location = {1000.5, 20}});
  EXPECT_TRUE(other->prints("motion 1000.5,20\n"));
  EXPECT_EQ(input->pointer(), (ScreenPoint{1000.5, 20}));
}

TEST_F(GnomeEventSystemTest, WithoutPicturesNothingIsPressedWhereThePointerWas) {
  const auto client = startClient("area", mains);
  input->session->sendNoPicturesTo(input->watcher);
  ASSERT_TRUE(Program::within30Seconds([&] { return input->flow() == PictureFlow::None; }));
  input->post(press);
  input->post({.type = MouseEventType::LeftUp, .location = {20, 30}, .button = MouseButton::Left});
  input->watch();
  EXPECT_TRUE(Program::within30Seconds([&] {
    input->post({.location = {7, 8}});
    return client->output().find("motion 7,8\n") != std::string::npos;
  }));
  EXPECT_EQ(client->output().find("press"), std::string::npos);
}

TEST_F(GnomeEventSystemTest, WhatIsPostedWhileTheRateIsRaisedWaitsButDoesNotPileUp) {
  const auto client = startClient("area", mains);
  // The rate follows a new size, and a busy machine may miss it.
  for (int turn = 0; input->flow() != PictureFlow::Interrupted; ++turn) {
    ASSERT_LT(turn, 20);
    input->session->show(turn % 2 == 0 ? PixelSize{1398, 644} : PixelSize{644, 1398});
    ASSERT_TRUE(Program::within30Seconds([&] { return input->flow() == PictureFlow::Coming; }));
    Program::within(std::chrono::seconds(1), [&] { return input->flow() == PictureFlow::Interrupted; });
  }
  input->post(press);
  input->post({.type = MouseEventType::LeftUp, .location = {21, 30}, .button = MouseButton::Left});
  EXPECT_TRUE(client->prints("press 1 20,30\nmotion 21,30 state 100\nrelease 1 21,30 state 100\n")) << client->output();

  const auto& remoteDesktop = input->session->remoteDesktop();
  remoteDesktop->queue()->async([&] { remoteDesktop->setFlow(PictureFlow::Interrupted); });
  for (int count = 0; count < 2001; ++count) remoteDesktop->postMotion(30, 30);
  EXPECT_EQ(input->flow(), PictureFlow::None);
}

TEST_F(GnomeEventSystemTest, TextIsTypedByTheKeysThatThereAreOrByTheInputMethodWhichIsGivenBack) {
  const std::string text = "Grüße, 你好 é {}[]~ 👍🏽";
  {
    const auto field = startClient("field", phones);
    type(text);
    EXPECT_TRUE(field->prints("text Grüße,   {}[]~ \n"));
    const Lines lines = log.take();
    EXPECT_TRUE(std::ranges::any_of(
        lines, [](const std::string& line) { return line.find("5 characters were dropped") != std::string::npos; }));
  }
  const PrivateIBus ibus(gnome.environment());
  const auto field = startClient("field", phones, {{"GTK_IM_MODULE", "ibus"}});
  EXPECT_TRUE(ibus.chooses("xkb:us::eng"));
  type(text);
  EXPECT_TRUE(field->prints("text " + text + "\n")) << field->output();
  EXPECT_TRUE(ibus.hasEngine("xkb:us::eng"));
  const std::string longText(2000, 'x');
  type(longText + "好");
  EXPECT_TRUE(field->prints("text " + text + longText + "好\n")) << field->output();
}

TEST_F(GnomeEventSystemTest, NothingStaysHeldWithoutTheDisplay) {
  const auto client = startClient("area", mains);
  input->post(press);
  EXPECT_TRUE(client->prints("press 1 20,30"));
  input->session->hide();
  EXPECT_TRUE(client->prints("release 1 20,30"));
  EXPECT_FALSE(input->pointer());
  input->post(press);
  type("y");
  input->show();
  awaitPointer(*client);
  input->post(press);
  const Lines lines = client->events(2);
  EXPECT_EQ(lines, (Lines{"motion 20,30", "press 1 20,30"})) << "without what was posted meanwhile";
}

}  // namespace
}  // namespace tandemview
