#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <filesystem>
#include <future>
#include <mutex>
#include <random>
#include <stdexcept>

#include "platform/linux/picture/FramePacer.h"
#include "platform/linux/picture/TurboJpegImageEncoder.h"
#include "platform/linux/x11/capture/X11CaptureSystem.h"
#include "platform/linux/x11/display/RandrScreen.h"
#include "runtime/SerialQueue.h"
#include "support/PrivateXServer.h"
#include "support/UntrustedCookie.h"
#include "support/X11TestClient.h"

namespace tandemview {
namespace {

using namespace std::chrono_literals;

constexpr auto patience = 10s;
constexpr std::uint32_t red = 0xFF0000;
constexpr std::uint32_t green = 0x00FF00;
constexpr std::uint32_t blue = 0x0000FF;
constexpr std::uint32_t yellow = 0xFFFF00;  // the cursor

std::uint32_t pixelAt(const PixelBuffer& buffer, int x, int y) {
  std::uint32_t pixel = 0;
  std::memcpy(&pixel, buffer.baseAddress() + static_cast<std::size_t>(y) * buffer.bytesPerRow() + 4 * x, 4);
  return pixel & 0xFFFFFF;
}

std::vector<std::uint32_t> pixelsOf(const PixelBuffer& buffer) {
  std::vector<std::uint32_t> pixels;
  for (int y = 0; y < buffer.height(); ++y) {
    for (int x = 0; x < buffer.width(); ++x) pixels.push_back(pixelAt(buffer, x, y));
  }
  return pixels;
}

/// How much of the cursor lies over the display when the pointer is at (x, y).
std::int64_t areaOfCursorAt(int x, int y) {
  const int width = std::min(x + 16, 1480) - std::max(x, 1280);
  const int height = std::min(y + 16, 300) - y;
  return std::max(width, 0) * std::max(height, 0);
}

using Damage = std::vector<PixelRectangle>;

/// A virtual display of 200x300 at (1280, 0) and a stream of it, with the pictures that it has delivered.
class X11CaptureTest : public testing::Test {
 protected:
  using Picture = std::shared_ptr<PixelBuffer>;

  void SetUp() override {
    client_.setSquareCursor(0xFFFF, 0xFFFF, 0);
    client_.movePointer(10, 10);
    shown_ = screen_.show({.width = 200, .height = 300, .refreshRate = 60}, std::nullopt);
    ASSERT_TRUE(shown_);
    configuration_ = {.displayID = shown_->output, .width = 200, .height = 300, .minimumFrameInterval = 0.001};
  }

  void TearDown() override {
    stream_ = nullptr;
    pictures_.clear();
  }

  std::optional<Error> start() {
    const auto stream = system_.makeStream(configuration_, {.sampleQueue = queue_,
                                                            .didOutputSample =
                                                                [this](SampleType, Picture picture) {
                                                                  if (onPicture_) onPicture_();
                                                                  const std::lock_guard lock(mutex_);
                                                                  pictures_.push_back(std::move(picture));
                                                                  changed_.notify_all();
                                                                },
                                                            .didStopWithError =
                                                                [this](const Error& error) {
                                                                  const std::lock_guard lock(mutex_);
                                                                  error_ = error;
                                                                  changed_.notify_all();
                                                                }});
    if (!stream) return stream.error();
    stream_ = *stream;
    std::promise<std::optional<Error>> started;
    stream_->startCapture([&started](const std::optional<Error>& error) { started.set_value(error); });
    return started.get_future().get();
  }

  static std::future<Result<std::vector<CapturableDisplay>>> askForContent(X11CaptureSystem& system) {
    const auto listed = std::make_shared<std::promise<Result<std::vector<CapturableDisplay>>>>();
    system.shareableContent(false, true, [listed](const auto& content) { listed->set_value(content); });
    return listed->get_future();
  }

  void stop() {
    std::promise<void> stopped;
    stream_->stopCapture([&stopped](const std::optional<Error>&) { stopped.set_value(); });
    stopped.get_future().get();
  }

  /// The oldest picture that nobody has asked for yet. The test ends if none comes.
  Picture next() {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, patience, [this] { return !pictures_.empty(); })) {
      throw std::runtime_error("no picture");
    }
    Picture picture = std::move(pictures_.front());
    pictures_.pop_front();
    return picture;
  }

