#include "platform/linux/picture/TurboJpegImageEncoder.h"

#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>

namespace tandemview {
namespace {

using Pixels = std::vector<unsigned char>;

/// A smooth coloured picture with some noise, whose rows are padded.
class TestPicture final : public PixelBuffer {
 public:
  TestPicture(int width, int height, unsigned int phase = 0) : width_(width), height_(height) {
    bytes_.resize(bytesPerRow() * static_cast<std::size_t>(height));
    fill(0, height, phase);
  }

  /// Gives rows another content.
  void fill(int top, int bottom, unsigned int phase) {
    std::mt19937 random(phase);
    for (int y = top; y < bottom; ++y) {
      for (int x = 0; x < width_; ++x) {
        std::byte* const pixel =
            bytes_.data() + static_cast<std::size_t>(y) * bytesPerRow() + 4 * static_cast<std::size_t>(x);
        const auto noise = static_cast<int>(random() % 32 + 64 * (phase % 2));
        for (int channel = 0; channel < 3; ++channel)
          pixel[channel] = std::byte((x / 2 + y * channel / 3 + noise) & 0xFF);
      }
    }
  }

  std::int64_t width() const override { return width_; }
  std::int64_t height() const override { return height_; }
  std::size_t bytesPerRow() const override { return static_cast<std::size_t>(width_) * 4 + 20; }
  const std::byte* baseAddress() const override { return bytes_.data(); }
  const std::vector<PixelRectangle>& damage() const override { return damage_; }

  std::vector<PixelRectangle> damage_;

