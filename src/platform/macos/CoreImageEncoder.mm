#import "platform/macos/CoreImageEncoder.h"

#import <ImageIO/ImageIO.h>
#import <Metal/Metal.h>

#import "platform/macos/MacPixelBuffer.h"

namespace tandemview {

CoreImageEncoder::CoreImageEncoder() : colorSpace_(CGColorSpaceCreateDeviceRGB()) {
  const id<MTLDevice> device = MTLCreateSystemDefaultDevice();
  isAccelerated_ = device != nil;
  // An intermediate that is kept for later keeps the picture that it was made of, and a stream has two. No picture is
  // encoded twice anyway.
  NSDictionary* options = @{kCIContextCacheIntermediates : @NO};
  ciContext_ =
      device ? [CIContext contextWithMTLDevice:device options:options] : [CIContext contextWithOptions:options];
}

std::optional<Data> CoreImageEncoder::jpegRepresentation(const std::shared_ptr<PixelBuffer>& buffer, double quality) {
  const auto picture = std::static_pointer_cast<MacPixelBuffer>(buffer);
  CIImage* image = [[CIImage alloc] initWithCVPixelBuffer:picture->get()];
  NSDictionary* options = @{(__bridge NSString*)kCGImageDestinationLossyCompressionQuality : @(quality)};
  NSData* jpeg = [ciContext_ JPEGRepresentationOfImage:image colorSpace:colorSpace_.get() options:options];
  if (!jpeg) return std::nullopt;
  const std::span<const std::byte> bytes(static_cast<const std::byte*>(jpeg.bytes), jpeg.length);
  return Data(std::shared_ptr<const void>(CFBridgingRetain(jpeg), CoreRelease()), bytes);
}

}  // namespace tandemview