  /// The first picture with this pixel: how many come before it depends on who was faster.
  Picture nextShowing(int x, int y, std::uint32_t color) {
    Picture picture = next();
    while (pixelAt(*picture, x, y) != color) picture = next();
    return picture;
  }

  void restart() {
    stop();
    error_ = std::nullopt;
    pictures_.clear();
    EXPECT_EQ(start(), std::nullopt);
    next();
  }

  /// Lets the stream do whatever there is to do: it runs when its queue gets to it.
  void runQueue() {
    std::promise<void> reached;
    queue_->async([&reached] { reached.set_value(); });
    reached.get_future().get();
  }

  std::size_t waitingPictures() {
    const std::lock_guard lock(mutex_);
    return pictures_.size();
  }

  Error stopError() {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, patience, [this] { return error_.has_value(); }));
    return error_.value_or(Error());
  }

  PrivateXServer server_;
  X11TestClient client_{server_.displayName()};
  RandrScreen screen_{server_.displayName(), X11Connection::open(server_.displayName())};
  std::optional<RandrScreen::Shown> shown_;
  std::shared_ptr<SerialQueue> queue_ = SerialQueue::withThread("capture");
  X11CaptureSystem system_{queue_, server_.displayName()};
  CaptureConfiguration configuration_;
  std::shared_ptr<CaptureStream> stream_;
  std::function<void()> onPicture_;  // on the capture's queue; set while no stream runs

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Picture> pictures_;
  std::optional<Error> error_;
};

TEST_F(X11CaptureTest, ShowsWhatIsPaintedAndTellsWhere) {
  client_.paint({1280, 0, 200, 300}, blue);
  ASSERT_EQ(start(), std::nullopt);
  EXPECT_EQ(next()->damage(), (Damage{{0, 0, 200, 300}}));

  const struct {
    PixelRectangle painted;  // on the screen
    std::uint32_t color;
    Damage damage;  // of the picture; none: no picture
  } steps[] = {{{1290, 20, 50, 10}, red, {{10, 20, 50, 10}}},
               {{1300, 280, 180, 20}, green, {{20, 280, 180, 20}}},
               {{1000, 100, 280, 50}, red, {}},
               {{1200, 500, 200, 50}, red, {}},
               {{1270, 290, 20, 300}, blue, {{0, 290, 10, 10}}},
               {{1280, 0, 1, 1}, red, {{0, 0, 1, 1}}}};
  for (const auto& step : steps) {
    client_.paint(step.painted, step.color);
    if (step.damage.empty()) continue;
    // The next picture is of this step: those outside the display have made none.
    const Picture picture = next();
    EXPECT_EQ(picture->damage(), step.damage);
    EXPECT_EQ(pixelsOf(*picture), client_.screenshot({1280, 0, 200, 300}));
  }
  EXPECT_EQ(waitingPictures(), 0U);
}

TEST_F(X11CaptureTest, LendsNoMorePicturesThanTheQueueIsDeep) {
  ASSERT_EQ(start(), std::nullopt);
  Picture first = next();
  client_.paint({1280, 0, 100, 100}, red);
  const Picture second = next();
  client_.paint({1290, 10, 20, 20}, blue);
  client_.paint({1290, 200, 20, 20}, green);
  runQueue();
  EXPECT_EQ(waitingPictures(), 0U) << "both buffers are in use";
  EXPECT_EQ(pixelAt(*second, 15, 15), red) << "a picture doesn't change while it has an owner";

  const std::byte* const memory = first->baseAddress();
  first = nullptr;
  const Picture third = next();
  EXPECT_EQ(third->baseAddress(), memory);
  EXPECT_EQ(third->damage(), (Damage{{10, 10, 20, 20}, {10, 200, 20, 20}}));
  EXPECT_EQ(pixelsOf(*third), client_.screenshot({1280, 0, 200, 300})) << "also where the second picture changed";
  stop();
  stream_ = nullptr;
  EXPECT_EQ(pixelAt(*second, 15, 15), red) << "a picture outlives its stream";
}