 private:
  int width_;
  int height_;
  std::vector<std::byte> bytes_;
};

/// The same picture by the library in one piece.
Data inOnePiece(const TestPicture& picture, int quality, int subsampling) {
  const tjhandle compressor = tjInitCompress();
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  tjCompress2(compressor, reinterpret_cast<const unsigned char*>(picture.baseAddress()),
              static_cast<int>(picture.width()), static_cast<int>(picture.bytesPerRow()),
              static_cast<int>(picture.height()), TJPF_BGRX, &bytes, &size, subsampling, quality, 0);
  const Data image = Data::copying(std::as_bytes(std::span(bytes, size)));
  tjFree(bytes);
  tjDestroy(compressor);
  return image;
}

/// Empty if it is no JPEG of that size, or one that the library warns of.
Pixels decoded(const Data& jpeg, int width, int height) {
  const Data all = jpeg.contiguous();
  const auto* const bytes = reinterpret_cast<const unsigned char*>(all.bytes().data());
  const std::unique_ptr<void, decltype(&tjDestroy)> decompressor(tjInitDecompress(), &tjDestroy);
  int imageWidth = 0;
  int imageHeight = 0;
  int subsampling = 0;
  int colors = 0;
  tjDecompressHeader3(decompressor.get(), bytes, all.size(), &imageWidth, &imageHeight, &subsampling, &colors);
  if (imageWidth != width || imageHeight != height) return {};
  Pixels pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
  const int result = tjDecompress2(decompressor.get(), bytes, all.size(), pixels.data(), width, 0, height, TJPF_RGB, 0);
  return result == 0 ? pixels : Pixels();
}

int subsamplingFor(int quality) {
  return quality < 60 ? TJSAMP_420 : TJSAMP_444;
}

/// Whether the encoder's next image is the one of exactly this picture.
testing::AssertionResult shows(const std::optional<Data>& jpeg, const TestPicture& picture, int quality,
                               int subsampling) {
  const int width = static_cast<int>(picture.width());
  const int height = static_cast<int>(picture.height());
  if (!jpeg) return testing::AssertionFailure() << "no image";
  const Data expected = inOnePiece(picture, quality, subsampling);
  const Pixels pixels = decoded(*jpeg, width, height);
  if (pixels.empty()) return testing::AssertionFailure() << "the library can't read it";
  if (pixels != decoded(expected, width, height)) return testing::AssertionFailure() << "other pixels";
  return testing::AssertionSuccess();
}
testing::AssertionResult shows(const std::optional<Data>& jpeg, const TestPicture& picture, int quality) {
  return shows(jpeg, picture, quality, subsamplingFor(quality));
}

TEST(TurboJpegImageEncoder, MakesTheLibrarysImagesOutOfBands) {
  TurboJpegImageEncoder encoder;
  constexpr std::pair<int, int> sizes[] = {{1, 1},     {2, 2},      {17, 3},      {16, 32},   {15, 33},  {33, 64},
                                           {401, 301}, {643, 1399}, {2047, 1001}, {4096, 31}, {31, 4096}};
  for (const auto& [width, height] : sizes) {
    const auto picture = std::make_shared<TestPicture>(width, height);
    for (const int percent : {18, 55, 59, 60, 70, 100}) {
      EXPECT_TRUE(shows(encoder.jpegRepresentation(picture, percent / 100.0), *picture, percent))
          << width << "x" << height << " at " << percent;
    }
  }
}

TEST(TurboJpegImageEncoder, TakesEveryQualityAndRefusesWhatIsNoPicture) {
  TurboJpegImageEncoder encoder;
  const auto picture = std::make_shared<TestPicture>(40, 70);
  EXPECT_TRUE(shows(encoder.jpegRepresentation(picture, 7), *picture, 100));
  EXPECT_TRUE(shows(encoder.jpegRepresentation(picture, -1), *picture, 1));
  picture->fill(0, 70, 1);
  EXPECT_FALSE(encoder.jpegRepresentation(picture, std::nan("")));
  EXPECT_TRUE(shows(encoder.jpegRepresentation(picture, 0.01), *picture, 1)) << "nothing is kept over a failure";
  EXPECT_FALSE(encoder.jpegRepresentation(std::make_shared<TestPicture>(65501, 1), 0.5)) << "wider than JPEG can be";
  EXPECT_FALSE(encoder.jpegRepresentation(std::make_shared<TestPicture>(1, 65501), 0.5)) << "higher than JPEG can be";
}

/// Whatever a picture's damage touches is shown as it is; the rest stays as it was, in the same memory.
TEST(TurboJpegImageEncoder, EncodesOnlyWhatIsDamaged) {
  TurboJpegImageEncoder encoder;
  const auto picture = std::make_shared<TestPicture>(640, 500);
  const auto encoded = [&](std::vector<PixelRectangle> damage) {
    picture->damage_ = std::move(damage);
    return *encoder.jpegRepresentation(picture, 0.55);
  };
  Data before = encoded({{0, 0, 640, 500}});
  const TestPicture original = *picture;
  unsigned int phase = 0;
  struct Row {
    std::vector<PixelRectangle> damage;
    std::set<std::size_t> bands;
  };
  for (const Row& row : {Row{{{3, 40, 1, 1}}, {1}},
                         {{{0, 32, 640, 32}}, {1}},
                         {{{600, 31, 1, 2}}, {0, 1}},
                         {{{0, 0, 5, 1}, {9, 499, 5, 1}}, {0, 15}},
                         {{{-5, -5, 700, 600}}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}}}) {
    ++phase;
    for (const PixelRectangle& each : row.damage) {
      picture->fill(std::max(each.y, 0), std::min(each.y + each.height, 500), phase);
    }
    const Data after = encoded(row.damage);
    EXPECT_TRUE(shows(after, *picture, 55)) << phase;
    std::set<std::size_t> changed;
    ASSERT_EQ(after.segments().size(), before.segments().size());
    for (std::size_t index = 1; index < after.segments().size(); ++index) {
      if (after.segments()[index].owner != before.segments()[index].owner) changed.insert(index - 1);
    }
    EXPECT_EQ(changed, row.bands) << phase;
    before = after;
  }
  *picture = original;
  EXPECT_TRUE(shows(encoded({{0, 0, 640, 500}}), original, 55));
}

/// A picture may be newer than its damage tells: the next one's damage tells the rest.
TEST(TurboJpegImageEncoder, IsExactOnceTheDamageHasToldAll) {
  TurboJpegImageEncoder encoder;
  const auto picture = std::make_shared<TestPicture>(320, 300);
  picture->damage_ = {{0, 0, 320, 300}};
  ASSERT_TRUE(encoder.jpegRepresentation(picture, 0.7));
  picture->fill(10, 200, 1);
  picture->damage_ = {{0, 10, 320, 60}};
  const auto early = encoder.jpegRepresentation(picture, 0.7);
  EXPECT_FALSE(shows(early, *picture, 70));
  ASSERT_TRUE(early);
  EXPECT_FALSE(decoded(*early, 320, 300).empty()) << "an image all the same";
  picture->damage_ = {{0, 70, 320, 130}};
  EXPECT_TRUE(shows(encoder.jpegRepresentation(picture, 0.7), *picture, 70));
}

TEST(TurboJpegImageEncoder, BeginsAnewWithAnotherQualityOrSize) {
  TurboJpegImageEncoder encoder;
  const std::vector<PixelRectangle> little = {{0, 0, 1, 1}};
  const auto picture = std::make_shared<TestPicture>(320, 300);
  const auto turned = std::make_shared<TestPicture>(300, 320, 1);
  for (const auto& [each, percent] :
       {std::pair{picture, 55}, {picture, 56}, {picture, 70}, {turned, 70}, {picture, 70}, {picture, 55}}) {
    each->damage_ = little;
    each->fill(0, static_cast<int>(each->height()), static_cast<unsigned int>(percent));
    EXPECT_TRUE(shows(encoder.jpegRepresentation(each, percent / 100.0), *each, percent)) << percent;
  }
}

/// A rest brings all colour once, and little changes keep it; what moves more than half the picture lets go of it.
TEST(TurboJpegImageEncoder, KeepsAllColorWhileItRests) {
  constexpr int bands = 10;
  TurboJpegImageEncoder encoder;
  const auto picture = std::make_shared<TestPicture>(320, 32 * bands);
  unsigned int phase = 0;
  const auto change = [&](int changed) {
    picture->fill(0, 32 * changed, ++phase);
    picture->damage_ = {{0, 0, 320, 32 * changed}};
    return encoder.jpegRepresentation(picture, 0.55);
  };
  EXPECT_FALSE(encoder.restingRepresentation()) << "of what?";
  EXPECT_TRUE(shows(change(bands), *picture, 55, TJSAMP_420));
  EXPECT_EQ(picture.use_count(), 2) << "kept for its rest";
  EXPECT_TRUE(shows(encoder.restingRepresentation(), *picture, 55, TJSAMP_444));
  EXPECT_EQ(picture.use_count(), 1);
  for (int blink = 0; blink < 20; ++blink) {
    EXPECT_TRUE(shows(change(1), *picture, 55, TJSAMP_444)) << blink;
    EXPECT_FALSE(encoder.restingRepresentation()) << "it has all its colour";
  }
  for (int moved = 1; moved < bands; ++moved) {
    EXPECT_TRUE(shows(change(1), *picture, 55, moved <= bands / 2 ? TJSAMP_444 : TJSAMP_420)) << moved;
  }
  EXPECT_TRUE(shows(encoder.restingRepresentation(), *picture, 55, TJSAMP_444));
  EXPECT_TRUE(shows(change(bands), *picture, 55, TJSAMP_420));
  const auto sharper = std::make_shared<TestPicture>(320, 32 * bands, ++phase);
  EXPECT_TRUE(shows(encoder.jpegRepresentation(sharper, 0.6), *sharper, 60));
  EXPECT_FALSE(encoder.restingRepresentation()) << "it had all its colour";
  EXPECT_EQ(picture.use_count(), 1);
  EXPECT_FALSE(encoder.jpegRepresentation(picture, std::nan("")));
  EXPECT_FALSE(encoder.restingRepresentation()) << "of a failure";
}

TEST(TurboJpegImageEncoder, UsesABufferAgainOnlyWhenNobodyHoldsIt) {
  auto encoder = std::make_unique<TurboJpegImageEncoder>();
  std::vector<Data> held;
  const auto picture = [](unsigned int phase) {
    auto result = std::make_shared<TestPicture>(100, 80, phase);
    result->damage_ = {{0, 0, 100, 80}};
    return result;
  };
  for (unsigned int phase = 0; phase < 20; ++phase) held.push_back(*encoder->jpegRepresentation(picture(phase), 0.9));
  for (unsigned int phase = 0; phase < 20; ++phase) EXPECT_TRUE(shows(held[phase], *picture(phase), 90)) << phase;
  held.clear();

  std::set<const std::byte*> buffers;
  for (int turn = 0; turn < 20; ++turn) {
    const Data image = *encoder->jpegRepresentation(picture(3), 0.9);
    for (const Data::Segment& segment : image.segments()) buffers.insert(segment.bytes.data());
  }
  EXPECT_LE(buffers.size(), 1U + 2U * 3U) << "one head and, for each of three bands, two in turn at most";
  const Data last = *encoder->jpegRepresentation(picture(3), 0.9);
  encoder = nullptr;
  EXPECT_TRUE(shows(last, *picture(3), 90)) << "data outlives the encoder";
}

}  // namespace
}  // namespace tandemview
