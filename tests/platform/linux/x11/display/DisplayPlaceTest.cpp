#include "platform/linux/places/DisplayPlace.h"

#include <gtest/gtest.h>

#include "fakes/ManualQueue.h"
#include "fakes/MemoryUserDefaults.h"
#include "platform/linux/x11/display/RandrArrangement.h"
#include "platform/linux/x11/display/X11DisplaySystem.h"
#include "support/PrivateXServer.h"
#include "support/X11TestClient.h"

namespace tandemview {
namespace {

struct Rectangle {
  int x, y, width, height;
};

/// A main screen "A", a screen "B" and the virtual display "V", with the numbers 1 to 3.
Arrangement arrangementOf(const Rectangle& main, const std::optional<Rectangle>& second, const Rectangle& own) {
  Arrangement arrangement;
  const auto add = [&](std::uint32_t id, const char* name, const std::optional<Rectangle>& r) {
    if (r) arrangement.push_back({id, name, r->x, r->y, r->width, r->height, id == 1});
  };
  add(1, "A", main);
  add(2, "B", second);
  add(3, "V", own);
  return arrangement;
}

TEST(DisplayPlaceTest, SaysWhereOneIsInTermsOfItsNeighbour) {
  const Rectangle main = {1000, 1000, 1280, 800};
  struct Row {
    Rectangle own;
    std::optional<Rectangle> second;
    const char* text;                   // nothing: no place
    DisplayPlace::Point withLargeMain;  // of 1920x1080, at the same origin, the second one 640 to the right
    DisplayPlace::Point turned;         // with the large one
  };
  const std::vector<Row> rows = {
      {{2280, 1000, 600, 1200}, {}, "after 0 start 0 A", {2920, 1000}, {2920, 1000}},
      {{2280, 600, 600, 1200}, {}, "after 0 end 0 A", {2920, 880}, {2920, 1480}},
      {{2280, 800, 600, 1200}, {}, "after 0 center 0 A", {2920, 940}, {2920, 1240}},
      {{2400, 1030, 600, 1200}, {}, "after 0 start 30 A", {2920, 1030}, {2920, 1030}},
      {{400, 1000, 600, 1200}, {}, "before 0 start 0 A", {400, 1000}, {-200, 1000}},
      {{1680, -200, 600, 1200}, {}, "end 0 before 0 A", {2320, -200}, {1720, 400}},
      {{2280, 1800, 600, 1200}, {}, "after 0 after 0 A", {2920, 2080}, {2920, 2080}},
      {{2880, 1000, 600, 1200}, Rectangle{2280, 1000, 600, 800}, "after 0 start 0 B", {3520, 1000}, {3520, 1000}},
      {{1680, 1800, 600, 1200}, Rectangle{2280, 1000, 600, 800}, "end 0 after 0 A", {2320, 2080}, {1720, 2080}},
      {{2280, 1800, 600, 1200}, Rectangle{2280, 1000, 600, 800}, "start 0 after 0 B", {2920, 1800}, {2920, 1800}},
      {{1100, 1100, 600, 1200}, {}, nullptr, {}, {}},
      {{2880, 1000, 600, 1200}, Rectangle{2900, 1000, 600, 800}, nullptr, {}, {}},
  };
  for (const Row& row : rows) {
    const auto place = DisplayPlace::of(arrangementOf(main, row.second, row.own), 3);
    ASSERT_EQ(place.has_value(), row.text != nullptr) << row.own.x;
    if (!place) continue;
    EXPECT_EQ(place->text(), row.text);
    EXPECT_EQ(DisplayPlace::parse(row.text), place);
    std::optional<Rectangle> second = row.second;
    if (second) second->x += 640;
    const Arrangement large = arrangementOf({1000, 1000, 1920, 1080}, second, row.own);
    for (const auto& [size, expected] :
         {std::pair(std::pair(600, 1200), row.withLargeMain), {{1200, 600}, row.turned}}) {
      const auto origin = place->origin(large, 3, size.first, size.second);
      ASSERT_TRUE(origin);
      EXPECT_EQ(std::pair(origin->x, origin->y), std::pair(expected.x, expected.y)) << row.text;
    }
  }
}

TEST(DisplayPlaceTest, AnyTextLeadsToSomeScreensSide) {
  const Arrangement alone = arrangementOf({0, 0, 1280, 800}, {}, {1280, 0, 600, 1200});
  // A screen that is not there any more: the main one stands in. Far off: still abreast.
  EXPECT_EQ(DisplayPlace::parse("after 0 start 0 HDMI-1")->origin(alone, 3, 600, 1200)->x, 1280);
  EXPECT_EQ(DisplayPlace::parse("after 0 start 2000000000 A")->origin(alone, 3, 600, 1200)->y, 799);
  EXPECT_EQ(DisplayPlace::parse("end -2000000000 after 0 A")->origin(alone, 3, 600, 1200)->x, -599);
  const Arrangement two = arrangementOf({0, 0, 1280, 800}, Rectangle{100, 800, 1024, 768}, {1280, 0, 600, 1200});
  EXPECT_FALSE(DisplayPlace::parse("start 0 after 0 A")->origin(two, 3, 600, 1200)) << "over the second screen";
  EXPECT_EQ(DisplayPlace::parse("after 0 start 0 A with blanks")->neighbour, "A with blanks");
  for (const char* text :
       {"", "after", "after 0 start 0", "after 0 start 0 ", "after x start 0 A", "beside 0 start 0 A"}) {
    EXPECT_FALSE(DisplayPlace::parse(text)) << text;
  }
}

class X11PlaceTest : public testing::Test {
 protected:
  X11PlaceTest() {
    system_.watch(queue_, [] {});
  }