TEST_F(X11CaptureTest, DrawsTheCursorAndErasesItAgain) {
  client_.paint({1280, 0, 200, 300}, blue);
  ASSERT_EQ(start(), std::nullopt);
  next();
  const struct {
    std::int16_t x, y;  // of the pointer, on the screen
    Damage damage;      // none: no picture
    std::vector<std::pair<int, int>> covered;
  } steps[] = {{1300, 50, {{20, 50, 16, 16}}, {{20, 50}, {35, 65}}},
               {1330, 70, {{20, 50, 16, 16}, {50, 70, 16, 16}}, {{50, 70}}},
               {1475, 295, {{50, 70, 16, 16}, {195, 295, 5, 5}}, {{199, 299}}},
               {1275, 100, {{0, 100, 11, 16}, {195, 295, 5, 5}}, {{0, 100}, {10, 115}}},
               {900, 100, {{0, 100, 11, 16}}, {}},
               {100, 500, {}, {}},
               {1380, 100, {{100, 100, 16, 16}}, {{100, 100}}}};
  for (const auto& step : steps) {
    client_.movePointer(step.x, step.y);
    if (step.damage.empty()) continue;
    const Picture picture = next();
    for (const auto& [x, y] : step.covered) EXPECT_EQ(pixelAt(*picture, x, y), yellow) << x << ", " << y;
    EXPECT_EQ(std::ranges::count(pixelsOf(*picture), yellow), areaOfCursorAt(step.x, step.y));
    EXPECT_EQ(picture->damage(), step.damage);
  }

  client_.paint({1380, 106, 1, 1}, red);
  const Picture crossed = next();
  EXPECT_EQ(crossed->damage(), (Damage{{100, 106, 1, 1}}));
  EXPECT_EQ(std::ranges::count(pixelsOf(*crossed), yellow), 256) << "still above what is painted";
  client_.setSquareCursor(0, 0xFFFF, 0);
  const Picture reshaped = next();
  EXPECT_EQ(reshaped->damage(), (Damage{{100, 100, 16, 16}}));
  EXPECT_EQ(pixelAt(*reshaped, 100, 100), green);

  stop();
  configuration_.showsCursor = false;
  ASSERT_EQ(start(), std::nullopt);
  EXPECT_EQ(pixelsOf(*next()), client_.screenshot({1280, 0, 200, 300}));
  client_.movePointer(1400, 150);
  client_.paint({1280, 0, 1, 1}, green);
  EXPECT_EQ(next()->damage(), (Damage{{0, 0, 1, 1}}));
}

/// The encoder goes by the damage alone, and many a picture of a burst is newer than its own tells.
TEST_F(X11CaptureTest, TellsAllDamageInTheEndSoThatTheImageAtRestIsExact) {
  for (const int width : {200, 133}) {
    SCOPED_TRACE(width);
    configuration_.width = width;
    client_.paint({1280, 0, 200, 300}, blue);
    ASSERT_EQ(start(), std::nullopt);
    TurboJpegImageEncoder encoder;
    std::mt19937 random(static_cast<unsigned int>(width));
    const auto below = [&random](std::uint32_t bound) { return static_cast<std::int32_t>(random() % bound); };
    for (int turn = 0; turn < 300; ++turn) {
      const PixelRectangle rectangle = {
          .x = 1280 + below(190), .y = below(290), .width = 1 + below(60), .height = 1 + below(60)};
      client_.paint(rectangle, random() & 0xFFFFFF);
      client_.movePointer(static_cast<std::int16_t>(1270 + below(220)), static_cast<std::int16_t>(below(300)));
      while (waitingPictures() > 0) ASSERT_TRUE(encoder.jpegRepresentation(next(), 0.7));
    }
    client_.movePointer(10, 10);
    client_.paint({1280, 0, 200, 40}, red);
    client_.paint({1280, 260, 200, 40}, green);
    // Also a picture that shows all this may be followed by another: the cursor was where the look before had seen it.
    Picture picture;
    bool isExact = false;
    while (!isExact || pixelAt(*picture, width / 2, 20) != red || pixelAt(*picture, width / 2, 280) != green) {
      picture = next();
      isExact = *encoder.jpegRepresentation(picture, 0.7) == *TurboJpegImageEncoder().jpegRepresentation(picture, 0.7);
    }
    picture = nullptr;
    stop();
  }
}

