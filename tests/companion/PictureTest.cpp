#include "companion/Picture.h"

#include <gtest/gtest.h>

#include "companion/ClockPattern.h"
#include "companion/JpegReader.h"
#include "companion/NoiseJpeg.h"

namespace tandemview {
namespace {

TEST(PictureTest, IsPlanarWhereTheImageIsAndReadsAlikeEitherWay) {
  for (const bool isPlanar : {true, false}) {
    const std::string image = noiseJpeg({345, 401}, 0x12345678, {.subsampling = isPlanar ? TJSAMP_420 : TJSAMP_444});
    JpegReader reader;
    Picture picture;
    ASSERT_EQ(reader.open(std::as_bytes(std::span(image))), (FrameSize{345, 401}));
    ASSERT_TRUE(reader.readPicture(picture));
    EXPECT_EQ(picture.layout, isPlanar ? Picture::Layout::planar : Picture::Layout::packed);
    const std::size_t pixelSize = isPlanar ? 1 : 4;
    ClockPattern::Luminances blocks;
    for (std::size_t index = 0; index < blocks.size(); ++index) {
      const std::size_t row = index / ClockPattern::columns * ClockPattern::blockSize + 8;
      const std::size_t column = index % ClockPattern::columns * ClockPattern::blockSize + 8;
      blocks[index] = picture.bytes[row * picture.rowSize + column * pixelSize];
    }
    EXPECT_EQ(ClockPattern::read(blocks), 0x12345678U);
  }
}

TEST(PictureTest, IsRefusedWhereItsSizeDoesNotBoundItsCost) {
  std::string huge = noiseJpeg({344, 400}, 1);
  const std::size_t height = huge.find("\xFF\xC0") + 5;
  huge.replace(height, 4, "\xFF\xFF\xFF\xFF");
  for (const std::string& image : {noiseJpeg({344, 400}, 1, {.isProgressive = true}), huge}) {
    EXPECT_EQ(JpegReader().open(std::as_bytes(std::span(image))), std::nullopt);
  }
}

}  // namespace
}  // namespace tandemview
