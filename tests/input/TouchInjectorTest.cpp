#include "input/TouchInjector.h"

#include "input/TouchFixture.h"
#include "protocol/Message.h"

namespace tandemview {
namespace {

using TouchInjectorTest = TouchFixture;

constexpr const char* rescueLine = "🖱️ Pointer was on another screen — moved it to the iPhone display";
constexpr const char* rescueMove = "Moved (600.0, 1050.0) button 2 flags 0x0";
constexpr const char* invalidLine = "⚠️ TouchInjector: Invalid touch event data";

Lines click(const std::string& place, int count) {
  return {fmt::format("LeftDown {} button 0 flags 0x0 click {}", place, count), "pause 0.01",
          fmt::format("LeftUp {} button 0 flags 0x0 click {}", place, count)};
}

TEST_F(TouchInjectorTest, ChecksTrustAtFirstWithAPromptAndThenWithout) {
  events->trusted = false;
  TouchInjector untrusted({0, 0, 1290, 2796}, {events, screens, std::make_shared<ManualClock>(time)});
  EXPECT_EQ(log.take(), (Lines{"⚠️ TouchInjector: Accessibility permissions needed",
                               "💡 Go to: System Settings → Privacy & Security → Accessibility"}));
  EXPECT_EQ(events->take(), Lines{"prompt"});

  const Data touch = Data::copying(message("direct", "move", 0, 0, "phase", ""));
  untrusted.handleTouchEvent(touch);
  EXPECT_EQ(log.take(), Lines{"⚠️ TouchInjector: Accessibility permissions not granted"});
  EXPECT_EQ(events->take(), Lines{});

  events->trusted = true;
  untrusted.handleTouchEvent(touch);
  EXPECT_EQ(events->take(), Lines{"Moved (0.0, 0.0) button 2 flags 0x0"});
  EXPECT_EQ(log.take(), Lines{});

  untrusted.checkAccessibility();
  EXPECT_EQ(log.take(), Lines{"✅ TouchInjector: Accessibility permissions granted"});
}

TEST_F(TouchInjectorTest, FindsTheDisplayOfASize) {
  screens->screens = {{1, {1280, 2796}, {0, 0, 1280, 2796}},
                      {7, {1281, 2805}, {-640.5, 0, 640.5, 1402.5}},
                      {8, {1290, 2796}, {0, 0, 1290, 2796}}};
  injector.updateBounds({0, 0, 1290.9, 2796});
  EXPECT_EQ(log.take(), (Lines{"🔍 Looking for display with size 1290x2796", "📺 Scanning 3 displays...",
                               "   Display 1: 1280x2796 at (0.0, 0.0, 1280.0, 2796.0)",
                               "   Display 7: 1281x2805 at (-640.5, 0.0, 640.5, 1402.5)",
                               "✅ Found matching display ID 7: 1281x2805",
                               "🖱️ TouchInjector: Found display at (-640.5, 0.0, 640.5, 1402.5)"}));
  EXPECT_EQ(injector.virtualDisplayID(), 7u);
  EXPECT_EQ(injector.virtualDisplayBounds(), (ScreenRectangle{-640.5, 0, 640.5, 1402.5}));

  injector.setDisplay(8);
  EXPECT_EQ(log.take(), Lines{"🖱️ TouchInjector: Using display 8 at (0.0, 0.0, 1290.0, 2796.0)"});
  EXPECT_EQ(injector.virtualDisplayID(), 8u);
}

TEST_F(TouchInjectorTest, KeepsTheGivenBoundsWithoutSuchADisplay) {
  const std::string fallback = "⚠️ TouchInjector: Could not find display, using bounds: (5.0, 0.0, 300.0, 400.0)";
  const ScreenRectangle bounds = {5, 0, 300, 400};
  screens->screens = {{1, {290, 400}, {0, 0, 290, 400}}};
  injector.updateBounds(bounds);
  EXPECT_EQ(log.take(),
            (Lines{"🔍 Looking for display with size 300x400", "📺 Scanning 1 displays...",
                   "   Display 1: 290x400 at (0.0, 0.0, 290.0, 400.0)", "⚠️ No matching display found", fallback}));
  EXPECT_EQ(injector.virtualDisplayBounds(), bounds);
  EXPECT_EQ(injector.virtualDisplayID(), std::nullopt);

  screens->listsDisplays = false;
  injector.updateBounds(bounds);
  EXPECT_EQ(log.take(), (Lines{"🔍 Looking for display with size 300x400", "❌ Failed to get display list", fallback}));
  screens->countsDisplays = false;
  injector.updateBounds(bounds);
  EXPECT_EQ(log.take(), (Lines{"🔍 Looking for display with size 300x400", "❌ Failed to get display count", fallback}));
}

TEST_F(TouchInjectorTest, CountsDoubleClicks) {
  const struct {
    double seconds, x, y;  // since and away from the tap before
    int expected;
  } cases[] = {{0, 0, 0, 1},   {0.2, 3, 0, 2},   {0.1, 0, 0, 2},  {0.3001, 0, 0, 1},
               {0.2, 3, 4, 1}, {0.2, 2.9, 4, 2}, {0.2, -40, 0, 1}};
  ScreenPoint place = {500, 500};
  for (const auto& each : cases) {
    time->advance(each.seconds);
    place = {place.x + each.x, place.y + each.y};
    direct("tap", (place.x - 100) / 1000, (place.y - 50) / 2000);
    EXPECT_EQ(events->take(), click(fmt::format("({:.1f}, {:.1f})", place.x, place.y), each.expected));
  }
  EXPECT_EQ(log.take().back(), "👆 Tap(1) at (468, 508)");
}

TEST_F(TouchInjectorTest, DragsDirectly) {
  direct("drag", 0, 0, "moved");
  direct("drag", 0, 0, "ended");
  EXPECT_EQ(events->take(), Lines{});
  direct("drag", 0.1, 0.1, "began");
  direct("drag", -0.2, 1.5, "moved");  // fingers may leave the display
  direct("drag", 0.2, 0.2, "stationary");
  direct("drag", 0.2, 0.2, "cancelled");
  direct("drag", 0.2, 0.2, "moved");
  EXPECT_EQ(events->take(), (Lines{"LeftDown (200.0, 250.0) button 0 flags 0x0 click 1",
                                   "LeftDragged (-100.0, 3050.0) button 0 flags 0x0",
                                   "LeftUp (300.0, 450.0) button 0 flags 0x0 click 1"}));
  EXPECT_EQ(log.take(), (Lines{"👇 Drag began at (200, 250)", "👆 Drag ended at (300, 450)"}));
}

TEST_F(TouchInjectorTest, ClicksWhereThePointerIs) {
  trackpad("tap", 0.9, 0.9);
  trackpad("rightclick", 0, 0);
  direct("tap", 0.102, 0.125);  // the same place: the modes share the double click
  EXPECT_EQ(events->take(),
            (Lines{"LeftDown (200.0, 300.0) button 0 flags 0x0 click 1", "pause 0.01",
                   "LeftUp (200.0, 300.0) button 0 flags 0x0 click 1", "RightDown (200.0, 300.0) button 1 flags 0x0",
                   "pause 0.01", "RightUp (200.0, 300.0) button 1 flags 0x0",
                   "LeftDown (202.0, 300.0) button 0 flags 0x0 click 2", "pause 0.01",
                   "LeftUp (202.0, 300.0) button 0 flags 0x0 click 2"}));
  EXPECT_EQ(log.take(),
            (Lines{"🖱️ Click(1) at (200, 300)", "🖱️ Right click at (200, 300)", "👆 Tap(2) at (202, 300)"}));
}

TEST_F(TouchInjectorTest, BringsThePointerBackFromAnotherScreen) {
  for (const char* type : {"tap", "rightclick", "drag"}) {
    events->pointer = ScreenPoint{1100, 300};  // the first column beyond the right edge
    trackpad(type, 0, 0, "began");
    EXPECT_EQ(events->take(), Lines{rescueMove}) << type;
    EXPECT_EQ(log.take(), Lines{rescueLine}) << type;
  }
  trackpad("drag", 0, 0, "ended");  // nothing was pressed
  EXPECT_EQ(events->take(), Lines{});
  trackpad("tap", 0, 0);
  EXPECT_EQ(events->take(), click("(600.0, 1050.0)", 1));
}

TEST_F(TouchInjectorTest, MovesThePointerWithinTheDisplay) {
  trackpad("move", 0.01, -0.01);
  trackpad("move", 2.0, 0);
  trackpad("move", -2.0, 5e8);
  injector.updateBounds({100, 50, 0.5, 2000});
  trackpad("move", 1, 0);
  EXPECT_EQ(events->take(),
            (Lines{"Moved (210.0, 280.0) button 2 flags 0x0", "Moved (1099.0, 280.0) button 2 flags 0x0",
                   "Moved (100.0, 2049.0) button 2 flags 0x0", "Moved (100.0, 2049.0) button 2 flags 0x0"}));
}

TEST_F(TouchInjectorTest, DragsFromThePointer) {
  trackpad("drag", 0.01, 0, "moved");  // without a press: a plain move, whose place is remembered
  events->pointer = ScreenPoint{500, 500};
  trackpad("drag", 0.01, 0, "moved");
  EXPECT_EQ(events->take(),
            (Lines{"Moved (210.0, 300.0) button 2 flags 0x0", "Moved (220.0, 300.0) button 2 flags 0x0"}));

  events->pointer = ScreenPoint{220, 310};
  trackpad("drag", 0, 0, "began");
  events->pointer = ScreenPoint{900, 900};  // a drag goes on from where it was, whatever the pointer does
  trackpad("drag", 0.1, 0.1, "moved");
  trackpad("drag", 0, 0, "");
  trackpad("drag", 0.5, 0.5, "ended");
  EXPECT_EQ(events->take(), (Lines{"LeftDown (220.0, 310.0) button 0 flags 0x0 click 1",
                                   "LeftDragged (320.0, 510.0) button 0 flags 0x0",
                                   "LeftUp (320.0, 510.0) button 0 flags 0x0 click 1"}));
  EXPECT_EQ(log.take(), (Lines{"🖱️ Drag began at (220, 310)", "🖱️ Drag ended"}));
}

TEST_F(TouchInjectorTest, DoesNothingOnTheTrackpadWithoutAPointer) {
  events->pointer.reset();
  for (const char* type : {"tap", "rightclick", "move"}) trackpad(type, 0.1, 0.1);
  for (const char* phase : {"began", "moved", "ended"}) trackpad("drag", 0.1, 0.1, phase);
  EXPECT_EQ(events->take(), Lines{});
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(TouchInjectorTest, AlwaysLetsGoOfTheButton) {
  const std::string place = "LeftUp (200.0, 250.0) button 0 flags 0x0 click 1";
  direct("drag", 0.1, 0.1, "began");
  events->pointer.reset();  // the release must not depend on it
  events->take();
  trackpad("drag", 0, 0, "cancelled");
  EXPECT_EQ(events->take(), Lines{place});

  direct("drag", 0, 0, "began");
  direct("drag", 0.1, 0.1, "moved");
  events->take();
  injector.releaseHeldButton();
  injector.releaseHeldButton();
  direct("drag", 0.1, 0.1, "ended");
  EXPECT_EQ(events->take(), Lines{place});

  {
    TouchInjector shortLived({0, 0, 100, 100}, {events, screens, std::make_shared<ManualClock>(time)});
    shortLived.handleTouchEvent(Data::copying(message("direct", "drag", 0, 0, "phase", "began")));
    EXPECT_FALSE(events->heldButtons().empty());
  }
  EXPECT_TRUE(events->heldButtons().empty());
}

TEST_F(TouchInjectorTest, TellsUnknownTypesApartByMode) {
  for (const char* type : {"rightclick", "scroll", "zoom", "swipe", "gesture", "Tap"}) {
    direct(type, 1, 1);
    EXPECT_EQ(log.take(), Lines{std::string("⚠️ TouchInjector: Unknown touch type: ") + type});
  }
  send(R"({"type":"rightclick","x":0,"y":0,"mode":"Trackpad"})");  // case matters: this is direct mode
  EXPECT_EQ(log.take(), Lines{"⚠️ TouchInjector: Unknown touch type: rightclick"});
  trackpad("Tap", 1, 1);
  EXPECT_EQ(log.take(), Lines{"⚠️ Unknown touch type: Tap"});
  EXPECT_EQ(events->take(), Lines{});
}

TEST_F(TouchInjectorTest, APlaceBeyondAllSenseStopsNothingThatDoesNotUseIt) {
  trackpad("tap", 1e300, -1e300);
  EXPECT_EQ(events->take(), click("(200.0, 300.0)", 1));
  trackpad("move", 1e300, -1e300);
  trackpad("drag", -1e308, 1e308, "moved");
  EXPECT_EQ(events->take(),
            (Lines{"Moved (1099.0, 50.0) button 2 flags 0x0", "Moved (100.0, 2049.0) button 2 flags 0x0"}));
  log.take();
  direct("scroll", 1e300, 0);
  EXPECT_EQ(log.take(), Lines{"⚠️ TouchInjector: Unknown touch type: scroll"});
  direct("drag", 1e300, 0, "moved");
  direct("drag", 1e300, 0, "resting");
  EXPECT_EQ(log.take(), Lines{});
  direct("drag", 0.1, 0.1, "began");
  direct("drag", 1e300, 0, "ended");
  EXPECT_EQ(events->take().back(), "LeftUp (200.0, 250.0) button 0 flags 0x0 click 1");
}

TEST_F(TouchInjectorTest, DropsWhatItCannotRead) {
  direct("drag", 0, 0, "began");
  log.take();
  events->take();
  const std::string tooLong(MacProtocol::longestMessage, 'm');
  for (const std::string& payload :
       Lines{"", "tap", R"(["type","x","y","mode"])", std::string(200'000, '['), R"({"type":"tap","x":0.5,"y":0.5})",
             R"({"type":"tap","x":0.5,"y":0.5,"mode":1})", R"({"type":["tap"],"x":0.5,"y":0.5,"mode":""})",
             R"({"type":"tap","x":"0.5","y":0.5,"mode":""})", R"({"type":"tap","x":true,"y":0.5,"mode":""})",
             R"({"type":"tap","x":1,"mode":""})", R"({"type":"tap","x":0,"y":1e300,"mode":""})",
             R"({"type":"tap","x":1e999,"y":0,"mode":""})", R"({"type":"move","x":-1e300,"y":0,"mode":""})",
             R"({"type":"drag","phase":"began","x":0,"y":1e300,"mode":""})",
             R"({"type":"drag","phase":"moved","x":0,"y":1e300,"mode":""})",
             R"({"type":"scroll","x":2147483649,"y":0,"mode":"trackpad"})",
             R"({"type":"scroll","x":0,"y":-18446744073709551616,"mode":"trackpad"})",
             "{\"type\":\"\xff\",\"x\":0,\"y\":0,\"mode\":\"\"}",
             R"({"type":"tap","x":0,"y":0,"mode":")" + tooLong + "\"}"}) {
    send(payload);
    EXPECT_EQ(log.take(), Lines{invalidLine}) << payload.substr(0, 80);
  }
  injector.updateBounds({0, 0, 8e18, 8e18});  // sizes come from the phone too
  log.take();
  direct("tap", 2, 0);
  EXPECT_EQ(log.take(), Lines{invalidLine});
  EXPECT_EQ(events->take(), Lines{});
}

}  // namespace
}  // namespace tandemview
