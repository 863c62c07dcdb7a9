#include "companion/FrameChecker.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include <jpeglib.h>

#include "companion/ClockPattern.h"

namespace tandemview {
namespace {

constexpr FrameSize portrait{344, 400};
constexpr FrameSize landscape{400, 344};

struct Encoding {
  int quality = 55;
  int lumaSampling = 2;  // 2: 4:2:0, 1: 4:4:4
};

/// A JPEG image of coloured noise with a clock pattern.
std::string jpeg(FrameSize size, std::uint32_t ticks, Encoding encoding = {}) {
  std::vector<std::uint32_t> pixels(static_cast<std::size_t>(size.width * size.height));
  std::minstd_rand random(1);
  for (std::uint32_t& pixel : pixels) pixel = static_cast<std::uint32_t>(random());
  ClockPattern::draw(ticks, pixels, static_cast<std::size_t>(size.width));

  jpeg_compress_struct image{};
  jpeg_error_mgr errors{};
  image.err = jpeg_std_error(&errors);
  jpeg_create_compress(&image);
  unsigned char* bytes = nullptr;
  unsigned long length = 0;
  jpeg_mem_dest(&image, &bytes, &length);
  image.image_width = static_cast<JDIMENSION>(size.width);
  image.image_height = static_cast<JDIMENSION>(size.height);
  image.input_components = 4;
  image.in_color_space = JCS_EXT_BGRX;
  jpeg_set_defaults(&image);
  jpeg_set_quality(&image, encoding.quality, TRUE);
  image.comp_info[0].h_samp_factor = image.comp_info[0].v_samp_factor = encoding.lumaSampling;
  jpeg_start_compress(&image, TRUE);
  while (image.next_scanline < image.image_height) {
    auto* row = reinterpret_cast<JSAMPLE*>(pixels.data() + image.next_scanline * static_cast<std::size_t>(size.width));
    jpeg_write_scanlines(&image, &row, 1);
  }
  jpeg_finish_compress(&image);
  jpeg_destroy_compress(&image);
  std::string result(reinterpret_cast<const char*>(bytes), length);
  std::free(bytes);
  return result;
}

std::string payload(double timestamp, const std::string& image) {
  std::string bytes(sizeof(timestamp), '\0');
  std::memcpy(bytes.data(), &timestamp, sizeof(timestamp));
  return bytes + image;
}

/// "" or the fault.
std::string check(FrameChecker& checker, const std::string& bytes, double now = 100) {
  const auto frame = checker.check(std::as_bytes(std::span(bytes)), now);
  return frame ? "" : frame.error();
}

TEST(FrameCheckerTest, ReadsTheClockThroughCompression) {
  FrameChecker checker(portrait);
  double timestamp = 1;
  for (const std::uint32_t ticks : {0U, 1U, 0x12345678U, 0xAAAAAAAAU, 0xFFFFFFFFU}) {
    for (const Encoding encoding : {Encoding{18, 2}, Encoding{55, 2}, Encoding{70, 1}, Encoding{100, 1}}) {
      const std::string bytes = payload(timestamp++, jpeg(portrait, ticks, encoding));
      const auto frame = checker.check(std::as_bytes(std::span(bytes)), 100);
      ASSERT_TRUE(frame.has_value()) << frame.error();
      EXPECT_EQ(frame->size, portrait);
      EXPECT_EQ(frame->clockTicks, ticks) << "quality " << encoding.quality;
    }
  }
}

TEST(FrameCheckerTest, SeesThatAPatternIsNone) {
  std::vector<std::uint32_t> pixels(ClockPattern::width * ClockPattern::height);
  ClockPattern::draw(0x12345678, pixels, ClockPattern::width);
  ClockPattern::Luminances right;
  for (int index = 0; index < 40; ++index) {
    const int corner = index / 20 * 16 * ClockPattern::width + index % 20 * 16;
    right[static_cast<std::size_t>(index)] = static_cast<std::uint8_t>(pixels[static_cast<std::size_t>(corner)]);
  }
  EXPECT_EQ(ClockPattern::read(right), 0x12345678U);
  for (std::size_t index = 0; index < right.size(); ++index) {
    ClockPattern::Luminances wrong = right;
    wrong[index] = static_cast<std::uint8_t>(~wrong[index]);
    EXPECT_EQ(ClockPattern::read(wrong), std::nullopt) << "block " << index << " inverted";
    wrong[index] = 128;
    EXPECT_EQ(ClockPattern::read(wrong), std::nullopt) << "block " << index << " grey";
  }
}

TEST(FrameCheckerTest, FindsFaults) {
  const std::string image = jpeg(portrait, 1);
  const std::string damaged = image.substr(0, 700) + std::string(200, '\0') + "\xFF\xD9";
  const std::string truncated = image.substr(0, image.size() - 1);
  const struct {
    std::string payload;
    const char* fault;
  } cases[] = {
      {"1234567", "a frame of only 7 bytes"},
      {payload(1, ""), "a frame is no complete JPEG image"},
      {payload(1, truncated), "a frame is no complete JPEG image"},
      {payload(1, "x" + image), "a frame is no complete JPEG image"},
      {payload(1, "\xFF\xD8\xFF\xD9"), "a frame's JPEG header is damaged"},
      {payload(1, damaged), "a frame's JPEG data is damaged"},
      {payload(1, jpeg(landscape, 1)), "a frame of 400x344 instead of 344x400"},
      {payload(101, image), "a frame's timestamp 101 lies in the future of 100"},
      {payload(std::nan(""), image), "a frame's timestamp nan lies in the future of 100"},
      {payload(0.5, image), "a frame's timestamp 0.5 does not grow beyond 0.5"},
  };
  for (const auto& [bytes, fault] : cases) {
    FrameChecker checker(portrait);
    EXPECT_EQ(check(checker, payload(0.5, image)), "");
    EXPECT_EQ(check(checker, bytes), fault);
    checker.connectionDidStart();
    EXPECT_EQ(check(checker, payload(0.5, image)), "") << "another connection starts afresh";
  }
}

TEST(FrameCheckerTest, AllowsTheOldSizeUntilTheNewOneCame) {
  double timestamp = 0;
  const auto arrives = [&](FrameChecker& checker, FrameSize size) {
    return check(checker, payload(timestamp++, jpeg(size, 1))).empty();
  };
  FrameChecker checker(portrait);
  EXPECT_TRUE(arrives(checker, portrait));
  checker.expectSize(landscape);
  EXPECT_TRUE(arrives(checker, portrait));
  EXPECT_TRUE(arrives(checker, landscape));
  EXPECT_FALSE(arrives(checker, portrait));
  EXPECT_TRUE(arrives(checker, landscape));

  // There and back before the host has followed: it may show the turn or skip it.
  FrameChecker quick(portrait);
  quick.expectSize(landscape);
  quick.expectSize(portrait);
  EXPECT_TRUE(arrives(quick, portrait));
  EXPECT_TRUE(arrives(quick, landscape));
  EXPECT_TRUE(arrives(quick, portrait));
  EXPECT_FALSE(arrives(quick, landscape));
}

}  // namespace
}  // namespace tandemview
