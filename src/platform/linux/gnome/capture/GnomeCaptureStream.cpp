#include "platform/linux/gnome/capture/GnomeCaptureStream.h"

#include <utility>

namespace tandemview {

GnomeCaptureStream::GnomeCaptureStream(std::shared_ptr<GnomeSession> session, const CaptureConfiguration& configuration,
                                       CaptureOutput output)
    : session_(std::move(session)),
      sampleQueue_(output.sampleQueue),
      capture_(std::make_shared<GnomeCaptureSession>(configuration, std::move(output))) {}

GnomeCaptureStream::~GnomeCaptureStream() {
  stopCapture(nullptr);
}

void GnomeCaptureStream::startCapture(Completion completion) {
  sampleQueue_->async([capture = capture_, completion = std::move(completion)] { capture->start(completion); });
  session_->sendPicturesTo(capture_);
}

void GnomeCaptureStream::stopCapture(Completion completion) {
  capture_->willStop();
  session_->sendNoPicturesTo(capture_);
  sampleQueue_->async([capture = capture_, completion = std::move(completion)] {
    capture->stop();
    if (completion) completion(std::nullopt);
  });
}

}  // namespace tandemview
