#include "platform/linux/gnome/capture/GnomeCaptureSession.h"

#include <utility>

#include "runtime/Weakly.h"

namespace tandemview {

namespace {

Error captureError(std::string description) {
  return {.domain = "TVCaptureErrorDomain", .code = 1, .description = std::move(description)};
}

}  // namespace

GnomeCaptureSession::GnomeCaptureSession(const CaptureConfiguration& configuration, CaptureOutput output)
    : queue_(*output.sampleQueue),
      output_(std::move(output)),
      exchange_(std::make_shared<PictureExchange>(static_cast<std::int32_t>(configuration.width),
                                                  static_cast<std::int32_t>(configuration.height),
                                                  configuration.queueDepth)),
      pacer_(configuration.minimumFrameInterval) {
  output_.sampleQueue = nullptr;  // its last owner must not be on its own thread
}

void GnomeCaptureSession::start(const CaptureStream::Completion& completion) {
  if (state_ != State::New) return completion(captureError("The capture has been started before"));
  state_ = State::Running;
  exchange_->onReturn(weakly(this, &GnomeCaptureSession::queueTurn));
  completion(std::nullopt);
  turn();
}

void GnomeCaptureSession::stop() {
  state_ = State::Stopped;
  exchange_->onReturn(nullptr);
}

void GnomeCaptureSession::take(const PicturePixels& picture) {
  if (!exchange_->fits(picture)) return sourceEnded(captureError("The display has changed its size"));
  if (exchange_->put(picture)) queueTurn();
}

void GnomeCaptureSession::sourceEnded(const Error& error) {
  queue_.async(weakly(this, [error](GnomeCaptureSession& self) {
    if (self.state_ == State::Stopped) return;
    self.stop();
    if (!self.isStopping_) self.output_.didStopWithError(error);
  }));
}

void GnomeCaptureSession::queueTurn() {
  queue_.async(weakly(this, &GnomeCaptureSession::turn));
}

/// Delivers the picture that is due. What is drawn until then takes its place.
void GnomeCaptureSession::turn() {
  if (state_ != State::Running || waitsForTime_ || !exchange_->hasNews()) return;
  const double now = clock_.now();
  const double wait = pacer_.wait(now);
  if (wait > 0) {
    waitsForTime_ = true;
    return queue_.after(wait, weakly(this, [](GnomeCaptureSession& self) {
                          self.waitsForTime_ = false;
                          self.turn();
                        }));
  }
  // What has come meanwhile may be what was there before.
  auto picture = exchange_->take();
  if (!picture) return;
  pacer_.taken(now);
  output_.didOutputSample(SampleType::Screen, std::move(picture));
}

}  // namespace tandemview
