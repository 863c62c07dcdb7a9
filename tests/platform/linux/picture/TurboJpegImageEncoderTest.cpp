#include "platform/linux/picture/TurboJpegImageEncoder.h"

#include <gtest/gtest.h>
#include <stb/stb_image.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>

namespace tandemview {
namespace {

/// A smooth coloured picture with padded rows.
class Gradient final : public PixelBuffer {
 public:
  Gradient(int width, int height, int phase = 0) : width_(width), height_(height), bytes_(bytesPerRow() * height) {
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        std::byte* const pixel = bytes_.data() + y * bytesPerRow() + 4 * static_cast<std::size_t>(x);
        for (int channel = 0; channel < 3; ++channel) pixel[channel] = std::byte(expected(x, y, channel, phase));
      }
    }
  }

  /// Channels in the order of memory: blue, green, red.
  static int expected(int x, int y, int channel, int phase) {
    const std::array values = {x / 2, y / 2, 200 - (x + y) / 4 + phase};
    return std::clamp(values[channel], 0, 255);
  }

  std::int64_t width() const override { return width_; }
  std::int64_t height() const override { return height_; }
  std::size_t bytesPerRow() const override { return static_cast<std::size_t>(width_) * 4 + 20; }
  const std::byte* baseAddress() const override { return bytes_.data(); }
  const std::vector<PixelRectangle>& damage() const override { return damage_; }

 private:
  int width_;
  int height_;
  std::vector<std::byte> bytes_;
  std::vector<PixelRectangle> damage_;
};

/// The mean difference to a gradient; a negative value if the data is no JPEG of that size.
double differenceTo(const Data& jpeg, int width, int height, int phase = 0) {
  int decodedWidth = 0;
  int decodedHeight = 0;
  int channels = 0;
  const auto bytes = jpeg.bytes();
  stbi_uc* const pixels =
      stbi_load_from_memory(reinterpret_cast<const stbi_uc*>(bytes.data()), static_cast<int>(bytes.size()),
                            &decodedWidth, &decodedHeight, &channels, 3);
  if (!pixels || decodedWidth != width || decodedHeight != height) return -1;
  double sum = 0;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const stbi_uc* const pixel = pixels + (static_cast<std::size_t>(y) * width + x) * 3;
      for (int channel = 0; channel < 3; ++channel) {
        sum += std::abs(pixel[2 - channel] - Gradient::expected(x, y, channel, phase));
      }
    }
  }
  stbi_image_free(pixels);
  return sum / (3.0 * width * height);
}

TEST(TurboJpegImageEncoder, MakesImagesThatOthersDecode) {
  TurboJpegImageEncoder encoder;
  struct Row {
    int width, height;
    double quality, difference;
  };
  for (const Row& row : {Row{400, 300, 0.5, 2},
                         {401, 301, 0.7, 2},
                         {1, 1, 0.55, 4},
                         {17, 3, 0.4, 4},
                         {400, 300, 1, 1},
                         {400, 300, 7, 1},
                         {400, 300, 0.18, 5},
                         {400, 300, 0, 60},
                         {400, 300, -1, 60}}) {
    const auto jpeg = encoder.jpegRepresentation(std::make_shared<Gradient>(row.width, row.height), row.quality);
    ASSERT_TRUE(jpeg);
    const double difference = differenceTo(*jpeg, row.width, row.height);
    EXPECT_GE(difference, 0) << row.width << "x" << row.height;
    EXPECT_LE(difference, row.difference) << row.width << "x" << row.height << " at " << row.quality;
  }
  EXPECT_FALSE(encoder.jpegRepresentation(std::make_shared<Gradient>(65536, 1), 0.5)) << "wider than JPEG can be";
  EXPECT_FALSE(encoder.jpegRepresentation(std::make_shared<Gradient>(8, 8), std::nan("")));
}

TEST(TurboJpegImageEncoder, UsesABufferAgainOnlyWhenNobodyHoldsIt) {
  auto encoder = std::make_unique<TurboJpegImageEncoder>();
  std::vector<Data> held;
  for (int phase = 0; phase < 20; ++phase) {
    held.push_back(*encoder->jpegRepresentation(std::make_shared<Gradient>(100, 80, phase), 0.9));
  }
  for (int phase = 0; phase < 20; ++phase) EXPECT_LE(differenceTo(held[phase], 100, 80, phase), 2) << phase;
  held.clear();

  std::set<const std::byte*> buffers;
  for (int turn = 0; turn < 20; ++turn) {
    buffers.insert(encoder->jpegRepresentation(std::make_shared<Gradient>(100, 80), 0.9)->bytes().data());
  }
  EXPECT_EQ(buffers.size(), 1U);
  const Data last = *encoder->jpegRepresentation(std::make_shared<Gradient>(100, 80), 0.9);
  encoder = nullptr;
  EXPECT_LE(differenceTo(last, 100, 80), 2) << "data outlives the encoder";
}

}  // namespace
}  // namespace tandemview
