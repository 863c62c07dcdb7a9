#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <jpeglib.h>

#include "companion/ClockPattern.h"
#include "companion/FrameSize.h"

namespace tandemview {

struct Encoding {
  int quality = 55;
  int lumaSampling = 2;  // 2: 4:2:0, 1: 4:4:4
  bool isProgressive = false;
};

/// A JPEG image of coloured noise with a clock pattern.
inline std::string noiseJpeg(FrameSize size, std::uint32_t ticks, Encoding encoding = {}) {
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
  if (encoding.isProgressive) jpeg_simple_progression(&image);
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

}  // namespace tandemview
