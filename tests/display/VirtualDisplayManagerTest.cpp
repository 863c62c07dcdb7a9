#include "display/VirtualDisplayManager.h"

#include <gtest/gtest.h>

#include "display/DisplayArrangement.h"
#include "fakes/LogRecorder.h"
#include "fakes/ManualQueue.h"
#include "fakes/RecordingDisplaySystem.h"

namespace tandemview {
namespace {

TEST(DisplayArrangementTest, MovesBesideTheFirstOverlappedScreenAndOnUntilItIsClear) {
  const ScreenRectangle own = {0, 0, 100, 100};
  const struct {
    std::vector<ScreenRectangle> others;
    std::optional<ScreenPoint> first;  // beside the first one
    std::optional<ScreenPoint> clear;  // of all
  } cases[] = {
      {{}, {}, {}},
      {{{100, 0, 100, 100}, {0, 100, 100, 100}}, {}, {}},
      {{{50, 0, 100, 100}}, ScreenPoint{-50, 0}, ScreenPoint{-50, 0}},
      {{{-50, 30, 100, 100}}, ScreenPoint{50, 0}, ScreenPoint{50, 0}},
      {{{0, 0, 100, 100}}, ScreenPoint{100, 0}, ScreenPoint{100, 0}},
      {{{500, 0, 10, 10}, {-10, -10, 20, 20}, {50, 0, 100, 100}}, ScreenPoint{10, 0}, ScreenPoint{150, 0}},
      // Between two screens with a gap too narrow for it: not back and forth.
      {{{-30, 0, 50, 100}, {60, 0, 100, 100}}, ScreenPoint{20, 0}, ScreenPoint{160, 0}},
      {{{60, 0, 100, 100}, {-30, 0, 50, 100}}, ScreenPoint{-40, 0}, ScreenPoint{-130, 0}},
      // It lands on the second, and from there on the third, whatever their order.
      {{{50, 0, 50, 50}, {-500, 0, 380, 50}, {-120, 90, 80, 50}}, ScreenPoint{-50, 0}, ScreenPoint{-600, 0}},
      {{{50, 0, 50, 50}, {-120, 90, 80, 50}, {-500, 0, 380, 50}}, ScreenPoint{-50, 0}, ScreenPoint{-600, 0}},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(overlapOrigin(own, each.others), each.first);
    EXPECT_EQ(clearOrigin(own, each.others, -1000), each.clear);
  }
  EXPECT_EQ(clearOrigin(own, {{50, 0, 100, 100}, {150, 0, 30, 50}}, 0), (ScreenPoint{180, 0})) << "no room on the left";
}

class VirtualDisplayManagerTest : public testing::Test {
 protected:
  VirtualDisplayManagerTest() {
    manager->onConfiguredInPlace = [this](const MacProtocol::DisplayPlan&) { outcomes.push_back("in place"); };
    log.take();
  }
  void configure(std::int64_t width, std::int64_t height, std::optional<std::int64_t> envelope = {}) {
    manager->configureDisplay(width, height, envelope, {},
                              [this](bool success) { outcomes.push_back(success ? "created" : "failed"); });
    queue->drain();
  }

