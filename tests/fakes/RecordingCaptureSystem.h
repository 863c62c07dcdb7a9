#pragma once

#include "capture/CaptureSystem.h"
#include "fakes/ManualQueue.h"

namespace tandemview {

/// A picture without pixels.
class BlankPixelBuffer final : public PixelBuffer {
 public:
  std::int64_t width() const override { return 2; }
  std::int64_t height() const override { return 2; }
  std::size_t bytesPerRow() const override { return 8; }
  const std::byte* baseAddress() const override { return pixels_; }
  const std::vector<PixelRectangle>& damage() const override { return damage_; }

 private:
  std::byte pixels_[16] = {};
  std::vector<PixelRectangle> damage_ = std::vector(1, PixelRectangle{0, 0, 2, 2});
};

/// A capture service under the test's control. It answers on its queues, never within a call; a stream outputs nothing
/// before it runs and after it has ended.
class RecordingCaptureSystem final : public CaptureSystem {
 public:
  explicit RecordingCaptureSystem(std::shared_ptr<Queue> mainQueue) : mainQueue_(std::move(mainQueue)) {}

  class Stream final : public CaptureStream, public std::enable_shared_from_this<Stream> {
   public:
    Stream(RecordingCaptureSystem& system, CaptureConfiguration streamConfiguration, CaptureOutput output)
        : configuration(streamConfiguration), system_(system), output_(std::move(output)) {}

    void startCapture(Completion completion) override {
      system_.calls.push_back("start " + std::to_string(configuration.displayID));
      startCompletion_ = std::move(completion);
      if (system_.answersStarts) answerStart(system_.startError);
    }
    void stopCapture(Completion completion) override {
      system_.calls.push_back("stop " + std::to_string(configuration.displayID));
      isRunning_ = false;
      output_.sampleQueue->async([completion = std::move(completion)] { completion(std::nullopt); });
    }

    void answerStart(const std::optional<Error>& error) {
      output_.sampleQueue->async([self = shared_from_this(), error] {
        self->isRunning_ = !error;
        std::exchange(self->startCompletion_, nullptr)(error);
      });
    }
    void deliver(SampleType type, const std::shared_ptr<PixelBuffer>& buffer) {
      output_.sampleQueue->async([self = shared_from_this(), type, buffer] {
        if (self->isRunning_) self->output_.didOutputSample(type, buffer);
      });
    }
    /// The stream ends by itself; also one that has been stopped may still say so.
    void end(const Error& error) {
      isRunning_ = false;
      output_.didStopWithError(error);
    }

    const CaptureConfiguration configuration;

   private:
    RecordingCaptureSystem& system_;
    const CaptureOutput output_;
    Completion startCompletion_;
    bool isRunning_ = false;
  };

  void shareableContent(bool, bool, ContentCompletion completion) override {
    mainQueue_->async([this, completion = std::move(completion)] { completion(content); });
  }
  std::optional<std::string> productName(std::uint32_t displayID) const override {
    const auto found = names.find(displayID);
    return found == names.end() ? std::nullopt : std::optional(found->second);
  }
  Result<std::shared_ptr<CaptureStream>> makeStream(const CaptureConfiguration& configuration,
                                                    CaptureOutput output) override {
    if (makeError) return tl::unexpected(*makeError);
    auto stream = std::make_shared<Stream>(*this, configuration, std::move(output));
    streams.push_back(stream);
    return stream;
  }

  Result<std::vector<CapturableDisplay>> content = std::vector<CapturableDisplay>{};
  std::map<std::uint32_t, std::string> names;
  bool answersStarts = true;
  std::optional<Error> startError;
  std::optional<Error> makeError;
  std::vector<std::shared_ptr<Stream>> streams;
  std::vector<std::string> calls;

 private:
  const std::shared_ptr<Queue> mainQueue_;
};

}  // namespace tandemview
