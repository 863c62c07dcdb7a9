#include "platform/linux/x11/capture/X11CaptureStream.h"

#include <utility>

#include "platform/linux/x11/capture/X11CaptureSession.h"

namespace tandemview {

X11CaptureStream::X11CaptureStream(const std::string& displayName, const CaptureConfiguration& configuration,
                                   CaptureOutput output)
    : sampleQueue_(output.sampleQueue),
      session_(std::make_shared<X11CaptureSession>(displayName, configuration, std::move(output))) {}

X11CaptureStream::~X11CaptureStream() {
  session_->willStop();
  sampleQueue_->async([session = session_] { session->stop(); });
}

void X11CaptureStream::startCapture(Completion completion) {
  sampleQueue_->async([session = session_, completion = std::move(completion)] { session->start(completion); });
}

void X11CaptureStream::stopCapture(Completion completion) {
  session_->willStop();
  sampleQueue_->async([session = session_, completion = std::move(completion)] {
    session->stop();
    if (completion) completion(std::nullopt);
  });
}

}  // namespace tandemview
