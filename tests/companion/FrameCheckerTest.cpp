#include "companion/FrameChecker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "companion/NoiseJpeg.h"
#include "companion/PictureChecker.h"
#include "fakes/ManualQueue.h"

namespace tandemview {
namespace {

constexpr FrameSize portrait{344, 400};
constexpr FrameSize landscape{400, 344};

std::string payload(double timestamp, const std::string& image) {
  std::string bytes(sizeof(timestamp), '\0');
  std::memcpy(bytes.data(), &timestamp, sizeof(timestamp));
  return bytes + image;
}

/// The faults.
std::vector<Fault> check(FrameChecker& checker, const std::string& bytes, const HostClock& hostClock = {}) {
  return checker.check(std::as_bytes(std::span(bytes)), 100, hostClock).faults;
}

PictureChecker::Finding find(const std::string& image) {
  const auto queue = ManualQueue::make();
  PictureChecker checker(queue);
  std::optional<PictureChecker::Finding> finding;
  checker.check(Data::copying(image), [&](const PictureChecker::Finding& found) { finding = found; });
  EXPECT_TRUE(queue->drainUntil([&] { return finding.has_value(); }));
  return finding.value_or(PictureChecker::Finding{});
}

TEST(FrameCheckerTest, ReadsTheClockThroughCompression) {
  for (const std::uint32_t ticks : {0U, 1U, 0x12345678U, 0xAAAAAAAAU, 0xFFFFFFFFU}) {
    for (const Encoding encoding : {Encoding{18}, Encoding{55}, Encoding{70, TJSAMP_444}, Encoding{100, TJSAMP_444}}) {
      const auto finding = find(noiseJpeg(portrait, ticks, encoding));
      EXPECT_FALSE(finding.isDamaged);
      EXPECT_EQ(finding.clockTicks, ticks) << "quality " << encoding.quality;
    }
  }
}

TEST(FrameCheckerTest, LooksAtWholePictures) {
  const std::string image = noiseJpeg(portrait, 1);
  for (const std::size_t place : {std::size_t{700}, image.size() / 2, image.size() - 300}) {
    EXPECT_TRUE(find(std::string(image).replace(place, 200, 200, '\0')).isDamaged) << "at " << place;
  }
  EXPECT_TRUE(find(image.substr(0, image.size() - 300) + "\xFF\xD9").isDamaged);
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
  const std::string image = noiseJpeg(portrait, 1);
  const std::string truncated = image.substr(0, image.size() - 1);
  const Fault incomplete{"picture", "a frame is no complete JPEG image"};
  const Fault header{"picture", "a frame's JPEG header is damaged, or not that of a baseline image with one scan"};
  const struct {
    std::string payload;
    std::vector<Fault> faults;
  } cases[] = {
      {"1234567", {{"picture", "a frame of only 7 bytes"}}},
      {payload(1, ""), {incomplete, header}},
      {payload(1, truncated), {incomplete}},
      {payload(1, "x" + image), {incomplete, header}},
      {payload(1, "\xFF\xD8\xFF\xD9"), {header}},
      {payload(1, noiseJpeg(landscape, 1)), {{"size", "a frame of 400x344 instead of 344x400"}}},
      {payload(std::nan(""), image), {{"timestamp", "a frame's timestamp is nan"}}},
      {payload(0.5, image), {{"timestamp", "a frame's timestamp 0.5 does not grow beyond 0.5"}}},
  };
  for (const auto& [bytes, faults] : cases) {
    FrameChecker checker(portrait);
    EXPECT_EQ(check(checker, payload(0.5, image)), std::vector<Fault>());
    EXPECT_EQ(check(checker, bytes), faults);
    checker.connectionDidStart();
    EXPECT_EQ(check(checker, payload(0.5, image)), std::vector<Fault>()) << "another connection starts afresh";
  }
}

TEST(FrameCheckerTest, JudgesTimestampsByTheHostsOwnClock) {
  const std::string image = noiseJpeg(portrait, 1);
  for (const double offset : {0.0, 5000.0, -70.0}) {
    FrameChecker checker(portrait);
    HostClock hostClock;
    EXPECT_TRUE(check(checker, payload(offset, image), hostClock).empty()) << "unknown as yet";
    hostClock.didAnswer(98, 98 + offset, 99.5);        // a slow answer: somewhere within 1.5 s
    hostClock.didAnswer(99, 99.004 + offset, 99.010);  // 99.005 +- 0.005
    EXPECT_TRUE(check(checker, payload(100.001 + offset, image), hostClock).empty());
    EXPECT_FALSE(check(checker, payload(100.1 + offset, image), hostClock).empty());
  }
}

TEST(FrameCheckerTest, AllowsTheOldSizeUntilTheNewOneCame) {
  double timestamp = 0;
  const auto arrives = [&](FrameChecker& checker, FrameSize size) {
    return check(checker, payload(timestamp++, noiseJpeg(size, 1))).empty();
  };
  FrameChecker checker(portrait);
  EXPECT_TRUE(checker.wait());
  EXPECT_TRUE(arrives(checker, portrait));
  EXPECT_FALSE(checker.wait());
  checker.expectSize(landscape);
  EXPECT_TRUE(arrives(checker, portrait));
  EXPECT_TRUE(checker.wait());
  EXPECT_TRUE(arrives(checker, landscape));
  EXPECT_FALSE(checker.wait());
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
