#include "capture/ScreenCapture.h"

#include <gtest/gtest.h>

#include "capture/MJPEGEncoder.h"
#include "fakes/LogRecorder.h"
#include "fakes/RecordingCaptureSystem.h"
#include "fakes/ScriptedScreens.h"

namespace tandemview {
namespace {

const Error failure = {"Test", 1, "it broke"};

class ScreenCaptureTest : public testing::Test {
 protected:
  ScreenCaptureTest() {
    system->content = displays;
    capture->onFrameCaptured = [this](const std::shared_ptr<PixelBuffer>&) { ++frames; };
    capture->onError = [this](const Error& error) { errors.push_back(error); };
    capture->onStartFailed = [this](const std::optional<Error>& error) { failedStarts.push_back(error); };
  }
  ~ScreenCaptureTest() override { queue->drain(); }  // what waits there holds what holds the queue

  void start() {
    capture->start();
    queue->drain();
  }

  const std::vector<CapturableDisplay> displays = {{7, 700, 1400}};
  LogRecorder log;
  std::shared_ptr<ManualQueue> queue = ManualQueue::make();
  std::shared_ptr<RecordingCaptureSystem> system = std::make_shared<RecordingCaptureSystem>(queue);
  std::shared_ptr<ScreenCapture> capture = std::make_shared<ScreenCapture>(ScreenCapture::Surroundings{
      .system = system, .screens = std::make_shared<ScriptedScreens>(), .mainQueue = queue, .sampleQueue = queue});
  int frames = 0;
  std::vector<Error> errors;
  std::vector<std::optional<Error>> failedStarts;
};

TEST_F(ScreenCaptureTest, ChoosesTheDisplay) {
  const CapturableDisplay main = {1, 1280, 800};
  const CapturableDisplay phone = {7, 644, 1398};
  const struct {
    std::vector<CapturableDisplay> displays;
    std::optional<std::uint32_t> targetID;
    std::optional<std::string> targetName;
    std::map<std::uint32_t, std::string> names;
    std::optional<std::uint32_t> expected;
    std::string line;
  } cases[] = {
      {{main, phone}, 7, {}, {}, 7, "📺 Found display by ID: 7"},
      {{main, phone},
       9,
       "Phone",
       {{1, "Monitor"}, {7, "An iPhone Display"}},
       7,
       "📺 Found display by name: 'An iPhone Display'"},
      {{main, phone}, {}, "phone", {{1, "iPhone"}}, 7, "📺 Using secondary display: 7"},
      {{main, phone}, 9, {}, {}, 7, "📺 Using secondary display: 7"},
      {{main}, {}, {}, {}, 1, "📺 Using main display"},
      {{}, {}, {}, {}, {}, "❌ No display found"},
  };
  for (const auto& each : cases) {
    system->content = each.displays;
    system->names = each.names;
    capture->targetDisplayID = each.targetID;
    capture->targetDisplayName = each.targetName;
    start();
    EXPECT_EQ(log.count(each.line), 1) << each.line;
    EXPECT_EQ(capture->isRunning(), each.expected.has_value());
    if (each.expected) {
      EXPECT_EQ(capture->targetDisplayID, each.expected);
    }
    EXPECT_EQ(log.count("📺 Using main display"), each.line == "📺 Using main display" ? 1 : 0);
    capture->stop();
    log.take();
  }
}

TEST_F(ScreenCaptureTest, StartsOnceAndDelivers) {
  capture->captureWidth = 644;
  capture->captureHeight = 1398;
  start();
  EXPECT_EQ(log.count("📺 Capturing: 700x1400 → 644x1398"), 1);
  capture->start();
  ASSERT_EQ(system->streams.size(), 1u);
  const auto& stream = system->streams.front();
  EXPECT_EQ(stream->configuration.width, 644);
  EXPECT_EQ(stream->configuration.height, 1398);
  stream->deliver(SampleType::Screen, std::make_shared<BlankPixelBuffer>());
  stream->deliver(SampleType::Screen, nullptr);
  stream->deliver(SampleType::Audio, std::make_shared<BlankPixelBuffer>());
  queue->drain();
  EXPECT_EQ(frames, 1);
  capture->stop();
  capture->stop();
  EXPECT_EQ(system->calls, (Lines{"start 7", "stop 7"}));
}

TEST_F(ScreenCaptureTest, AStopDuringTheStartWins) {
  capture->start();
  capture->stop();
  queue->drain();
  EXPECT_TRUE(system->streams.empty());
  EXPECT_TRUE(log.take().empty());

  system->answersStarts = false;
  start();
  capture->stop();
  log.take();
  system->streams.at(0)->answerStart(std::nullopt);
  queue->drain();
  EXPECT_TRUE(log.take().empty());
  EXPECT_EQ(system->calls.back(), "stop 7");
  EXPECT_FALSE(capture->isRunning());

  start();
  capture->stop();
  system->streams.at(1)->answerStart(failure);
  queue->drain();
  EXPECT_TRUE(failedStarts.empty()) << "nobody waits for it any more";
}

TEST_F(ScreenCaptureTest, FailuresLeaveItIdle) {
  const std::function<void()> failures[] = {[&] { system->content = tl::unexpected(failure); },
                                            [&] { system->makeError = failure; },
                                            [&] { system->startError = failure; }};
  for (const auto& fails : failures) {
    system->content = displays;
    system->makeError.reset();
    fails();
    start();
    EXPECT_EQ(log.take().back(), "❌ Capture failed: it broke");
    EXPECT_FALSE(capture->isRunning());
  }
  system->content = std::vector<CapturableDisplay>();
  start();
  capture->stop();
  EXPECT_EQ(system->calls, Lines{"start 7"}) << "nothing is left to stop";
  EXPECT_EQ(failedStarts, (std::vector<std::optional<Error>>{failure, failure, failure, std::nullopt}));
  EXPECT_TRUE(errors.empty());
}

TEST_F(ScreenCaptureTest, OnlyTheCurrentStreamsErrorCounts) {
  start();
  capture->stop();
  start();
  log.take();
  system->streams.at(0)->end(failure);
  queue->drain();
  EXPECT_TRUE(capture->isRunning());
  EXPECT_TRUE(errors.empty());
  system->streams.at(1)->end(failure);
  queue->drain();
  EXPECT_FALSE(capture->isRunning());
  EXPECT_EQ(errors, std::vector<Error>{failure});
  EXPECT_EQ(log.take(), (Lines{"❌ Stream error: it broke", "❌ Stream error: it broke"}));
  start();
  capture = nullptr;
  system->streams.at(2)->deliver(SampleType::Screen, std::make_shared<BlankPixelBuffer>());
  queue->drain();
  EXPECT_EQ(frames, 0) << "nobody is there to take it";
}

class FixedImageEncoder final : public ImageEncoder {
 public:
  bool isAccelerated() const override { return false; }
  std::optional<Data> jpegRepresentation(const std::shared_ptr<PixelBuffer>&, double quality) override {
    if (quality < 0.1) return std::nullopt;
    return Data::copying("\xff\xd8...\xff\xd9");
  }
  std::optional<Data> restingRepresentation() override { return std::nullopt; }
};

TEST(MJPEGEncoderTest, PutsTheClockBeforeTheImage) {
  const LogRecorder log;
  MJPEGEncoder encoder(std::make_unique<FixedImageEncoder>(), std::make_shared<ManualClock>(ManualQueue::make(), 1.5));
  const auto buffer = std::make_shared<BlankPixelBuffer>();
  encoder.encode(buffer);  // nobody listens
  Lines encoded;
  encoder.onEncodedData = [&](const Data& frame) { encoded.emplace_back(frame.contiguous().text()); };
  encoder.encode(buffer);
  encoder.jpegQuality = 0.05;
  encoder.encode(buffer);
  EXPECT_EQ(encoded, Lines{std::string("\0\0\0\0\0\0\xf8\x3f", 8) + "\xff\xd8...\xff\xd9"});
}

}  // namespace
}  // namespace tandemview
