#include "platform/linux/picture/TurboJpegImageEncoder.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <functional>
#include <thread>
#include <utility>

#include "platform/linux/picture/JpegMarkers.h"
#include "runtime/BigEndian.h"

namespace tandemview {

namespace {

/// From here on each pixel keeps its own colour; below, four share one. Sharing blurs small coloured text at every
/// quality alike, but keeping costs about twice the time and a quarter to a third more bytes on a screen full of text:
/// worth it where sharpness is asked for, and only there.
constexpr int leastQualityWithFullColor = 60;

/// What has come to rest in full colour stays so until, without another rest, as many bands have changed as are this
/// part of the picture. So a cursor that blinks or a text that is typed costs its own bands and no change of form, and
/// none of these pictures costs more than encoding all of it without the colour.
constexpr std::size_t mostChangeInFullColor = 2;

/// Rows of a band: whole blocks of either subsampling. Lower ones follow a small change more closely and cost more on
/// a full one, as each begins without knowing its neighbours' colour (3 % at this height).
constexpr std::int32_t bandHeight = 32;
constexpr std::int32_t largestBlock = 16;
static_assert(bandHeight % largestBlock == 0);

/// The library's bound for both sides.
constexpr std::int64_t longestSide = 65500;

/// Half a millisecond's work: less isn't worth waking a thread for, which takes a tenth of that.
constexpr std::size_t pixelsPerWorker = 1 << 17;

/// Both transports keep a few frames each: more than this many unused buffers of a band were needed in a burst only.
constexpr std::size_t keptBuffers = 4;

constexpr std::int32_t blockSide(const BandForm& form) {
  return form.hasFullColor ? 8 : 16;
}

/// The blocks of a band. Even those of the longest rows are fewer than the 65535 that the format can tell.
constexpr std::uint16_t blocksOfBand(const BandForm& form) {
  const std::int32_t side = blockSide(form);
  return static_cast<std::uint16_t>((form.width + side - 1) / side * (bandHeight / side));
}

/// The whole image's head: that of a band and, before the scan's header, after how many blocks a restart comes.
Data::Segment imageHead(std::span<const std::byte> bandHead, const BandForm& form) {
  constexpr std::uint16_t restartLength = 4;  // which counts itself, but not the marker
  constexpr std::size_t restartSegmentSize = jpeg::markerSize + restartLength;
  constexpr std::size_t scanHeaderSize = 14;  // for three components
  const std::shared_ptr<std::byte[]> bytes(new std::byte[bandHead.size() + restartSegmentSize]);
  const auto beforeScan = bandHead.first(bandHead.size() - scanHeaderSize);
  const std::array<std::byte, 2> length = bigEndianBytes(restartLength);
  const std::array<std::byte, 2> interval = bigEndianBytes(blocksOfBand(form));
  const std::array restart = {std::byte{0xFF}, jpeg::restartInterval, length[0], length[1], interval[0], interval[1]};
  static_assert(restart.size() == restartSegmentSize);
  std::byte* end = std::ranges::copy(beforeScan, bytes.get()).out;
  end = std::ranges::copy(restart, end).out;
  end = std::ranges::copy(bandHead.last(scanHeaderSize), end).out;
  return {.owner = bytes, .bytes = {bytes.get(), end}};
}

}  // namespace

TurboJpegImageEncoder::TurboJpegImageEncoder() : team_(std::max(1U, std::thread::hardware_concurrency())) {}

std::optional<Data> TurboJpegImageEncoder::jpegRepresentation(const std::shared_ptr<PixelBuffer>& buffer,
                                                              double quality) {
  unrested_ = nullptr;
  const bool isPossible = std::isfinite(quality) && buffer->width() > 0 && buffer->width() <= longestSide &&
                          buffer->height() > 0 && buffer->height() <= longestSide;
  if (!isPossible) {
    forget();
    return std::nullopt;
  }
  const int percent = static_cast<int>(std::lround(std::clamp(quality, 0.01, 1.0) * 100));
  BandForm form = {.width = static_cast<std::int32_t>(buffer->width()),
                   .height = static_cast<std::int32_t>(buffer->height()),
                   .quality = percent,
                   .hasFullColor = form_.hasFullColor};
  const bool isKnown = form == form_;
  if (isKnown) {
    dropDamaged(*buffer);
    findMissing();
    changedSinceRest_ += missing_.size();
  }
  const bool staysRested = isKnown && form.hasFullColor && changedSinceRest_ <= bands_.size() / mostChangeInFullColor;
  form.hasFullColor = percent >= leastQualityWithFullColor || staysRested;
  auto image = encode(*buffer, form);
  if (image && !form.hasFullColor) unrested_ = buffer;
  return image;
}

std::optional<Data> TurboJpegImageEncoder::restingRepresentation() {
  changedSinceRest_ = 0;
  const auto picture = std::exchange(unrested_, nullptr);
  if (!picture) return std::nullopt;
  BandForm form = form_;
  form.hasFullColor = true;
  return encode(*picture, form);
}

std::optional<Data> TurboJpegImageEncoder::encode(const PixelBuffer& picture, const BandForm& form) {
  if (form != form_) {
    if (!startAnew(picture, form)) return std::nullopt;
    findMissing();
  }
  if (!encodeMissing(picture)) {
    forget();
    return std::nullopt;
  }
  std::vector<Data::Segment> segments;
  segments.reserve(1 + bands_.size());
  segments.push_back(head_);
  for (const Band& band : bands_) segments.push_back(band.bytes);
  return Data(std::move(segments));
}

bool TurboJpegImageEncoder::startAnew(const PixelBuffer& picture, const BandForm& form) {
  forget();
  if (compressors_.empty()) compressors_.emplace_back();
  // Of a single row, for its head: that of every band is the same.
  const auto row = compressors_.front().compress(picture, form, 0, 1);
  if (!row) return false;
  form_ = form;
  bandHead_.assign(row->head.begin(), row->head.end());
  head_ = imageHead(bandHead_, form);
  const auto count = static_cast<std::size_t>((form.height + bandHeight - 1) / bandHeight);
  for (std::size_t index = 0; index < count; ++index) bands_.push_back({.pool = BufferPool::keeping(keptBuffers)});
  return true;
}

/// What comes next may differ in more than its damage from what is known.
void TurboJpegImageEncoder::forget() {
  form_ = {};
  bands_.clear();
}

void TurboJpegImageEncoder::dropDamaged(const PixelBuffer& picture) {
  for (const PixelRectangle& rectangle : picture.damage()) {
    const std::int32_t top = std::max(rectangle.y, 0);
    const std::int32_t bottom = std::min(rectangle.y + rectangle.height, form_.height);
    for (std::int32_t row = top - top % bandHeight; row < bottom; row += bandHeight) {
      bands_[static_cast<std::size_t>(row / bandHeight)].bytes = {};
    }
  }
}

void TurboJpegImageEncoder::findMissing() {
  missing_.clear();
  for (std::size_t index = 0; index < bands_.size(); ++index) {
    if (!bands_[index].bytes.owner) missing_.push_back(index);
  }
}

bool TurboJpegImageEncoder::encodeMissing(const PixelBuffer& picture) {
  const std::size_t pixels = missing_.size() * static_cast<std::size_t>(bandHeight * form_.width);
  const std::size_t workers = std::min(team_.most(), 1 + pixels / pixelsPerWorker);
  while (compressors_.size() < workers) compressors_.emplace_back();
  std::atomic<std::size_t> next = 0;
  std::atomic<bool> isComplete = true;
  const auto work = [&](std::size_t worker) {
    for (std::size_t job = next++; job < missing_.size() && isComplete; job = next++) {
      if (!encodeBand(picture, missing_[job], compressors_[worker])) isComplete = false;
    }
  };
  team_.run(workers, std::ref(work));
  return isComplete;
}

bool TurboJpegImageEncoder::encodeBand(const PixelBuffer& picture, std::size_t index, BandCompressor& compressor) {
  const std::int32_t top = static_cast<std::int32_t>(index) * bandHeight;
  const auto compressed = compressor.compress(picture, form_, top, std::min(top + bandHeight, form_.height));
  if (!compressed || !std::ranges::equal(compressed->head, bandHead_)) return false;
  Band& band = bands_[index];
  std::shared_ptr<std::byte[]> bytes = band.pool->take(compressed->scan.size());
  std::byte* const end = std::ranges::copy(compressed->scan, bytes.get()).out;
  // The last band's end is the image's; the others' are restarts.
  if (index + 1 < bands_.size())
    end[-1] = std::byte(std::to_integer<std::size_t>(jpeg::firstRestart) + index % jpeg::restartCycle);
  const std::span<const std::byte> written(bytes.get(), end);
  band.bytes = {.owner = std::move(bytes), .bytes = written};
  return true;
}

}  // namespace tandemview
