
#include "app/AppDelegateFixture.h"
#include "app/WorkspaceNotifications.h"

namespace tandemview {
namespace {

using AppDelegateTest = AppDelegateFixture;

constexpr const char* codeLine = "📶 WiFiSender: Keeping existing code: 47 (generated 0s ago)";
constexpr const char* touchLine = "🖱️ TouchInjector: Using display 77 at (1280.0, 0.0, 644.0, 1398.0)";
constexpr const char* rule = "━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━━";

TEST_F(AppDelegateTest, LaunchesOnlyWhereItCan) {
  application->environment.insert("XCTestConfigurationFilePath");
  launch();
  EXPECT_TRUE(log.take().empty());
  application->environment.clear();

  application->copies = {4100, 4242, 4300};
  launch();
  EXPECT_EQ(application->calls, (Lines{"activate 4100", "activate 4300", "terminate"}));
  EXPECT_TRUE(log.take().empty());
  application->copies = {4242};

  displays->missingClass = "display";
  launch();
  EXPECT_EQ(log.take(), Lines{codeLine}) << "no transport listens";
  ASSERT_EQ(application->alerts.size(), 1u);
  EXPECT_EQ(application->alerts.front().message, "macOS 14+ Required");
  EXPECT_EQ(menu->item.menu.front()->title, "macOS 14 or later required");
  menu->choose("Reconnect");
  delegate->applicationWillTerminate();
  EXPECT_EQ(log.take(), Lines{"🔄 Manual reconnect triggered..."});
  displays->missingClass.clear();

  launch();
  EXPECT_EQ(
      log.take(),
      (Lines{codeLine, "🚀 Mac Screen Sender Starting...", "📺 VirtualDisplayManager initialized for 'iPhone Display'",
             "✅ TouchInjector: Accessibility permissions granted",
             "🔌 USBSender: Starting USB monitoring on port 2345...", "✅ USBSender: Monitoring for iOS devices...",
             "💡 Connect your iPhone with a USB cable", "📶 WiFiSender: Starting P2P browser...",
             "🛑 WiFiSender: Stopping...", "📶 WiFi sender started - looking for iPhone..."}));
}

TEST_F(AppDelegateTest, GoesFromDescriptionToStreamInThisOrder) {
  launch();
  connect();
  for (const auto& [width, height] : {std::pair(0, 0), {-5, 10}, {1290, 16385}}) {
    sendInfo(width, height);
    EXPECT_EQ(log.take().back(), "⚠️ Ignoring a device with an impossible screen: " + std::to_string(width) + "x" +
                                     std::to_string(height));
  }
  sendInfo(1290, 2796, R"(,"idiom":"phone")");
  EXPECT_EQ(
      log.take(),
      (Lines{"📱 USBSender: Received device info - 1290x2796, scale: 3.0, mode: medium, orientation: Portrait",
             "📱 Device: iPhone (aspect ratio: 0.46, idiom: phone)", rule, "📱 iPhone native: 1290 x 2796 (aspect: 0.46)",
             "🔄 Orientation: Portrait", "🔍 Zoom: 2.0x (scale: 3.0, size: standard)", "📺 Display size: 644 x 1398", rule,
             "📺 Creating virtual display: 644x1398", "✅ Virtual display created successfully!", "   Display ID: 77",
             "   Resolution: 644x1398", "✅ Virtual display configured"}));
  EXPECT_EQ(displays->descriptors.at(0).maxPixelsWide, 2880);
  queue->advance(2.9);
  EXPECT_EQ(log.take(), Lines{touchLine});
  queue->advance(0.2);
  EXPECT_EQ(log.take(),
            (Lines{"✅ MJPEG encoder ready (CPU, quality: 0.5)", "🔌 USB — quality mode: balanced (JPEG 0.55)",
                   "🎬 Streaming started!", "📺 Available displays:", "   - ID: 77, Size: 644x1398",
                   "📺 Found display by ID: 77", "✅ ScreenCapture: Stored display ID 77 for touch input",
                   "📺 Capturing: 644x1398 → 644x1398", "✅ Capture started @ 60fps"}));
  sendInfo(1290, 2796);
  queue->advance(0);
  EXPECT_EQ(phone->types(), std::vector<std::uint32_t>{MessageType::macInfo}) << "there is no picture yet";
  deliverFrame();
  EXPECT_EQ(phone->types(), (std::vector<std::uint32_t>{MessageType::macInfo, MessageType::videoFrame}));
  EXPECT_EQ(phone->frames.back().payload.text().substr(8), "0.55");

  sendInfo(1290, 2796);
  EXPECT_EQ(log.take().back(), "📺 Display already 644x1398 - keep streaming");
  EXPECT_EQ(captures->streams.size(), 1u);
}

TEST_F(AppDelegateTest, DescriptionsCollapseWhileConfiguring) {
  launch();
  plugIn();
  log.take();
  sendInfo(2048, 2732, R"(,"idiom":"pad")");
  sendInfo(2796, 1290);
  EXPECT_EQ(log.count("⏳ Already configuring - will apply 2048x2732 next"), 1);
  EXPECT_EQ(log.count("⏳ Already configuring - will apply 2796x1290 next"), 1);
  menu->choose("Full Resolution — Smallest Text");
  queue->advance(3.1);
  const Lines lines = log.take();
  const auto started = std::ranges::find(lines, "🎬 Streaming started!");
  const auto changed = std::ranges::find(lines, "🔄 DISPLAY CHANGE → 2796x1290 (iPhone, Portrait, zoom 1.0)");
  EXPECT_TRUE(started < changed && changed != lines.end());
  EXPECT_EQ(displays->calls.back(), "apply 2796x1290") << "only the last one is applied, in the quality chosen since";
  EXPECT_TRUE(isStreaming());
}

TEST_F(AppDelegateTest, NoLaterStepOfAnOlderConfigurationIsTaken) {
  launch();
  plugIn();
  queue->advance(0.8);
  unplug();
  queue->advance(0.4);
  connect();
  sendInfo(2796, 1290);  // turned while it was unplugged
  queue->advance(8);
  EXPECT_EQ(log.count("🎬 Streaming started!"), 1);
  EXPECT_EQ(displays->calls, (Lines{"apply 644x1398", "apply 1398x644"}));
  EXPECT_EQ(captures->streams.back()->configuration.width, 1398);

  displays->resizesAtOnce = false;
  sendInfo(1290, 2796);
  queue->advance(0.5);
  phone->daemon->detach(7);
  queue->advance(0.1);
  EXPECT_EQ(log.count("📺 Re-applying 644x1398"), 6) << "until the next configuration begins";
  connect();
  sendInfo(1290, 2796);
  queue->advance(1.5);
  EXPECT_EQ(log.count("📺 Re-applying 644x1398"), 6);
}

class AppDelegateQueuesTest : public AppDelegateFixture {
 protected:
  AppDelegateQueuesTest() : AppDelegateFixture(ManualQueue::make()) {}
};

TEST_F(AppDelegateQueuesTest, ADisplayMadeForAnOlderDescriptionChangesNothing) {
  launch();
  plugIn();
  queue->advance(0.8);
  unplug();
  connect();
  sendInfo(2796, 1290);
  log.take();
  workQueue->drain();  // both are made, the second in place of the first
  queue->advance(5);
  EXPECT_EQ(log.count("✅ Virtual display configured"), 1);
  EXPECT_EQ(displays->calls,
            (Lines{"apply 644x1398", "terminate", "apply nothing", "let go", "pause 0.5", "apply 1398x644"}));
}

TEST_F(AppDelegateQueuesTest, ADescriptionOnItsWayIsNewerThanTheOneThatWaits) {
  launch();
  connectWiFi();
  sayOverWiFi(R"({"width":1290,"height":2796,"scale":3})");
  queue->drain();
  workQueue->drain();
  sayOverWiFi(R"({"width":2048,"height":2732,"scale":2})");
  atStreamStart = [this] { sayOverWiFi(R"({"width":2796,"height":1290,"scale":3})"); };
  queue->advance(3.1);
  atStreamStart = nullptr;
  queue->advance(5);
  EXPECT_EQ(log.count("⏳ Already configuring - will apply 2048x2732 next"), 1);
  EXPECT_EQ(displays->calls, (Lines{"apply 644x1398", "apply 1398x644"}));
}

TEST_F(AppDelegateTest, AStreamThatEndsByItselfIsBroughtBackUntilPicturesFlow) {
  stream();
  deliverFrame();
  constexpr std::int64_t code = -3815;
  endStream(code);
  EXPECT_EQ(menu->item.title.front().color, TextColor::SecondaryLabel) << "nothing is streamed";
  captures->startError = {.domain = streamErrorDomain, .code = code};
  const auto attempts = [this] {
    long count = 0;
    for (const std::string& line : log.take()) count += line.find("bringing it back") != std::string::npos;
    return count;
  };
  attempts();
  constexpr double configuration = 3.0;  // seconds from a description to the start of the capture
  for (const double delay : {1.0, 2.0, 5.0, 10.0, 10.0}) {
    const std::size_t streams = captures->streams.size();
    queue->advance(delay - 0.02);
    EXPECT_EQ(attempts(), 0) << delay;
    queue->advance(0.03);
    EXPECT_EQ(attempts(), 1) << delay;
    EXPECT_EQ(captures->streams.size() > streams, delay == 1.0)
        << "the display is there, but that may be what is wrong";
    if (delay > 1) queue->advance(configuration - 0.01);
  }
  captures->startError.reset();
  queue->advance(10 + configuration);
  deliverFrame();
  EXPECT_EQ(menu->item.title.front().color, TextColor::Green);
  EXPECT_EQ(attempts(), 1);
  captures->content = std::vector<CapturableDisplay>();
  endStream(code);
  queue->advance(1.01);
  EXPECT_EQ(attempts(), 1) << "the delays start anew";

  unplug();
  queue->advance(30);
  EXPECT_EQ(attempts(), 0) << "nobody is there";
  plugIn();
  queue->advance(configuration + 0.01);
  endStream(code);
  queue->advance(1.01);
  EXPECT_EQ(attempts(), 1) << "and anew with the next link";
  endStream(userDeclinedCapture);
  queue->advance(30);
  EXPECT_EQ(attempts(), 0) << "the user has declined";
  sendInfo(1290, 2796);
  queue->advance(configuration + 0.01);
  EXPECT_TRUE(isStreaming()) << "a phone that describes itself again is served";
}

TEST_F(AppDelegateTest, ALockedScreenIsWaitedForAndWhatTheUserStopsStaysAway) {
  const std::string locked = "🔒 The screen is locked - streaming goes on when it is unlocked";
  const auto startsWithin = [&](double seconds) {
    const std::size_t streams = captures->streams.size();
    queue->advance(seconds);
    return captures->streams.size() > streams;
  };
  constexpr double configuration = 3.01;  // seconds from a description to the start of the capture
  constexpr double longTime = 60;
  stream();
  for (const bool bringsDisplay : {true, false}) {
    displays->lockScreen();
    endStream(-3817);
    EXPECT_FALSE(startsWithin(longTime));
    EXPECT_EQ(log.take(), Lines{locked}) << "no attempt in vain";
    displays->unlockScreen(bringsDisplay);
    EXPECT_TRUE(startsWithin(bringsDisplay ? 0 : configuration));
  }
  for (const bool isBeingTurned : {true, false}) {  // or has just come
    log.take();
    displays->resizesAtOnce = false;
    if (isBeingTurned) sendInfo(2796, 1290);
    displays->resizesAtOnce = true;
    displays->lockScreen();
    if (!isBeingTurned) unplug();
    if (!isBeingTurned) plugIn();
    EXPECT_FALSE(startsWithin(longTime));
    EXPECT_EQ(log.count(locked), 1);
    EXPECT_EQ(log.count("📺 Re-applying 1398x644"), 0);
    displays->unlockScreen();
    EXPECT_TRUE(startsWithin(0));
  }

  displays->lockScreen();
  endStream(1, userStoppedDomain);
  displays->unlockScreen();
  for (const char* const name : {workspaceWillSleepNotification, workspaceDidWakeNotification}) {
    phone->center->post(name, application.get(), {});
  }
  EXPECT_FALSE(startsWithin(longTime)) << "the user has stopped it";
  choose("Reconnect");
  EXPECT_TRUE(startsWithin(configuration));
}

TEST_F(AppDelegateTest, AnotherQualityOrRotationNeedsNoOtherDisplay) {
  stream();
  menu->choose("Balanced (Recommended)");
  EXPECT_TRUE(log.take().empty());
  menu->choose("Sharp — Best Image");
  EXPECT_EQ(log.take(), Lines{"🎚️ Quality changed to sharp (JPEG 0.7)"});
  EXPECT_EQ(defaults->string("displayQualityMode"), "sharp");
  EXPECT_TRUE(menu->line("Sharp — Best Image").isChecked);
  EXPECT_FALSE(menu->line("Balanced (Recommended)").isChecked);
  EXPECT_EQ(captures->streams.size(), 1u);
  choose("Full Resolution — Smallest Text");
  EXPECT_EQ(log.count("🔍 Display size changed to fullSize"), 1);
  EXPECT_EQ(displays->calls.back(), "apply 1290x2796");
  choose("Smooth — Fastest");
  EXPECT_EQ(displays->calls.back(), "apply 644x1398");
  EXPECT_EQ(log.count("🔌 USB — quality mode: smooth (JPEG 0.4)"), 1);
  log.take();
  sendInfo(2796, 1290, R"(,"orientation":"Landscape")");
  const Lines lines = log.take();
  EXPECT_EQ(Lines(lines.begin() + 1, lines.begin() + 6),
            (Lines{rule, "🔄 DISPLAY CHANGE → 1398x644 (iPhone, Landscape, zoom 0.5)", rule,
                   "📺 Virtual display resized in place to 1398x644", "📺 Display now 1398x644 pt"}));
  EXPECT_TRUE(isStreaming()) << "at once";
  EXPECT_EQ(captures->streams.back()->configuration.width, 1398);
  EXPECT_EQ(captures->streams.back()->configuration.height, 644);
  sendInfo(5760, 2000);  // all that the envelope holds
  EXPECT_EQ(displays->calls.back(), "apply 2880x1000");
}

TEST_F(AppDelegateTest, ReappliesASizeThatComesLateAndMovesOffOtherScreens) {
  stream();
  displays->resizesAtOnce = false;
  displays->screens.push_back({.id = 5, .bounds = {1300, 0, 1920, 1080}});
  sendInfo(2796, 1290);
  queue->advance(0.5);
  EXPECT_FALSE(isStreaming());
  displays->modes = {{1398, 644, 9}};
  queue->advance(0.1);
  EXPECT_EQ(log.count("📺 Re-applying 1398x644"), 6);
  EXPECT_EQ(displays->calls.back(), "configureOrigin -1398,0");
  EXPECT_FALSE(isStreaming()) << "the arrangement settles first";
  queue->advance(0.31);
  EXPECT_TRUE(isStreaming());

  displays->modes.clear();
  log.take();
  sendInfo(1290, 2796);
  queue->advance(3.05);
  EXPECT_EQ(log.count("📺 Re-applying 644x1398"), 30);
  EXPECT_EQ(log.count("♻️  Display can't be resized in place - restarting app to apply the new size..."), 0);
  queue->advance(0.1);
  EXPECT_EQ(log.count("♻️  Display can't be resized in place - restarting app to apply the new size..."), 1);
}

TEST_F(AppDelegateTest, ADisplayThatCameUpWrongIsWaitedForAndThenUsedAsItIs) {
  const DisplayID display = RecordingDisplaySystem::virtualID;
  const struct {
    std::function<void()> meanwhile;
    double wait;
    Lines lines;
  } cases[] = {
      {[&] { displays->resize(display, 644, 1398); }, 0.1, {"📺 Display now 644x1398 pt", touchLine}},
      {[] {},
       3.0,
       {"⚠️ Display still 640x480 pt (mode 640x480), wanted 644x1398",
        "🖱️ TouchInjector: Using display 77 at (1280.0, 0.0, 640.0, 480.0)"}},
  };
  launch();
  for (const auto& each : cases) {
    plugIn();
    displays->resizesAtOnce = false;
    displays->resize(display, 640, 480);
    log.take();
    queue->advance(2.05);
    EXPECT_EQ(log.take(), (Lines{"📺 Display came up at 640x480 pt - applying 644x1398",
                                 "📺 Virtual display resized in place to 644x1398"}));
    each.meanwhile();
    queue->advance(each.wait);
    EXPECT_EQ(log.take(), each.lines);
    queue->advance(1.0);
    EXPECT_TRUE(isStreaming());
    unplug();
  }
  plugIn();
  displays->applyOutcome = ApplyOutcome::Refused;
  queue->advance(3.1);
  EXPECT_TRUE(isStreaming()) << "nothing to wait for";
}

TEST_F(AppDelegateTest, RelaunchesWhenTheDisplayCannotTakeTheSizeAndTakesNoNewLink) {
  launch();
  connectWiFi();
  streamByCable();
  application->calls.clear();
  sendInfo(5800, 2000);  // a plan of 2900x1000, beyond the envelope
  EXPECT_EQ(log.count("♻️  Display can't be resized in place - restarting app to apply the new size..."), 1);
  EXPECT_EQ(displays->calls.back(), "pause 0.5") << "the display is gone";
  EXPECT_TRUE(application->calls.empty());
  log.take();
  phone->daemon->detach(7);
  phone->daemon->attach(8);
  menu->choose("Reconnect");
  queue->advance(0.51);
  EXPECT_EQ(application->calls,
            (Lines{"writeFile /tmp/tandemview_relaunch_4242.sh", "run /bin/chmod +x /tmp/tandemview_relaunch_4242.sh",
                   "start /usr/bin/nohup /bin/bash /tmp/tandemview_relaunch_4242.sh"}));
  EXPECT_EQ(application->writtenText, "#!/bin/bash\nsleep 1.5\nopen \"/Applications/Tandemview.app\"");
  queue->advance(5);
  EXPECT_EQ(log.take(), (Lines{"♻️ Relaunching app...", "📁 Bundle path: /Applications/Tandemview.app",
                               "✅ Relaunch script started (PID: 4300)", "👋 Terminating for orientation change..."}));
  EXPECT_EQ(application->calls.back(), "terminate");
  EXPECT_EQ(network->browsers().size(), 1u);
  EXPECT_EQ(phone->connectedTo, std::vector<std::int64_t>{7});
}

TEST_F(AppDelegateTest, RelaunchesWithoutAScriptIfItMust) {
  stream();
  application->written = tl::unexpected(posixError(ENOSPC));
  application->openError = posixError(ENOENT);
  displays->applyOutcome = ApplyOutcome::Refused;
  sendInfo(2796, 1290);
  queue->advance(1.4);
  EXPECT_EQ(application->calls, (Lines{"writeFile /tmp/tandemview_relaunch_4242.sh",
                                       "openApplication /Applications/Tandemview.app", "terminate"}));
  EXPECT_EQ(log.count("❌ Failed to create relaunch script: No space left on device"), 1);
  EXPECT_EQ(log.count("❌ Fallback launch failed: No such file or directory"), 1);
}

TEST_F(AppDelegateTest, APulledCableStopsTheStreamAndComesBack) {
  stream();
  unplug();
  EXPECT_EQ(log.take(), (Lines{"📱 USBSender: iOS device detached (ID: 7)", "⚠️ iPhone disconnected (USB)"}));
  EXPECT_EQ(captures->calls.back(), "stop 77");
  connect();
  displays->screens.push_back({.id = 5, .bounds = {1300, 0, 1920, 1080}});
  sendInfo(1290, 2796);
  EXPECT_EQ(log.count("✅ iPhone connected via USB"), 1);
  EXPECT_EQ(log.count("📺 Virtual display already configured at 644x1398 (ID: 77)"), 1);
  queue->advance(3.1);
  EXPECT_TRUE(isStreaming());
  EXPECT_EQ(displays->calls.back(), "configureOrigin -644,0") << "off a screen that came meanwhile";

  unplug();
  plugIn();
  sendInfo(2796, 1290);
  unplug();  // while it configures
  log.take();
  queue->advance(4);
  EXPECT_EQ(log.take(), (Lines{"🖱️ TouchInjector: Using display 77 at (-644.0, 0.0, 644.0, 1398.0)",
                               "⚠️ No active connection, skipping stream start"}));
}

TEST_F(AppDelegateTest, ADisplayThatFailsIsTriedAnyway) {
  displays->applyOutcome = ApplyOutcome::Refused;
  launch();
  plugIn();
  EXPECT_EQ(log.take().back(), "⚠️ Virtual display may have failed - trying anyway...");
  displays->screens.push_back({.id = 5, .bounds = {1280, 0, 644, 1398}});
  captures->content = std::vector<CapturableDisplay>{{5, 644, 1398}};
  captures->names = {{5, "iPhone Display"}};
  queue->advance(3.1);
  EXPECT_EQ(log.count("🎬 Streaming started!"), 1);
  EXPECT_EQ(log.count("🖱️ TouchInjector: Found display at (1280.0, 0.0, 644.0, 1398.0)"), 1);
  EXPECT_EQ(log.count("📺 Found display by name: 'iPhone Display'"), 1);
}

class AppDelegateBareTest : public AppDelegateFixture {
 protected:
  AppDelegateBareTest() : AppDelegateFixture(nullptr, /*isBare=*/true) {}
};

TEST_F(AppDelegateBareTest, StreamsWhereTheHostHasNeitherInputNorWiFi) {
  stream();
  queue->advance(2);
  EXPECT_TRUE(isStreaming());
  displays->move(RecordingDisplaySystem::virtualID, 0, 800);
  phone->send(MessageType::touchEvent, R"({"type":"tap","x":0.5,"y":0.5})");
  phone->send(MessageType::keyEvent, R"({"kind":"key","action":"text","text":"a"})");
  sendInfo(2796, 1290);
  menu->choose("Reconnect");
  unplug();
  queue->advance(5);
  EXPECT_FALSE(isStreaming());
}

TEST_F(AppDelegateTest, TouchesLandOnTheDisplayAndNothingStaysHeld) {
  stream();
  queue->advance(1.5);
  EXPECT_EQ(log.count("🖱️ Configuring touch input for display 77"), 1);
  for (const double y : {800.0, 800.0}) {  // dragged there in the desktop's settings; told of twice
    displays->move(RecordingDisplaySystem::virtualID, 1280, y);
    queue->drain();
  }
  EXPECT_EQ(log.count("🖱️ TouchInjector: Using display 77 at (1280.0, 800.0, 644.0, 1398.0)"), 1);
  log.take();
  for (const double width : {0.0, 644.0}) {  // dark while others are arranged
    displays->resize(RecordingDisplaySystem::virtualID, width, 1398);
    displays->move(RecordingDisplaySystem::virtualID, 1280, 800);
    queue->drain();
  }
  EXPECT_TRUE(log.take().empty());
  events->take();
  phone->send(MessageType::touchEvent, R"({"type":"drag","phase":"began","x":0.5,"y":0.5,"mode":"direct"})");
  phone->send(MessageType::keyEvent, R"({"kind":"key","action":"text","text":"a"})");
  queue->drain();
  EXPECT_FALSE(events->heldButtons().empty());
  EXPECT_GE(events->take().size(), 3u);
  unplug();
  EXPECT_TRUE(events->heldButtons().empty());
  EXPECT_EQ(events->take().back(), "discard what waits");
  displays->move(RecordingDisplaySystem::virtualID, 1280, 0);
  queue->drain();
  EXPECT_TRUE(log.take().back().starts_with("⚠️ iPhone disconnected")) << "without a stream nobody touches";
}

TEST_F(AppDelegateTest, ADragEndsWithTheLinkThatItCameOverAndAtSleep) {
  const std::string began = R"({"type":"drag","phase":"began","x":0.5,"y":0.5,"mode":"direct"})";
  const auto drag = [&](bool overWiFi) {
    overWiFi ? sayOverWiFi(began) : phone->send(MessageType::touchEvent, began);
    queue->drain();
    EXPECT_FALSE(events->heldButtons().empty());
  };
  const auto end = [&](bool wifi) { wifi ? loseWiFi() : unplug(); };
  launch();
  for (const bool overWiFi : {false, true}) {
    for (const bool wifiEnds : {false, true}) {
      connectWiFi();
      streamByCable();
      drag(overWiFi);
      end(wifiEnds);
      EXPECT_TRUE(isStreaming()) << "over the other link";
      EXPECT_EQ(events->heldButtons().empty(), overWiFi == wifiEnds);
      end(!wifiEnds);
      EXPECT_TRUE(events->heldButtons().empty());
    }
  }
  connect();
  drag(false);
  phone->center->post(workspaceWillSleepNotification, application.get(), {});
  queue->drain();
  EXPECT_TRUE(events->heldButtons().empty());
}

TEST_F(AppDelegateTest, BothLinksGetEveryFrameAndEitherKeepsTheStreamOnceItIsMade) {
  launch();
  connect();
  attemptWiFi();
  sendInfo(1290, 2796);
  queue->advance(3.1);
  EXPECT_EQ(log.count("🔌 USB — quality mode: balanced (JPEG 0.55)"), 1);
  unplug();
  EXPECT_FALSE(isStreaming()) << "for whom?";
  EXPECT_EQ(menu->title(), "● Tandemview 47");
  loseWiFi();
  EXPECT_EQ(log.count("⚠️ iPhone disconnected (WiFi)"), 0);

  connectWiFi();
  EXPECT_EQ(log.count("✅ iPhone connected via WiFi"), 1);
  streamByCable();
  EXPECT_EQ(log.count("📶 WiFi — quality mode: balanced (JPEG 0.25)"), 1);
  network->connections().back()->takeSent();
  encodedPictures = 0;
  deliverFrame();
  EXPECT_EQ(phone->frames.back().payload.text().substr(8), "0.25");
  const auto sent = network->connections().back()->takeSent();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_TRUE(sent.front().ends_with(phone->frames.back().payload.text())) << "behind the length";
  EXPECT_EQ(encodedPictures, 1);

  unplug();
  EXPECT_TRUE(isStreaming());
  connect();
  loseWiFi();
  EXPECT_EQ(log.count("⚠️ iPhone disconnected (WiFi)"), 1);
  EXPECT_TRUE(isStreaming());
  deliverFrame();
  EXPECT_EQ(phone->frames.back().payload.text().substr(8), "0.55") << "the cable has its own quality back";
  connectWiFi();
  unplug();
  loseWiFi();
  EXPECT_FALSE(isStreaming());
}

TEST_F(AppDelegateTest, ACodeThatTwoDevicesAnnounceIsTold) {
  launch();
  queue->advance(0.4);
  network->browsers().back()->hosts["ScrRcv-47"] = {"phone.local", "rogue.local"};
  attemptWiFi();
  EXPECT_TRUE(network->connections().empty());
  ASSERT_EQ(application->alerts.size(), 1u);
  EXPECT_EQ(application->alerts.front().message, "Two devices have your pairing code");
}

TEST_F(AppDelegateTest, EveryLinkGetsTheLastPicture) {
  launch();
  connectWiFi();
  const auto link = network->connections().back();
  constexpr double interval = 0.001;  // each frame has its own timestamp
  link->holdsSends = true;
  streamByCable();
  link->takeSent();
  deliverFrames(5, interval);
  EXPECT_EQ(link->takeSent().size(), 3u) << "it is slow";
  link->completeSends();
  queue->advance(0.04);
  deliverFrame();  // the picture still moves: this one serves the link
  EXPECT_EQ(link->takeSent().size(), 1u);
  deliverFrames(3, interval);
  link->takeSent();
  const std::size_t frames = phone->frames.size();
  queue->advance(1);
  EXPECT_EQ(phone->frames.size(), frames + 1);
  EXPECT_TRUE(phone->frames.back().payload.text().ends_with("rest")) << "the picture shows all that it has";
  EXPECT_TRUE(link->takeSent().empty()) << "no room yet";
  link->completeSends();
  queue->advance(0.06);
  const auto sent = link->takeSent();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_TRUE(sent.front().ends_with(phone->frames.back().payload.text())) << "the last one";
  link->completeSends();
  queue->advance(5);
  EXPECT_TRUE(link->takeSent().empty());
  EXPECT_EQ(phone->frames.size(), frames + 1) << "the cable had it, and nothing runs at rest";

  unplug();
  plugIn();
  EXPECT_EQ(log.count("📺 Display already 644x1398 - keep streaming"), 1);
  queue->advance(0);
  EXPECT_EQ(phone->types().back(), MessageType::videoFrame) << "at once, though nothing changes";
  const std::size_t shown = phone->frames.size();
  sendInfo(1290, 2796);
  queue->advance(1);
  EXPECT_EQ(phone->frames.size(), shown) << "no link gets a frame twice";
  EXPECT_TRUE(link->takeSent().empty());
}

TEST_F(AppDelegateTest, SleepsAndWakes) {
  stream();
  const auto post = [this](const char* name) {
    log.take();
    phone->center->post(name, application.get(), {});
    queue->advance(2.1);
    return log.take();
  };
  EXPECT_EQ(post(workspaceWillSleepNotification).front(), "😴 Mac going to sleep - stopping capture...");
  EXPECT_FALSE(isStreaming());
  EXPECT_EQ(post(workspaceDidWakeNotification).front(), "☀️ Mac woke up - resuming capture...");
  EXPECT_TRUE(isStreaming());
  EXPECT_EQ(displays->descriptors.size(), 1u) << "the display is not configured again";

  connectWiFi();
  post(workspaceWillSleepNotification);
  loseWiFi();
  EXPECT_EQ(menu->title(), "● Tandemview 47") << "the cable alone streams nothing either";
  unplug();
  queue->advance(1);
  EXPECT_TRUE(post(workspaceDidWakeNotification).empty()) << "nobody is there";
}

TEST_F(AppDelegateTest, ReconnectsByHandAndWhenWiFiIsLost) {
  const struct {
    const char* line;
    std::function<void()> reason;
    int retries;
  } cases[] = {{"🔄 Manual reconnect triggered...", [&] { menu->choose("Reconnect"); }, 2},  // which ends Wi-Fi as well
               {"⚠️ iPhone disconnected (WiFi)", [&] { loseWiFi(); }, 1}};
  launch();
  phone->connectResult = 3;
  connect();
  unplug();
  EXPECT_EQ(log.count("⚠️ iPhone disconnected (USB)"), 0) << "it never was";
  for (const auto& [line, reason, retries] : cases) {
    phone->connectResult = 3;
    connect();
    connectWiFi();
    log.take();
    queue->advance(2.1);
    EXPECT_TRUE(log.take().empty()) << "one link is enough";
    const std::size_t browsers = network->browsers().size();
    reason();
    queue->drain();
    EXPECT_EQ(log.count(line), 1);
    EXPECT_EQ(log.count("🔄 USBSender: Retrying connection to device 7..."), retries);
    phone->connectResult = 0;
    phone->channel = nullptr;
    queue->advance(2.1);
    EXPECT_EQ(network->browsers().size(), browsers + 1);
    EXPECT_TRUE(phone->channel);
    unplug();
  }
}

}  // namespace
}  // namespace tandemview
