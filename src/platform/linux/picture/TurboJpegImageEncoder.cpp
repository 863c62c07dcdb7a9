#include "platform/linux/picture/TurboJpegImageEncoder.h"

#include <turbojpeg.h>

#include <algorithm>
#include <cmath>

namespace tandemview {

namespace {

/// From here on each pixel keeps its own colour; below, four share one. Sharing blurs small coloured text at every
/// quality alike, but keeping costs about twice the time and a quarter to a third more bytes on a screen full of text:
/// worth it where sharpness is asked for, and only there.
constexpr int leastQualityWithFullColor = 60;

/// Both transports keep a few frames each: more than this many unused buffers were needed in a burst only.
constexpr std::size_t keptBuffers = 4;

}  // namespace

TurboJpegImageEncoder::TurboJpegImageEncoder()
    : compressor_(tjInitCompress()), pool_(BufferPool::keeping(keptBuffers)) {}

std::optional<Data> TurboJpegImageEncoder::jpegRepresentation(const std::shared_ptr<PixelBuffer>& buffer,
                                                              double quality) {
  if (!compressor_ || !std::isfinite(quality)) return std::nullopt;
  const int percent = static_cast<int>(std::lround(std::clamp(quality, 0.01, 1.0) * 100));
  const int subsampling = percent >= leastQualityWithFullColor ? TJSAMP_444 : TJSAMP_420;
  const int width = static_cast<int>(buffer->width());
  const int height = static_cast<int>(buffer->height());
  unsigned long size = tjBufSize(width, height, subsampling);
  if (size == static_cast<unsigned long>(-1)) return std::nullopt;

  // Room for the worst case. The system provides only the part that is written to.
  std::shared_ptr<std::byte[]> bytes = pool_->take(size);
  auto* start = reinterpret_cast<unsigned char*>(bytes.get());
  const int result = tjCompress2(compressor_.get(), reinterpret_cast<const unsigned char*>(buffer->baseAddress()),
                                 width, static_cast<int>(buffer->bytesPerRow()), height, TJPF_BGRX, &start, &size,
                                 subsampling, percent, TJFLAG_NOREALLOC);
  if (result != 0) return std::nullopt;
  const std::span<const std::byte> image(bytes.get(), size);
  return Data(std::move(bytes), image);
}

void TurboJpegImageEncoder::Deleter::operator()(void* compressor) const {
  tjDestroy(compressor);
}

}  // namespace tandemview
