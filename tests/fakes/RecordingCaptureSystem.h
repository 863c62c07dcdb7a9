#pragma once

#include <map>
#include <string>
#include <vector>

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

/// A capture service under the test's control: it answers when it is told to.
class RecordingCaptureSystem final : public CaptureSystem {
 public:
  class Stream final : public CaptureStream {
   public:
    Stream(RecordingCaptureSystem& system, CaptureConfiguration streamConfiguration, CaptureOutput streamOutput)
        : configuration(streamConfiguration), output(std::move(streamOutput)), system_(system) {}
    void startCapture(Completion completion) override {
      system_.calls.push_back("start " + std::to_string(configuration.displayID));
      if (system_.startsAtOnce) return completion(system_.startError);
      system_.pendingStarts.push_back(std::move(completion));
    }
    void stopCapture(Completion completion) override {
      system_.calls.push_back("stop " + std::to_string(configuration.displayID));
      completion(std::nullopt);
    }

    const CaptureConfiguration configuration;
    const CaptureOutput output;

   private:
    RecordingCaptureSystem& system_;
  };

  void shareableContent(bool, bool, ContentCompletion completion) override { completion(content); }
  bool isMain(std::uint32_t displayID) const override { return displayID == mainDisplay; }
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
  std::uint32_t mainDisplay = 1;
  std::map<std::uint32_t, std::string> names;
  bool startsAtOnce = true;
  std::optional<Error> startError;
  std::optional<Error> makeError;
  std::vector<std::shared_ptr<Stream>> streams;
  std::vector<CaptureStream::Completion> pendingStarts;
  std::vector<std::string> calls;
};

}  // namespace tandemview
