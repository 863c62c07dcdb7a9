#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/linux/picture/PicturePixels.h"
#include "runtime/Error.h"
#include "runtime/Queue.h"
#include "screens/Screens.h"

namespace tandemview {

/// Pictures from a node of PipeWire's. Made, used and destroyed on one queue, where its events arrive; it must not be
/// destroyed from within one of them.
class PipeWireVideo {
 public:
  struct Events {
    /// It is no longer busy: the source has done what it was asked for.
    std::function<void()> done;
    /// Valid during the call.
    std::function<void(const PicturePixels& picture)> arrived;
    /// Nothing comes any more: the source has ended, or PipeWire itself, which may end the source first.
    std::function<void()> ended;
    std::function<void(const std::string& reason)> disconnected;
  };

  static Result<std::unique_ptr<PipeWireVideo>> open(const std::shared_ptr<Queue>& queue, Events events);
  ~PipeWireVideo();

  /// Begins to receive; the source makes its pictures to our size and at `mostPerSecond`.
  bool connect(std::uint32_t node, const PixelSize& size, std::uint32_t mostPerSecond);

  /// Whether it waits for the source to agree. Nothing else may be asked for before that.
  bool isBusy() const;

  /// What has been agreed on last; the pictures are like that.
  PixelSize size() const;
  std::uint32_t rate() const;

  /// Whether the source's pictures can be read: at times PipeWire hands on the source's buffers before the source has
  /// put memory into them, and a connection is spoilt for good.
  bool hasMemory() const;

  /// Asks for another size or rate than there is. The source is stopped for that and started then: it draws a picture
  /// when it starts, but none if it is running while it is given new buffers.
  void negotiate(const PixelSize& size, std::uint32_t mostPerSecond);

  /// Starts a source that is stopped, which makes it send a picture although nothing has changed. False: it is running.
  bool start();
  void stop();

  /// The newest picture, valid until the source is asked for something or the queue goes on; absent if there may be a
  /// newer one at the source.
  std::optional<PicturePixels> picture() const;

 private:
  struct Link;

  explicit PipeWireVideo(std::unique_ptr<Link> link);

  const std::unique_ptr<Link> link_;
};

}  // namespace tandemview
