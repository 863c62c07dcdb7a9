#pragma once

#include <memory>

#include "capture/CaptureSystem.h"
#include "platform/linux/gnome/capture/GnomeCaptureSession.h"
#include "platform/linux/gnome/session/GnomeSession.h"

namespace tandemview {

/// The owner's hold on a capture, which lives on the sample queue, and on the display's session, which serves it.
class GnomeCaptureStream final : public CaptureStream {
 public:
  GnomeCaptureStream(std::shared_ptr<GnomeSession> session, const CaptureConfiguration& configuration,
                     CaptureOutput output);
  ~GnomeCaptureStream() override;

  void startCapture(Completion completion) override;
  void stopCapture(Completion completion) override;

 private:
  const std::shared_ptr<GnomeSession> session_;
  const std::shared_ptr<Queue> sampleQueue_;
  const std::shared_ptr<GnomeCaptureSession> capture_;
};

}  // namespace tandemview
