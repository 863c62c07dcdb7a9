#pragma once

#include <turbojpeg.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "companion/ClockPattern.h"
#include "companion/FrameSize.h"

namespace tandemview {

struct Encoding {
  int quality = 55;
  int subsampling = TJSAMP_420;
  bool isProgressive = false;
};

/// A JPEG image of coloured noise with a clock pattern.
inline std::string noiseJpeg(FrameSize size, std::uint32_t ticks, Encoding encoding = {}) {
  std::vector<std::uint32_t> pixels(static_cast<std::size_t>(size.width * size.height));
  std::minstd_rand random(1);
  for (std::uint32_t& pixel : pixels) pixel = static_cast<std::uint32_t>(random());
  ClockPattern::draw(ticks, pixels, static_cast<std::size_t>(size.width));

  const tjhandle compressor = tjInitCompress();
  unsigned char* bytes = nullptr;
  unsigned long length = 0;
  tjCompress2(compressor, reinterpret_cast<const unsigned char*>(pixels.data()), size.width, 0, size.height, TJPF_BGRX,
              &bytes, &length, encoding.subsampling, encoding.quality, encoding.isProgressive ? TJFLAG_PROGRESSIVE : 0);
  tjDestroy(compressor);
  std::string result(reinterpret_cast<const char*>(bytes), length);
  tjFree(bytes);
  return result;
}

}  // namespace tandemview