  void apply(std::uint32_t width, std::uint32_t height) {
    ASSERT_EQ(display_->applySettings({.modes = {{.width = width, .height = height, .refreshRate = 60}}}),
              ApplyOutcome::Applied);
  }
  std::string placeOf(const std::string& output) {
    const RandrLayout layout = client_.layout();
    const auto* const crtc = layout.activeCrtc(client_.outputNamed(output));
    return crtc ? std::to_string(crtc->x) + "," + std::to_string(crtc->y) : "dark";
  }
  std::optional<std::string> kept() { return settings_->string("displayPlace.644x1398"); }

  const std::shared_ptr<ManualQueue> queue_ = ManualQueue::make();
  const std::shared_ptr<MemoryUserDefaults> settings_ = std::make_shared<MemoryUserDefaults>();
  PrivateXServer server_;
  X11TestClient client_{server_.displayName()};
  X11DisplaySystem system_{server_.displayName(), settings_};
  std::shared_ptr<VirtualDisplay> display_ = system_.makeVirtualDisplay({}).display;
};

TEST_F(X11PlaceTest, OnlyWhatTheUserHasArrangedIsKept) {
  apply(644, 1398);
  const DisplayID id = *display_->displayID();
  system_.configureOrigin(id, 1400, 20);
  apply(1398, 644);
  queue_->drain();
  EXPECT_EQ(kept(), std::nullopt) << "our own doing";
  client_.xrandr("--output DUMMY1 --same-as DUMMY0");
  display_->terminate();
  EXPECT_EQ(kept(), std::nullopt) << "over another screen";
  apply(644, 1398);
  client_.xrandr("--addmode DUMMY9 1280x800");
  client_.xrandr("--output DUMMY9 --mode 1280x800 --left-of DUMMY0");
  queue_->drain();
  EXPECT_EQ(placeOf("DUMMY1"), "2560,0");
  client_.xrandr("--output DUMMY9 --right-of DUMMY1");
  client_.xrandr("--output DUMMY9 --off");
  display_->terminate();
  EXPECT_EQ(kept(), std::nullopt) << "other screens came and went";

  apply(644, 1398);
  client_.xrandr("--output DUMMY1 --left-of DUMMY0");
  EXPECT_TRUE(queue_->drainUntil([&] { return kept() == "before 0 start 0 DUMMY0"; })) << "noticed at once";
  display_->terminate();

  // The last moment is early enough, before the server's notice has been read.
  apply(644, 1398);
  client_.xrandr("--output DUMMY1 --below DUMMY0");
  display_->terminate();
  EXPECT_EQ(kept(), "start 0 after 0 DUMMY0");
}

TEST_F(X11PlaceTest, WhereAPlaceDoesNotFitTheUsualOneIsTaken) {
  settings_->setString("displayPlace.100x32700", "start 0 before 0 DUMMY0");
  apply(100, 32700);
  EXPECT_EQ(placeOf("DUMMY1"), "1280,0");
  EXPECT_EQ(placeOf("DUMMY0"), "0,0");
}

}  // namespace
}  // namespace tandemview
