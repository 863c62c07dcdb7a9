#include "platform/linux/picture/BandCompressor.h"

#include <turbojpeg.h>

#include <algorithm>

#include "platform/linux/picture/JpegMarkers.h"
#include "runtime/BigEndian.h"

namespace tandemview {

namespace {

/// Where the height stands in a frame's header: behind its marker, its length and a byte of precision.
constexpr std::size_t heightInFrameHeader = 5;

/// The size of the head, in which the height is replaced. Absent if the bands of such images can't be joined: in its
/// environment the library can be told to make other than baseline images, or restarts of its own.
std::optional<std::size_t> readHead(std::span<std::byte> image, std::uint16_t height) {
  bool isBaseline = false;
  std::size_t position = jpeg::markerSize;
  while (position + 2 * jpeg::markerSize <= image.size()) {
    const std::byte marker = image[position + 1];
    const std::size_t length = bigEndianNumber(image.subspan(position + jpeg::markerSize, jpeg::markerSize));
    const std::size_t end = position + jpeg::markerSize + length;
    if (end > image.size() || marker == jpeg::restartInterval) return std::nullopt;
    if (marker == jpeg::baselineFrame) {
      isBaseline = true;
      std::ranges::copy(bigEndianBytes(height),
                        image.begin() + static_cast<std::ptrdiff_t>(position + heightInFrameHeader));
    }
    position = end;
    if (marker == jpeg::startOfScan) break;
  }
  return isBaseline ? std::optional(position) : std::nullopt;
}

}  // namespace

BandCompressor::BandCompressor() : compressor_(tjInitCompress()) {}

std::optional<BandCompressor::Band> BandCompressor::compress(const PixelBuffer& picture, const BandForm& form,
                                                             std::int32_t top, std::int32_t bottom) {
  if (!compressor_) return std::nullopt;
  const int subsampling = form.hasFullColor ? TJSAMP_444 : TJSAMP_420;
  unsigned long size = tjBufSize(form.width, bottom - top, subsampling);
  if (size == static_cast<unsigned long>(-1)) return std::nullopt;
  if (room_.size() < size) room_.resize(size);
  auto* start = reinterpret_cast<unsigned char*>(room_.data());
  const auto* const rows = reinterpret_cast<const unsigned char*>(picture.baseAddress()) +
                           static_cast<std::size_t>(top) * picture.bytesPerRow();
  const int result = tjCompress2(compressor_.get(), rows, form.width, static_cast<int>(picture.bytesPerRow()),
                                 bottom - top, TJPF_BGRX, &start, &size, subsampling, form.quality, TJFLAG_NOREALLOC);
  if (result != 0) return std::nullopt;
  const std::span image(room_.data(), size);
  const auto head = readHead(image, static_cast<std::uint16_t>(form.height));
  if (!head) return std::nullopt;
  return Band{.head = image.first(*head), .scan = image.subspan(*head)};
}

void BandCompressor::Deleter::operator()(void* compressor) const {
  tjDestroy(compressor);
}

}  // namespace tandemview
