#include "capture/MJPEGEncoder.h"

#include "protocol/Message.h"
#include "runtime/FloatingPointText.h"
#include "runtime/Log.h"
#include "runtime/Trace.h"

namespace tandemview {

MJPEGEncoder::MJPEGEncoder(std::unique_ptr<ImageEncoder> imageEncoder, std::shared_ptr<const MediaClock> clock)
    : imageEncoder_(std::move(imageEncoder)), clock_(std::move(clock)) {
  Log::print("✅ MJPEG encoder ready ({}, quality: {})", imageEncoder_->isAccelerated() ? "Metal accelerated" : "CPU",
             floatingPointText(jpegQuality));
}

void MJPEGEncoder::encode(const std::shared_ptr<PixelBuffer>& buffer) {
  handOut(imageEncoder_->jpegRepresentation(buffer, jpegQuality));
}

void MJPEGEncoder::encodeAtRest() {
  handOut(imageEncoder_->restingRepresentation());
}

void MJPEGEncoder::handOut(const std::optional<Data>& image) {
  if (!image) return;
  const Data frame = MacProtocol::timestamp(clock_->now()).joinedWith(*image);
  Trace::mark(Trace::Step::encoded, Trace::nameOf(frame));
  if (onEncodedData) onEncodedData(frame);
}

}  // namespace tandemview
