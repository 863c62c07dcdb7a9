#pragma once

#include <memory>
#include <string>

#include "capture/CaptureSystem.h"

namespace tandemview {

class X11CaptureSession;

/// The owner's hold on a capture session, which lives on the sample queue.
class X11CaptureStream final : public CaptureStream {
 public:
  X11CaptureStream(const std::string& displayName, const CaptureConfiguration& configuration, CaptureOutput output);
  ~X11CaptureStream() override;

  void startCapture(Completion completion) override;
  void stopCapture(Completion completion) override;

 private:
  const std::shared_ptr<Queue> sampleQueue_;
  const std::shared_ptr<X11CaptureSession> session_;
};

}  // namespace tandemview