TEST_F(X11CaptureTest, ScalesToTheSizeAskedFor) {
  client_.paint({1280, 0, 100, 300}, red);
  client_.paint({1380, 0, 100, 300}, blue);
  for (const auto& [askedWidth, askedHeight] : {std::pair(100, 150), std::pair(16384, 16384), std::pair(67, 299)}) {
    SCOPED_TRACE(askedWidth);
    configuration_.width = askedWidth;
    configuration_.height = askedHeight;
    const int width = std::min(askedWidth, 200);  // the display has no more
    const int height = std::min(askedHeight, 300);
    ASSERT_EQ(start(), std::nullopt);
    const Picture first = next();
    EXPECT_EQ(first->width(), width);
    EXPECT_EQ(first->height(), height);
    EXPECT_EQ(first->damage(), (Damage{{0, 0, width, height}}));
    EXPECT_EQ(pixelAt(*first, 0, 0), red);
    EXPECT_EQ(pixelAt(*first, width * 2 / 5, height / 2), red);
    EXPECT_EQ(pixelAt(*first, width * 3 / 5, height / 2), blue);
    EXPECT_EQ(pixelAt(*first, width - 1, height - 1), blue);

    // What is brought up to date in parts is what is made in one go.
    client_.paint({1301, 103, 17, 31}, green);
    const Picture changed = next();
    ASSERT_EQ(changed->damage().size(), 1U);
    EXPECT_LT(changed->damage()[0].width, width / 3);
    stop();
    ASSERT_EQ(start(), std::nullopt);
    EXPECT_EQ(pixelsOf(*next()), pixelsOf(*changed));
    stop();
    client_.paint({1301, 103, 17, 31}, red);
  }
}

TEST_F(X11CaptureTest, FollowsAMoveAndReportsEveryOtherEnd) {
  ASSERT_EQ(start(), std::nullopt);
  next();
  client_.paint({1280, 400, 200, 300}, green);
  client_.paint({1290, 420, 5, 5}, red);
  ASSERT_TRUE(screen_.move(shown_->output, 1280, 400));
  const Picture moved = nextShowing(12, 22, red);
  EXPECT_EQ(pixelsOf(*moved), client_.screenshot({1280, 400, 200, 300})) << "nothing was painted since the move";

  shown_ = screen_.show({.width = 300, .height = 200, .refreshRate = 60}, shown_);
  EXPECT_EQ(stopError().localizedDescription(), "The display has changed its size");

  configuration_.width = 300;
  configuration_.height = 200;
  restart();
  screen_.hide(*shown_);
  EXPECT_EQ(stopError().localizedDescription(), "The display is not there");
  EXPECT_EQ(start()->localizedDescription(), "The display is not there");

  configuration_.displayID = client_.outputNamed("DUMMY0");
  restart();
  server_.kill();
  EXPECT_EQ(stopError().localizedDescription(), "The connection to the X server is lost");
  EXPECT_EQ(start()->localizedDescription(), "The X server can't be reached");
}

TEST_F(X11CaptureTest, AStopIsServedBetweenPicturesAndIsNoError) {
  std::promise<void> stopped;
  onPicture_ = [this, &stopped, pictures = 0]() mutable {
    std::this_thread::sleep_for(5ms);  // longer than the interval: a picture is always due
    client_.paint({1280, 0, 10, 10}, red);
    {
      const std::lock_guard lock(mutex_);
      pictures_.clear();
    }
    if (++pictures != 3) return;
    shown_ = screen_.show({.width = 300, .height = 200, .refreshRate = 60}, shown_);
    stream_->stopCapture([&stopped](const std::optional<Error>&) { stopped.set_value(); });
  };
  ASSERT_EQ(start(), std::nullopt);
  EXPECT_EQ(stopped.get_future().wait_for(patience), std::future_status::ready);
  onPicture_ = nullptr;
  runQueue();
  EXPECT_EQ(error_, std::nullopt) << "it has been stopped on purpose";
}

TEST_F(X11CaptureTest, LeavesNothingOpen) {
  const auto openDescriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  };
  ASSERT_EQ(start(), std::nullopt);
  next();
  stop();
  const auto before = openDescriptors();  // with what the queue opened for its first watch
  for (const bool isStopped : {true, false}) {
    ASSERT_EQ(start(), std::nullopt);
    next();
    EXPECT_GT(openDescriptors(), before);
    if (isStopped) stop();
    stream_ = nullptr;
    runQueue();
    EXPECT_EQ(openDescriptors(), before);
  }
}

