#pragma once

#include <memory>

#include "capture/ImageEncoder.h"
#include "platform/linux/picture/BufferPool.h"

namespace tandemview {

/// JPEG by libjpeg-turbo, on the calling thread.
class TurboJpegImageEncoder final : public ImageEncoder {
 public:
  TurboJpegImageEncoder();

  bool isAccelerated() const override { return false; }
  std::optional<Data> jpegRepresentation(const std::shared_ptr<PixelBuffer>& buffer, double quality) override;

 private:
  struct Deleter {
    void operator()(void* compressor) const;
  };

  const std::unique_ptr<void, Deleter> compressor_;
  const std::shared_ptr<BufferPool> pool_;
};

}  // namespace tandemview
