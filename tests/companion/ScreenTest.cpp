// The companion as a screen, on a private X server.

#include <gtest/gtest.h>
#include <xcb/screensaver.h>

#include "companion/ClockPattern.h"
#include "companion/NoiseJpeg.h"
#include "companion/PlayedHost.h"
#include "end_to_end/Program.h"
#include "support/PrivateXServer.h"
#include "support/X11TestClient.h"

namespace tandemview {
namespace {

/// The companion's window on a screen that nobody touches.
class ScreenTest : public testing::Test {
 protected:
  /// The clock pattern in the screen's corner, where each pixel of the picture is `scale` pixels wide.
  std::optional<std::uint32_t> shownTicks(std::size_t scale) {
    const std::size_t block = ClockPattern::blockSize * scale;
    const PixelRectangle corner{0, 0, static_cast<int>(ClockPattern::columns * block), static_cast<int>(2 * block)};
    const auto pixels = user.screenshot(corner);
    ClockPattern::Luminances blocks;
    for (std::size_t index = 0; index < blocks.size(); ++index) {
      const std::size_t row = index / ClockPattern::columns * block + block / 2;
      const std::size_t column = index % ClockPattern::columns * block + block / 2;
      blocks[index] = static_cast<std::uint8_t>(pixels[row * ClockPattern::columns * block + column]);
    }
    return ClockPattern::read(blocks);
  }
  /// Of whatever windows there are.
  std::string titles() const {
    Program tree({"/usr/bin/xwininfo", "-root", "-tree"}, {{"DISPLAY", server.displayName()}, {"LC_ALL", "C.UTF-8"}});
    tree.wait();
    return tree.output();
  }
  /// As a window manager would, which isn't there.
  void fillScreen() const {
    const auto windows =
        owned(xcb_query_tree_reply(client->get(), xcb_query_tree(client->get(), client->root()), nullptr));
    ASSERT_EQ(xcb_query_tree_children_length(windows.get()), 1);
    const std::uint32_t place[] = {0, 0, 1280, 800};
    xcb_configure_window(client->get(), *xcb_query_tree_children(windows.get()),
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         place);
  }
  bool isBlank() const {
    return owned(xcb_screensaver_query_info_reply(client->get(),
                                                  xcb_screensaver_query_info(client->get(), client->root()), nullptr))
               ->state == XCB_SCREENSAVER_STATE_ON;
  }

  PrivateXServer server;
  X11TestClient user{server.displayName()};
  std::shared_ptr<X11Connection> client = X11Connection::open(server.displayName());
};

TEST_F(ScreenTest, ShowsWhatArrivesLastAndHowItStands) {
  xcb_set_screen_saver(client->get(), 1, 0, XCB_BLANKING_PREFERRED, XCB_EXPOSURES_ALLOWED);
  Program companion({TANDEMVIEW_COMPANION, "--listen", "127.0.0.1:0", "--window", "--size", "2560x1600"},
                    {{"DISPLAY", server.displayName()}, {"DBUS_SESSION_BUS_ADDRESS", "unix:path=/none"}});
  ASSERT_TRUE(companion.prints("listens at")) << companion.output();
  fillScreen();
  EXPECT_TRUE(Program::within30Seconds([&] { return isBlank(); }));
  {
    const PlayedHost host(companion, 0);
    host.greet();
    host.answerPing();
    std::string burst;
    for (std::uint32_t ticks = 1; ticks <= 5; ++ticks) burst += host.frame(noiseJpeg({1280, 800}, ticks));
    host.send(burst);
    EXPECT_TRUE(Program::within30Seconds([&] { return shownTicks(1) == 5; })) << "while one is decoded, others come";
    host.send(host.frame(noiseJpeg({640, 400}, 6)));
    EXPECT_TRUE(Program::within30Seconds([&] { return shownTicks(2) == 6; })) << "of another size than planned";
    EXPECT_NE(titles().find("connected, 640x400"), std::string::npos) << titles();
    EXPECT_FALSE(isBlank());
  }
  EXPECT_TRUE(Program::within30Seconds([&] { return titles().find("connection lost") != std::string::npos; }));
  EXPECT_TRUE(Program::within30Seconds([&] { return isBlank(); })) << "nobody needs the screen";
  EXPECT_EQ(companion.end(SIGTERM), 1) << "the other size is a fault";
}

}  // namespace
}  // namespace tandemview
