#pragma once

#include <atomic>
#include <memory>

#include "capture/CaptureSystem.h"
#include "platform/linux/gnome/capture/PictureExchange.h"
#include "platform/linux/gnome/session/GnomePictureReceiver.h"
#include "platform/linux/picture/FramePacer.h"
#include "runtime/MediaClock.h"

namespace tandemview {

/// One capture of our display. The compositor's pictures are copied on the session's queue, where they arrive, so that
/// it gets its memory back at once, whatever the encoder does: without free memory it drops pictures, even the last one
/// before a rest. The rest runs on the sample queue, which this never outlives and so doesn't own. When nothing is
/// drawn, nothing runs.
class GnomeCaptureSession final : public GnomePictureReceiver,
                                  public std::enable_shared_from_this<GnomeCaptureSession> {
 public:
  GnomeCaptureSession(const CaptureConfiguration& configuration, CaptureOutput output);

  void start(const CaptureStream::Completion& completion);

  /// Nothing is output any more when this returns.
  void stop();

  /// From any thread: the end will be on purpose, and so it is no error.
  void willStop() { isStopping_ = true; }

  void take(const PicturePixels& picture) override;
  void sourceEnded(const Error& error) override;

 private:
  enum class State { New, Running, Stopped };

  void turn();
  void queueTurn();

  Queue& queue_;
  CaptureOutput output_;
  const SystemMediaClock clock_;
  const std::shared_ptr<PictureExchange> exchange_;
  std::atomic<bool> isStopping_ = false;

  // On the sample queue.
  State state_ = State::New;
  FramePacer pacer_;
  bool waitsForTime_ = false;
};

}  // namespace tandemview