  LogRecorder log;
  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  std::shared_ptr<RecordingDisplaySystem> displays = std::make_shared<RecordingDisplaySystem>();
  std::shared_ptr<VirtualDisplayManager> manager = std::make_shared<VirtualDisplayManager>(
      "iPhone Display", VirtualDisplayManager::Surroundings{
                            .displays = displays, .screens = displays, .mainQueue = queue, .displayQueue = queue});
  Lines outcomes;
};

TEST_F(VirtualDisplayManagerTest, CreatesAndDestroysWithTheseLinesAndCalls) {
  EXPECT_TRUE(manager->createDisplay(1920, 1200, 2880));
  EXPECT_EQ(log.take(), (Lines{"📺 Creating virtual display: 1920x1200", "✅ Virtual display created successfully!",
                               "   Display ID: 77", "   Resolution: 1920x1200"}));
  const VirtualDisplayDescriptor& descriptor = displays->descriptors.at(0);
  EXPECT_EQ(descriptor.name, "iPhone Display");
  EXPECT_EQ(descriptor.maxPixelsHigh, 2880);
  EXPECT_NEAR(descriptor.widthInMillimeters, 443.4, 0.1);
  EXPECT_NEAR(descriptor.heightInMillimeters, 277.1, 0.1);
  EXPECT_EQ(manager->displayID(), 77u);
  EXPECT_EQ(manager->envelope(), 2880);

  manager->destroyDisplay();
  EXPECT_EQ(log.take(), (Lines{"📺 Destroying virtual display...", "📺 Calling terminate on virtual display...",
                               "📺 Applied empty settings to trigger display removal", "📺 Virtual display destroyed"}));
  EXPECT_EQ(displays->calls, (Lines{"apply 1920x1200", "terminate", "apply nothing", "let go", "pause 0.5"}));
  EXPECT_EQ(manager->envelope(), 0);
  manager->destroyDisplay();
  EXPECT_TRUE(log.take().empty());

  manager->createDisplay(1920, 1200, 2880);
  displays->calls.clear();
  manager = nullptr;
  EXPECT_EQ(displays->calls, (Lines{"terminate", "apply nothing", "let go", "pause 0.5"})) << "with its owner, too";
}

TEST_F(VirtualDisplayManagerTest, EveryFailedStepSaysWhichAndKeepsNothing) {
  const struct {
    std::function<void(RecordingDisplaySystem&)> arrange;
    Lines expected;
  } cases[] = {
      {[](auto& system) { system.creationOutcome = CreationOutcome::NotAllocated; },
       {"❌ Failed to allocate CGVirtualDisplay", "❌ Failed to create CGVirtualDisplay instance"}},
      {[](auto& system) { system.makesModes = false; }, {"❌ Failed to create display mode"}},
      {[](auto& system) { system.applyOutcome = ApplyOutcome::NotOffered; },
       {"⚠️ Display does not respond to applySettings:", "❌ Failed to apply display settings"}},
      {[](auto& system) { system.applyOutcome = ApplyOutcome::Refused; }, {"❌ Failed to apply display settings"}},
  };
  for (const char* missing : {"descriptor", "display", "settings", "mode"}) {
    displays->missingClass = missing;
    EXPECT_FALSE(manager->createDisplay(644, 1398, 2880));
    EXPECT_EQ(log.take(), Lines{"❌ CGVirtualDisplay API not available - requires macOS 14+"});
  }
  for (const auto& each : cases) {
    *displays = RecordingDisplaySystem();
    each.arrange(*displays);
    EXPECT_FALSE(manager->createDisplay(644, 1398, 2880));
    Lines lines = log.take();
    EXPECT_EQ(lines.front(), "📺 Creating virtual display: 644x1398");
    lines.erase(lines.begin());
    EXPECT_EQ(lines, each.expected);
    EXPECT_FALSE(manager->displayID());
    EXPECT_EQ(manager->envelope(), 0);
  }
}

TEST_F(VirtualDisplayManagerTest, ADisplayWithoutIDIsCreatedAllTheSame) {
  displays->assignsID = false;
  displays->canTerminate = false;
  displays->screens.push_back({.id = 5, .bounds = {1280, 0, 1000, 500}});
  displays->screens.push_back({.id = 6, .bounds = {1280, 0, 999, 1999}});
  EXPECT_TRUE(manager->createDisplay(644, 1398, 2880));
  EXPECT_EQ(log.take(),
            (Lines{"📺 Found existing display ID 6: 999x1999", "⚠️ Will use existing display 6 for capture",
                   "📺 Creating virtual display: 644x1398", "✅ Virtual display created (no display ID yet)"}));
  EXPECT_FALSE(manager->displayID());
  manager->destroyDisplay();
  EXPECT_EQ(displays->calls, (Lines{"apply 644x1398", "invalidate", "apply nothing", "let go", "pause 0.5"}));
}

TEST_F(VirtualDisplayManagerTest, ConfigureReusesResizesOrReplaces) {
  configure(1170, 2532);
  EXPECT_EQ(outcomes, Lines{"created"});
  log.take();

  configure(1170, 2532);
  EXPECT_EQ(log.take(), Lines{"📺 Virtual display already configured at 1170x2532 (ID: 77)"});
  configure(2532, 1170);
  EXPECT_EQ(log.take(), (Lines{"📺 Resolution mismatch: have 1170x2532, need 2532x1170",
                               "📺 Virtual display resized in place to 2532x1170"}));
  EXPECT_EQ(outcomes, (Lines{"created", "in place", "in place"}));
  EXPECT_EQ(manager->currentSize(), (VirtualDisplayManager::Size{2532, 1170}));

  configure(2560, 1600);
  const Lines lines = log.take();
  ASSERT_GE(lines.size(), 4u);
  EXPECT_EQ(lines.at(1), "📺 2560x1600 doesn't fit the display's 2532px limit");
  EXPECT_EQ(lines.at(2), "⚠️ In-place resize failed - replacing the display");
  EXPECT_EQ(lines.at(3), "📺 Destroying virtual display...");
  EXPECT_EQ(outcomes.back(), "created");
  EXPECT_EQ(manager->envelope(), 2560);
  EXPECT_EQ(manager->currentSize(), (VirtualDisplayManager::Size{2560, 1600}));

  log.take();
  for (const char* missing : {"settings", "mode"}) {
    displays->missingClass = missing;
    EXPECT_FALSE(manager->resizeInPlace(100, 100));
  }
  displays->missingClass.clear();
  EXPECT_FALSE(manager->resizeInPlace(-1, 100));
  EXPECT_TRUE(log.take().empty());
  displays->applyOutcome = ApplyOutcome::Refused;
  EXPECT_FALSE(manager->resizeInPlace(100, 100));
  EXPECT_EQ(log.take(), Lines{"❌ Display refused 100x100"});

  manager->configureDisplay(100, 100, {}, {}, nullptr);
  manager = nullptr;
  queue->drain();
  EXPECT_EQ(displays->descriptors.size(), 2u) << "nobody wants it any more";
}

TEST_F(VirtualDisplayManagerTest, SelectsTheModeOfExactlyTheSize) {
  EXPECT_FALSE(manager->selectMode(644, 1398));
  EXPECT_FALSE(manager->currentModeSize());
  EXPECT_FALSE(manager->resizeInPlace(644, 1398));
  configure(644, 1398);
  EXPECT_EQ(manager->currentModeSize(), (VirtualDisplayManager::Size{644, 1398}));
  displays->modes = {{322, 699, 1}, {644, 1398, 2}, {644, 1398, 3}};
  log.take();
  EXPECT_TRUE(manager->selectMode(644, 1398));
  EXPECT_EQ(log.take(), (Lines{"📺 Modes offered: 322x699, 644x1398, 644x1398", "📺 Selected mode 644x1398"}));
  EXPECT_EQ(displays->calls.back(), "configureMode 2");
  EXPECT_FALSE(manager->selectMode(1398, 644));
  displays->configurationOutcome = ConfigurationOutcome::NotCompleted;
  EXPECT_FALSE(manager->selectMode(644, 1398));
}

TEST_F(VirtualDisplayManagerTest, MovesOffAnOverlappedScreen) {
  EXPECT_FALSE(manager->fixOverlap());
  configure(644, 1398);
  EXPECT_FALSE(manager->fixOverlap());
  displays->screens.push_back({.id = 5, .bounds = {1400, 0, 1920, 1080}});
  log.take();
  EXPECT_TRUE(manager->fixOverlap());
  EXPECT_EQ(log.take(),
            Lines{"📺 Display overlapped another screen at (1280.0, 0.0, 644.0, 1398.0) - moved to x -644: true"})
      << "past the main screen, which it would lie over else";
  displays->screens.push_back({.id = 8, .bounds = {-700, 0, 300, 300}});
  displays->configurationOutcome = ConfigurationOutcome::NotCompleted;
  EXPECT_FALSE(manager->fixOverlap());
  EXPECT_TRUE(log.take().back().ends_with(": false"));
  displays->configurationOutcome = ConfigurationOutcome::NotBegun;
  EXPECT_FALSE(manager->fixOverlap());
  EXPECT_TRUE(log.take().empty());
}

}  // namespace
}  // namespace tandemview