TEST_F(X11CaptureTest, ListsTheActiveDisplaysWithTheirNamesWhoeverGrabsTheServer) {
  const auto other = X11Connection::open(server_.displayName());
  xcb_grab_server(other->get());
  ASSERT_NE(other->atom("any"), XCB_ATOM_NONE);  // the server has done it
  auto list = askForContent(system_);
  EXPECT_EQ(list.wait_for(patience), std::future_status::ready);
  xcb_ungrab_server(other->get());
  xcb_flush(other->get());
  const std::vector<CapturableDisplay> displays = list.get().value();
  ASSERT_EQ(displays.size(), 2U);
  EXPECT_EQ(displays[1].displayID, shown_->output);
  EXPECT_EQ(displays[1].width, 200);
  EXPECT_EQ(displays[1].height, 300);

  EXPECT_EQ(system_.productName(shown_->output), std::nullopt);
  std::vector<std::uint8_t> edid(128);
  for (std::size_t index = 1; index < 7; ++index) edid[index] = 0xFF;
  std::memcpy(edid.data() + 72, "\0\0\0\xFC\0Kitchen\n", 13);
  client_.setEdid(shown_->output, edid);
  EXPECT_EQ(system_.productName(shown_->output), "Kitchen");
  EXPECT_EQ(system_.productName(4711), std::nullopt);
}

TEST_F(X11CaptureTest, TellsWhyThereIsNothingToCapture) {
  const UntrustedCookie cookie(server_.displayName());
  ::setenv("XAUTHORITY", cookie.path().c_str(), 1);
  X11CaptureSystem untrusted(queue_, server_.displayName());
  const Error declined = askForContent(untrusted).get().error();
  ::unsetenv("XAUTHORITY");
  EXPECT_EQ(declined.domain, streamErrorDomain);
  EXPECT_EQ(declined.code, userDeclinedCapture);
  X11CaptureSystem nowhere(queue_, ":9999");
  EXPECT_EQ(askForContent(nowhere).get().error().localizedDescription(), "The X server can't be reached");
}

/// As the session does: what has waited for its turn goes out with the next change, or when patience ends.
TEST(FramePacer, TakesPicturesWhenTheyAreDrawnInWhicheverPhase) {
  constexpr double interval = 1.0 / 60;
  constexpr double seconds = 100;
  for (const double rate : {30.0, 59.94, 60.0, 60.02, 61.0, 75.0, 144.0, 1000.0}) {
    for (const double phase : {0.001, 0.25, 0.5, 0.75, 0.999}) {
      FramePacer pacer(interval);
      pacer.taken(0);  // the stream's first, whenever the source draws
      std::mt19937 random(1);
      int pictures = 0;
      int oldPictures = 0;
      double next = phase / rate;
      const auto advance = [&] { next += (1 + 0.1 * (static_cast<int>(random() % 3) - 1)) / rate; };
      while (next < seconds) {
        double now = next;
        advance();
        if (const double wait = pacer.wait(now); wait > 0) {
          const double slot = now + wait;
          while (next <= slot) advance();
          now = std::min(next, slot + pacer.patience());
          if (now == next) {
            advance();
          } else {
            ++oldPictures;
          }
        }
        pacer.taken(now);
        ++pictures;
      }
      const double expected = std::min(rate, 60.0) * seconds;
      EXPECT_LE(pictures, expected + 2) << rate << " Hz";
      EXPECT_GE(pictures, 0.98 * expected) << rate << " Hz";
      EXPECT_LE(oldPictures, 0.01 * expected) << rate << " Hz, phase " << phase;
    }
  }
}

TEST(FramePacer, HasOnePictureInReserve) {
  constexpr double interval = 1.0 / 60;
  FramePacer pacer(interval);
  pacer.taken(100);
  EXPECT_EQ(pacer.patience(), 0) << "no source is known yet";
  EXPECT_LE(pacer.wait(100.001), 0);
  pacer.taken(100.001);
  EXPECT_NEAR(pacer.wait(100.001), interval - 0.001, 1e-9);
  EXPECT_NEAR(pacer.patience(), 0.00125, 1e-9);
  EXPECT_LE(pacer.wait(105), 0) << "after a rest, at once";
  pacer.taken(105);
  EXPECT_EQ(pacer.patience(), 0) << "and nobody draws steadily";
}

}  // namespace
}  // namespace tandemview
