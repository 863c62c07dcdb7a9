#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture/PixelBuffer.h"
#include "runtime/Error.h"
#include "runtime/Queue.h"

namespace tandemview {

/// The domain of the errors that the host's capture itself reports, and its code for a user who said no
/// (SCStreamErrorUserDeclined in SCError.h).
inline constexpr const char* streamErrorDomain = "SCStreamErrorDomain";
inline constexpr int userDeclinedCapture = -3801;

/// The domain of the error of a stream that, beyond doubt, the user himself has ended in the host's own indicator.
inline constexpr const char* userStoppedDomain = "TVUserStoppedErrorDomain";

/// A display that can be captured; its size in points.
struct CapturableDisplay {
  std::uint32_t displayID = 0;
  std::int64_t width = 0;
  std::int64_t height = 0;
};

/// What a stream captures. The picture is the whole display with every window, scaled to `width` × `height` pixels.
struct CaptureConfiguration {
  std::uint32_t displayID = 0;
  std::int64_t width = 0;
  std::int64_t height = 0;
  double minimumFrameInterval = 1.0 / 60;  // seconds
  int queueDepth = 2;                      // pictures in flight at most
  bool showsCursor = true;
};

enum class SampleType { Screen, Audio };

/// A running capture. Letting go of it stops it.
class CaptureStream {
 public:
  virtual ~CaptureStream() = default;

  /// Completions arrive on the queue that the stream was made with.
  using Completion = std::function<void(std::optional<Error>)>;
  virtual void startCapture(Completion completion) = 0;
  /// Whatever happens from now on, no end is reported but the completion.
  virtual void stopCapture(Completion completion) = 0;
};

/// Where a stream reports to. The handlers hold their owner weakly.
struct CaptureOutput {
  std::shared_ptr<Queue> sampleQueue;
  /// On `sampleQueue`, one at a time: the first picture at once, then one whenever something changed, on average no
  /// sooner than the minimum interval. A sample may come without a picture.
  std::function<void(SampleType, std::shared_ptr<PixelBuffer>)> didOutputSample;
  /// From any thread: the stream has ended by itself and outputs nothing more.
  std::function<void(Error)> didStopWithError;
};

/// What the program needs of the system's screen capture. Called from the main queue.
class CaptureSystem {
 public:
  virtual ~CaptureSystem() = default;

  /// Lists what can be captured; the completion arrives on the main queue. An error tells that capturing is not
  /// allowed or not possible.
  using ContentCompletion = std::function<void(Result<std::vector<CapturableDisplay>>)>;
  virtual void shareableContent(bool excludingDesktopWindows, bool onScreenWindowsOnly,
                                ContentCompletion completion) = 0;

  /// The name that the display gives itself; absent if it gives none.
  virtual std::optional<std::string> productName(std::uint32_t displayID) const = 0;

  /// Makes a stream that does nothing until it is started.
  virtual Result<std::shared_ptr<CaptureStream>> makeStream(const CaptureConfiguration& configuration,
                                                            CaptureOutput output) = 0;
};

}  // namespace tandemview
