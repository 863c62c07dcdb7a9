#pragma once

#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include <atomic>
#include <memory>

#include "capture/CaptureSystem.h"

namespace tandemview {

/// One stream of ScreenCaptureKit.
class MacCaptureStream final : public CaptureStream {
 public:
  static Result<std::shared_ptr<CaptureStream>> make(SCDisplay* display, const CaptureConfiguration& configuration,
                                                     CaptureOutput output);
  ~MacCaptureStream() override;

  void startCapture(Completion completion) override;
  void stopCapture(Completion completion) override;

 private:
  MacCaptureStream(SCStream* stream, id<SCStreamDelegate> delegate, std::shared_ptr<Queue> queue,
                   std::shared_ptr<std::atomic<bool>> hasEnded);

  SCStream* const stream_;
  [[maybe_unused]] const id<SCStreamDelegate> delegate_;  // only kept alive: the stream holds it weakly
  const std::shared_ptr<Queue> queue_;
  const std::shared_ptr<std::atomic<bool>> hasEnded_;  // by itself or because it was asked to
};

}  // namespace tandemview
