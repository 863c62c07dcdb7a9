#pragma once

#import <CoreImage/CoreImage.h>

#include "capture/ImageEncoder.h"
#include "platform/macos/CoreReference.h"

namespace tandemview {

/// Core Image's JPEG encoder, on the graphics processor where there is one. It takes pictures of MacCaptureSystem.
class CoreImageEncoder final : public ImageEncoder {
 public:
  CoreImageEncoder();

  bool isAccelerated() const override { return isAccelerated_; }
  std::optional<Data> jpegRepresentation(const std::shared_ptr<PixelBuffer>& buffer, double quality) override;
  /// Core Image knows no better image than the first.
  std::optional<Data> restingRepresentation() override { return std::nullopt; }

 private:
  bool isAccelerated_ = false;
  CIContext* ciContext_;
  const CoreReference<CGColorSpaceRef> colorSpace_;
};

}  // namespace tandemview
