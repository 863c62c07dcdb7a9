#pragma once

#include <cstdint>
#include <functional>
#include <memory>
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
    /// The source has agreed to a size and a rate, and its pictures will be like that.
    std::function<void(const PixelSize& size, std::uint32_t mostPerSecond)> formatChanged;
    /// Valid during the call; the source gets the memory back after it.
    std::function<void(const PicturePixels& picture)> arrived;
    /// Nothing comes any more: the source has ended, or PipeWire itself.
    std::function<void()> ended;
    std::function<void(const std::string& reason)> disconnected;
  };

  static Result<std::unique_ptr<PipeWireVideo>> open(const std::shared_ptr<Queue>& queue, Events events);
  ~PipeWireVideo();

  /// Begins to receive; the source makes its pictures to our size and at `mostPerSecond`.
  bool connect(std::uint32_t node, const PixelSize& size, std::uint32_t mostPerSecond);

  /// Asks for another size or rate. A source that is stopped doesn't answer before it is started.
  void negotiate(const PixelSize& size, std::uint32_t mostPerSecond);

  /// Whether pictures are wanted. They are at first.
  void start();
  void stop();

  /// Stops and starts the source, which makes it send a picture although nothing has changed.
  void restart();

 private:
  struct Link;

  explicit PipeWireVideo(std::unique_ptr<Link> link);

  const std::unique_ptr<Link> link_;
};

}  // namespace tandemview
