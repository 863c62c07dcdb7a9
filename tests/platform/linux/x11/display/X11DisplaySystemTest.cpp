#include "platform/linux/x11/display/X11DisplaySystem.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <future>

#include "fakes/LogRecorder.h"
#include "platform/linux/x11/display/ReducedBlanking.h"
#include "platform/linux/x11/server/Edid.h"
#include "platform/linux/x11/server/ModeName.h"
#include "platform/linux/x11/server/X11Screens.h"
#include "runtime/SerialQueue.h"
#include "support/PrivateXServer.h"
#include "support/X11TestClient.h"

namespace tandemview {
namespace {

VirtualDisplaySettings settingsFor(std::uint32_t width, std::uint32_t height) {
  return {.modes = {{.width = width, .height = height, .refreshRate = 60}}};
}

class X11DisplaySystemTest : public testing::Test {
 protected:
  std::shared_ptr<VirtualDisplay> litDisplay(std::uint32_t width, std::uint32_t height) {
    auto display = system_->makeVirtualDisplay({}).display;
    EXPECT_TRUE(display && display->applySettings(settingsFor(width, height)) == ApplyOutcome::Applied);
    return display;
  }

  PrivateXServer server_;
  X11TestClient client_{server_.displayName()};
  std::unique_ptr<X11DisplaySystem> system_ = std::make_unique<X11DisplaySystem>(server_.displayName());
  const X11Screens screens_{server_.displayName()};
  const DisplayID main_ = client_.outputNamed("DUMMY0");
};

TEST_F(X11DisplaySystemTest, TheScreenGrowsAndShrinksWithTheDisplayAndIsLeftAsItWas) {
  client_.xrandr("--output DUMMY0 --primary");
  const std::string before = client_.arrangement();
  const auto display = system_->makeVirtualDisplay({}).display;
  EXPECT_EQ(client_.arrangement(), before) << "making a display shows nothing";

  const struct {
    std::uint32_t width, height, screenWidth, screenHeight;
  } sizes[] = {{644, 1398, 2678, 1398}, {1398, 644, 2678, 1398}, {2048, 2732, 4012, 2732}, {532, 640, 1920, 800}};
  for (const auto& size : sizes) {
    ASSERT_EQ(display->applySettings(settingsFor(size.width, size.height)), ApplyOutcome::Applied);
    EXPECT_EQ(screens_.activeDisplays(1), std::vector<DisplayID>{main_});
    EXPECT_EQ(screens_.bounds(client_.outputNamed("DUMMY2")), ScreenRectangle()) << "dark";
    const RandrLayout layout = client_.layout();
    EXPECT_EQ(layout.screenWidth, size.screenWidth);
    EXPECT_EQ(layout.screenHeight, size.screenHeight);
  }

  const DisplayID id = display->displayID().value();
  EXPECT_EQ(system_->configureOrigin(id, 1500, 1000), ConfigurationOutcome::Completed);
  EXPECT_EQ(screens_.bounds(id), (ScreenRectangle{1500, 1000, 532, 640}));
  EXPECT_EQ(client_.layout().screenHeight, 1640U);
  EXPECT_EQ(system_->configureOrigin(id, -532, 100), ConfigurationOutcome::NotCompleted);
  EXPECT_EQ(screens_.bounds(id), (ScreenRectangle{1500, 1000, 532, 640}));
  EXPECT_EQ(screens_.bounds(main_), (ScreenRectangle{0, 0, 1280, 800}));
  EXPECT_EQ(system_->configureOrigin(id, 32500, 0), ConfigurationOutcome::NotCompleted) << "beyond the largest";

  display->terminate();
  EXPECT_EQ(display->displayID(), std::nullopt);
  EXPECT_EQ(client_.arrangement(), before);
  EXPECT_EQ(display->applySettings({}), ApplyOutcome::Applied) << "a second removal changes nothing";
  EXPECT_EQ(client_.arrangement(), before);
}

TEST_F(X11DisplaySystemTest, EveryWayToEndADisplayRemovesIt) {
  const std::string before = client_.arrangement();
  litDisplay(644, 1398)->applySettings({});
  EXPECT_EQ(client_.arrangement(), before);
  litDisplay(644, 1398).reset();
  EXPECT_EQ(client_.arrangement(), before);
  const auto kept = litDisplay(644, 1398);
  const auto second = litDisplay(532, 640);
  EXPECT_NE(kept->displayID(), second->displayID());
  system_ = nullptr;
  EXPECT_EQ(client_.arrangement(), before);
  EXPECT_EQ(kept->applySettings(settingsFor(644, 1398)), ApplyOutcome::Refused) << "after the system's end";
  EXPECT_EQ(client_.arrangement(), before);
}

TEST_F(X11DisplaySystemTest, ARefusedSizeIsToldAndChangesNothing) {
  const std::string before = client_.arrangement();
  const auto display = system_->makeVirtualDisplay({}).display;
  LogRecorder log;
  EXPECT_EQ(display->applySettings(settingsFor(32000, 100)), ApplyOutcome::Refused)
      << "wider than any screen, beside 1280";
  const auto lines = log.take();
  ASSERT_EQ(lines.size(), 15U) << "each spare output is asked";
  EXPECT_TRUE(lines.front().starts_with("⚠️ Output DUMMY1 refused 32000x100: ")) << lines.front();
  EXPECT_TRUE(lines.front().ends_with("larger than the largest, 32767x32767")) << lines.front();
  EXPECT_EQ(display->applySettings(settingsFor(0, 100)), ApplyOutcome::Refused);
  EXPECT_EQ(client_.arrangement(), before);
  ASSERT_EQ(display->applySettings(settingsFor(644, 1398)), ApplyOutcome::Applied);
  const std::string lit = client_.arrangement();
  EXPECT_EQ(display->applySettings(settingsFor(644, 33000)), ApplyOutcome::Refused);
  EXPECT_EQ(client_.arrangement(), lit);
}

TEST_F(X11DisplaySystemTest, AnOutputIsOursOnlyWhileItShowsOurModeAlone) {
  const struct {
    const char* what;
    std::function<void(xcb_randr_output_t)> happens;
  } losses[] = {{"darkened", [this](xcb_randr_output_t output) { client_.darken(output); }},
                {"another mode", [this](xcb_randr_output_t output) {
                   client_.darken(output);
                   client_.light("DUMMY1");
                 }}};
  for (const auto& loss : losses) {
    SCOPED_TRACE(loss.what);
    auto display = litDisplay(644, 1398);
    const DisplayID output = display->displayID().value();
    loss.happens(output);
    const std::string theirs = client_.arrangement();
    EXPECT_EQ(display->displayID(), std::nullopt);
    EXPECT_EQ(display->applySettings(settingsFor(1398, 644)), ApplyOutcome::Refused);
    EXPECT_EQ(client_.arrangement(), theirs) << "a rotation";
    display = nullptr;
    const bool isDark = !client_.layout().activeCrtc(output);
    EXPECT_EQ(litDisplay(644, 1398)->displayID() == output, isDark) << "lit again if nobody else has it";
  }
  system_ = nullptr;
  EXPECT_EQ(client_.layout().activeOutputs().size(), 2U) << "what has become somebody's is left alone";
}

TEST_F(X11DisplaySystemTest, NeedsASpareOutput) {
  for (int index = 1; index < 15; ++index) client_.light("DUMMY" + std::to_string(index));
  {
    const auto last = litDisplay(644, 1398);
    EXPECT_EQ(last->displayID(), client_.outputNamed("DUMMY15"));
    EXPECT_TRUE(system_->hasDisplayClass() && system_->hasSettingsClass()) << "the output in use is ours";
    EXPECT_EQ(last->applySettings(settingsFor(532, 640)), ApplyOutcome::Applied);
  }
  EXPECT_TRUE(system_->hasDisplayClass());
  client_.light("DUMMY15");
  EXPECT_FALSE(system_->hasDescriptorClass());
  EXPECT_FALSE(system_->hasDisplayClass());
  EXPECT_FALSE(system_->hasSettingsClass());
  EXPECT_FALSE(system_->hasModeClass());
  EXPECT_EQ(system_->makeVirtualDisplay({}).outcome, CreationOutcome::NothingReturned);
}

/// As the capture's thread does while the main one asks for permissions.
TEST(X11ConnectionTest, ThreadsOpenTheirsAtOnce) {
  const PrivateXServer server;
  std::vector<std::future<bool>> opened;
  for (int thread = 0; thread < 4; ++thread) {
    opened.push_back(
        std::async(std::launch::async, [&] { return X11Connection::open(server.displayName()) != nullptr; }));
  }
  for (auto& each : opened) EXPECT_TRUE(each.get());
}

TEST(RandrLayout, SparesOutputsWithHardwareAndPrefersThoseMadeForThePurpose) {
  constexpr auto connected = XCB_RANDR_CONNECTION_CONNECTED;
  constexpr auto disconnected = XCB_RANDR_CONNECTION_DISCONNECTED;
  const struct {
    const char* name;
    xcb_randr_connection_t connection;
    xcb_randr_crtc_t crtc;
  } rows[] = {{"eDP-1", disconnected, XCB_NONE},
              {"HDMI-1", disconnected, XCB_NONE},
              {"HDMI-2", connected, XCB_NONE},
              {"VGA-1", XCB_RANDR_CONNECTION_UNKNOWN, XCB_NONE},
              {"DP-1", connected, 1},
              {"DVI-I-1-1", connected, XCB_NONE},
              {"Virtual-1", connected, XCB_NONE},
              {"VIRTUAL1", connected, XCB_NONE},
              {"DUMMY1", disconnected, 1}};
  RandrLayout layout;
  layout.crtcs = {{.id = 1, .width = 100, .height = 100, .mode = 9}, {.id = 2}};
  for (const auto& row : rows) {
    layout.outputs.push_back({.id = static_cast<xcb_randr_output_t>(layout.outputs.size() + 1),
                              .name = row.name,
                              .connection = row.connection,
                              .crtc = row.crtc,
                              .possibleCrtcs = {1, 2},
                              .modes = {}});
  }
  std::string spare;
  for (const RandrLayout::Output* const output : layout.spareOutputs()) spare += output->name + " ";
  EXPECT_EQ(spare, "VIRTUAL1 DVI-I-1-1 HDMI-1 ");

  layout.crtcs[1].mode = 9;
  EXPECT_TRUE(layout.spareOutputs().empty()) << "no CRTC is free";
}

/// A run of the program that shows a display and then waits for its end.
class OtherRun {
 public:
  explicit OtherRun(const std::string& displayName) {
    std::array<int, 2> ready{};
    EXPECT_EQ(::pipe(ready.data()), 0);
    process_ = ::fork();
    if (process_ == 0) {
      RandrScreen screen(displayName, X11Connection::open(displayName));
      const auto shown = screen.show({.width = 644, .height = 1398, .refreshRate = 60}, std::nullopt);
      if (shown) [[maybe_unused]]
        const auto written = ::write(ready[1], "!", 1);
      for (;;) ::pause();
    }
    ::close(ready[1]);
    char byte = 0;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    ::close(ready[0]);
  }
  ~OtherRun() { kill(); }

