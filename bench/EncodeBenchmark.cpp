// What our encoder costs against the library's: the same picture and settings through MJPEGEncoder, wholly changed or
// only in a twentieth of its rows, and through a bare loop over the library. Picture: rows of coloured blocks that look
// like text at each of the streamed sizes.

#include <benchmark/benchmark.h>
#include <turbojpeg.h>

#include <random>
#include <vector>

#include "capture/MJPEGEncoder.h"
#include "platform/linux/picture/TurboJpegImageEncoder.h"
#include "runtime/Log.h"

using namespace tandemview;

namespace {

class TextPicture final : public PixelBuffer {
 public:
  TextPicture(std::int64_t width, std::int64_t height) : width_(width), height_(height) {
    const auto columns = static_cast<std::size_t>(width);
    pixels_.assign(columns * static_cast<std::size_t>(height), 0xFF1E1E2E);
    std::mt19937 random(7);
    for (std::size_t line = 0; line + 18 < static_cast<std::size_t>(height); line += 18) {
      for (std::size_t column = 8; column + 8 < columns; column += 8) {
        if (random() % 5 == 0) continue;
        const std::uint32_t color = 0xFF000000 | (random() & 0x7F7F7F) | 0x808080;
        for (int stroke = 0; stroke < 14; ++stroke) {
          pixels_[(line + 2 + random() % 14) * columns + column + random() % 7] = color;
        }
      }
    }
  }
  std::int64_t width() const override { return width_; }
  std::int64_t height() const override { return height_; }
  std::size_t bytesPerRow() const override { return static_cast<std::size_t>(width_) * 4; }
  const std::byte* baseAddress() const override { return reinterpret_cast<const std::byte*>(pixels_.data()); }
  const std::vector<PixelRectangle>& damage() const override { return damage_; }

  void setChangedRows(std::int64_t top, std::int64_t count) {
    damage_ = {
        {0, static_cast<std::int32_t>(top), static_cast<std::int32_t>(width_), static_cast<std::int32_t>(count)}};
  }

 private:
  std::int64_t width_;
  std::int64_t height_;
  std::vector<std::uint32_t> pixels_;
  std::vector<PixelRectangle> damage_;
};

constexpr double balancedQuality = 0.55;

enum class Changes { inMotion, afterRests };

void encode(benchmark::State& state, Changes changes, std::int64_t changedTop, std::int64_t changedRows) {
  Log::setSink([](std::string_view) {});
  const auto picture = std::make_shared<TextPicture>(state.range(0), state.range(1));
  picture->setChangedRows(changedTop, changedRows);
  MJPEGEncoder encoder(std::make_unique<TurboJpegImageEncoder>(), std::make_shared<SystemMediaClock>());
  encoder.jpegQuality = balancedQuality;
  std::size_t size = 0;
  encoder.onEncodedData = [&size](const Data& frame) { size = frame.size(); };
  encoder.encode(picture);  // the first of a stream is encoded wholly
  for (auto _ : state) {
    encoder.encode(picture);
    if (changes == Changes::afterRests) encoder.encodeAtRest();
  }
  state.counters["bytes"] = static_cast<double>(size);
}

void ourEncoder(benchmark::State& state) {
  encode(state, Changes::inMotion, 0, state.range(1));
}

/// A part of the height that begins and ends within bands.
void ourEncoderAtTyping(benchmark::State& state) {
  encode(state, Changes::inMotion, state.range(1) / 3, state.range(1) / 20);
}

/// The same with a rest after each: in all colour.
void ourEncoderAtTypingRested(benchmark::State& state) {
  encode(state, Changes::afterRests, state.range(1) / 3, state.range(1) / 20);
}

void bareLibrary(benchmark::State& state) {
  const TextPicture picture(state.range(0), state.range(1));
  const auto width = static_cast<int>(picture.width());
  const auto height = static_cast<int>(picture.height());
  const tjhandle handle = tjInitCompress();
  std::vector<unsigned char> jpeg(tjBufSize(width, height, TJSAMP_420));
  unsigned char* buffer = jpeg.data();
  unsigned long size = jpeg.size();
  for (auto _ : state) {
    size = jpeg.size();
    tjCompress2(handle, reinterpret_cast<const unsigned char*>(picture.baseAddress()), width,
                static_cast<int>(picture.bytesPerRow()), height, TJPF_BGRX, &buffer, &size, TJSAMP_420, 55,
                TJFLAG_NOREALLOC);
  }
  state.counters["bytes"] = static_cast<double>(size);
  tjDestroy(handle);
}

/// Those at which a change is a small part of many bands.
void largeSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Args({1290, 2796})->Args({2048, 2732})->Unit(benchmark::kMillisecond)->UseRealTime();
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Args({644, 1398})->Args({1290, 2796})->Args({2048, 2732})->Unit(benchmark::kMillisecond)->UseRealTime();
}

}  // namespace

BENCHMARK(bareLibrary)->Apply(sizes);
BENCHMARK(ourEncoder)->Apply(sizes);
BENCHMARK(ourEncoderAtTyping)->Apply(largeSizes);
BENCHMARK(ourEncoderAtTypingRested)->Apply(largeSizes);
BENCHMARK_MAIN();