  void kill() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    process_ = 0;
  }

 private:
  pid_t process_ = 0;
};

TEST_F(X11DisplaySystemTest, RemovesWhatAKilledRunLeftButNothingOfALivingOne) {
  system_ = nullptr;
  const std::string before = client_.arrangement();
  OtherRun killed(server_.displayName());
  const std::string withOne = client_.arrangement();
  EXPECT_NE(withOne, before);
  system_ = std::make_unique<X11DisplaySystem>(server_.displayName());
  EXPECT_EQ(client_.arrangement(), withOne) << "it lives";
  killed.kill();
  system_ = std::make_unique<X11DisplaySystem>(server_.displayName());
  EXPECT_EQ(client_.arrangement(), before);

  OtherRun killedMidway(server_.displayName());
  killedMidway.kill();
  client_.darken(client_.outputNamed("DUMMY1"));
  system_ = std::make_unique<X11DisplaySystem>(server_.displayName());
  EXPECT_EQ(client_.arrangement(), before) << "the screen had grown, the output was not lit";
}

TEST_F(X11DisplaySystemTest, TellsOfWhatOthersRearrange) {
  const auto display = litDisplay(644, 1398);
  const auto queue = std::make_shared<SerialQueue>();
  RandrScreen other(server_.displayName(), X11Connection::open(server_.displayName()));
  int changes = 0;
  system_->onArrangementChange(queue, [&] {
    ++changes;
    if (screens_.bounds(*display->displayID()).y == 200) queue->stop();
  });
  queue->after(10, [&queue] { queue->stop(); });
  queue->async([&] { other.move(*display->displayID(), 1280, 200); });
  queue->run();
  EXPECT_GT(changes, 0);
  EXPECT_EQ(screens_.bounds(*display->displayID()).y, 200);
  system_ = nullptr;  // before its queue
}

TEST_F(X11DisplaySystemTest, ACopyInAContainerLeavesItAlone) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, for a PID namespace";
  const auto display = litDisplay(644, 1398);
  const std::string lit = client_.arrangement();
  const pid_t outside = ::fork();
  if (outside == 0) {
    if (::unshare(CLONE_NEWPID) != 0) ::_exit(1);
    const pid_t inside = ::fork();
    if (inside == 0) {
      { const X11DisplaySystem other(server_.displayName()); }
      ::_exit(0);
    }
    int status = 1;
    ::waitpid(inside, &status, 0);
    ::_exit(status == 0 ? 0 : 1);
  }
  int status = 1;
  ::waitpid(outside, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(client_.arrangement(), lit);
}

TEST_F(X11DisplaySystemTest, LeavesAloneAServerThatTookTheNameOfItsOwn) {
  const auto connection = X11Connection::open(server_.displayName());
  RandrScreen theirs(server_.displayName(), connection);
  const RandrScreen::Shown shown = theirs.show({.width = 644, .height = 1398, .refreshRate = 60}, std::nullopt).value();
  const std::string arrangement = client_.arrangement();
  const PrivateXServer former;
  RandrScreen ours(server_.displayName(), X11Connection::open(former.displayName()));
  EXPECT_FALSE(ours.show({.width = 532, .height = 640, .refreshRate = 60}, shown));
  EXPECT_FALSE(ours.show({.width = 532, .height = 640, .refreshRate = 60}, std::nullopt));
  EXPECT_FALSE(ours.move(shown.output, 1300, 0));
  EXPECT_FALSE(ours.selectMode(shown.output, client_.layout().activeCrtc(main_)->mode));
  ours.hide(shown);
  ours.close();
  EXPECT_EQ(client_.arrangement(), arrangement);
}

TEST_F(X11DisplaySystemTest, SurvivesTheServersEndAndTellsOfIt) {
  const auto display = litDisplay(644, 1398);
  const DisplayID id = display->displayID().value();
  const auto queue = std::make_shared<SerialQueue>();
  system_->watch(queue, [&queue] { queue->stop(); });
  queue->async([this] { server_.kill(); });
  queue->run();
  EXPECT_EQ(screens_.activeDisplayCount(), std::nullopt);
  EXPECT_EQ(screens_.activeDisplays(1), std::nullopt);
  EXPECT_EQ(screens_.bounds(id), ScreenRectangle());
  EXPECT_EQ(system_->currentMode(id), std::nullopt);
  EXPECT_FALSE(system_->hasDisplayClass());
  EXPECT_EQ(display->applySettings(settingsFor(532, 640)), ApplyOutcome::Refused);
  EXPECT_EQ(system_->configureOrigin(id, 0, 0), ConfigurationOutcome::NotCompleted);
  system_ = nullptr;

  X11DisplaySystem without(server_.displayName());
  EXPECT_FALSE(without.hasDisplayClass());
  EXPECT_EQ(without.configureOrigin(id, 0, 0), ConfigurationOutcome::NotBegun);
}

TEST(ReducedBlanking, MakesModesOfExactlyTheSizeAtSixtyHertz) {
  for (const auto& [width, height] : {std::pair(644U, 1398U), {532U, 640U}, {2048U, 2732U}, {7680U, 4320U}}) {
    const auto timing = reducedBlankingTiming({.width = width, .height = height, .refreshRate = 60});
    ASSERT_TRUE(timing);
    EXPECT_EQ(timing->width, width);
    EXPECT_EQ(timing->height, height);
    EXPECT_NEAR(double(timing->dot_clock) / timing->htotal / timing->vtotal, 60, 0.0001);
    EXPECT_TRUE(width < timing->hsync_start && timing->hsync_start < timing->hsync_end);
    EXPECT_TRUE(timing->hsync_end < timing->htotal && timing->vsync_end < timing->vtotal);
  }
  for (const VirtualDisplayMode& mode : {VirtualDisplayMode{0, 100, 60},
                                         {100, 0, 60},
                                         {65535, 100, 60},
                                         {100, 65535, 60},
                                         {60000, 60000, 60},
                                         {100, 100, 0},
                                         {100, 100, 1e9}}) {
    EXPECT_FALSE(reducedBlankingTiming(mode)) << mode.width << "x" << mode.height << "@" << mode.refreshRate;
  }
}

TEST(ModeName, TellsItsOwner) {
  EXPECT_EQ(modeOwner(newModeName("0a1b", 644, 1398)), "0a1b");
  EXPECT_NE(newModeName("0a1b", 644, 1398), newModeName("0a1b", 644, 1398));
  for (const char* const foreign :
       {"1280x800", "tandemview-", "tandemview-x", "tandemview-12", "tandemview--3-1x1-1", "tandemview-1g-1x1-1", ""}) {
    EXPECT_EQ(modeOwner(foreign), std::nullopt) << foreign;
  }
}

std::vector<std::byte> edidWithName(std::size_t descriptor, std::string_view text) {
  std::vector<std::byte> edid(128);
  for (std::size_t index = 1; index < 7; ++index) edid[index] = std::byte{0xFF};
  const std::size_t offset = 54 + 18 * descriptor;
  edid[offset + 3] = std::byte{0xFC};
  for (std::size_t index = 0; index < text.size(); ++index) edid[offset + 5 + index] = std::byte(text[index]);
  // A detailed timing in front, as in real ones: its first bytes are a clock.
  if (descriptor > 0) edid[54] = std::byte{0x01};
  return edid;
}

TEST(Edid, FindsTheProductName) {
  EXPECT_EQ(edidProductName(edidWithName(0, "Short\n       ")), "Short");
  EXPECT_EQ(edidProductName(edidWithName(3, "Thirteen long")), "Thirteen long");
  EXPECT_EQ(edidProductName(edidWithName(1, "A\xFF\x01\x7F z  \n")), "A z");
  EXPECT_EQ(edidProductName(edidWithName(1, "\n")), std::nullopt);
  std::vector<std::byte> edid = edidWithName(3, "Thirteen long");
  for (std::size_t size = 0; size < edid.size(); ++size) {
    EXPECT_EQ(edidProductName(std::span(edid).first(size)), std::nullopt) << size;
  }
  edid[0] = std::byte{1};
  EXPECT_EQ(edidProductName(edid), std::nullopt);
}

}  // namespace
}  // namespace tandemview
