#include "companion/JpegReader.h"

#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

namespace tandemview {

// The library leaves a failed call by a jump to `onError`: between setjmp() and the call there is no object that
// would need its destructor.
struct JpegReader::State {
  jpeg_decompress_struct image{};
  jpeg_error_mgr errors{};
  std::jmp_buf onError{};

  State() {
    image.err = jpeg_std_error(&errors);
    image.client_data = this;
    errors.error_exit = [](j_common_ptr common) { std::longjmp(static_cast<State*>(common->client_data)->onError, 1); };
    errors.output_message = [](j_common_ptr) {};
    if (setjmp(onError) == 0) jpeg_create_decompress(&image);
  }
  ~State() { jpeg_destroy_decompress(&image); }

  bool readHeader(std::span<const std::byte> bytes) {
    if (setjmp(onError) != 0) return false;
    jpeg_abort_decompress(&image);
    errors.num_warnings = 0;
    jpeg_mem_src(&image, reinterpret_cast<const unsigned char*>(bytes.data()),
                 static_cast<unsigned long>(bytes.size()));
    return jpeg_read_header(&image, TRUE) == JPEG_HEADER_OK;
  }

  bool start() {
    if (setjmp(onError) != 0) return false;
    return jpeg_start_decompress(&image) == TRUE;
  }

  /// `pixels` has room for `rows` rows of `rowSize` bytes.
  bool readRows(std::uint8_t* pixels, std::size_t rows, std::size_t rowSize) {
    if (setjmp(onError) != 0) return false;
    while (image.output_scanline < rows) {
      JSAMPROW row = pixels + image.output_scanline * rowSize;
      if (jpeg_read_scanlines(&image, &row, 1) != 1) return false;
    }
    return errors.num_warnings == 0;
  }

  bool read(std::size_t rows, std::vector<std::uint8_t>& pixels) {
    if (!start() || image.output_height < rows) return false;
    const std::size_t rowSize = std::size_t{image.output_width} * static_cast<std::size_t>(image.output_components);
    pixels.resize(rows * rowSize);
    return readRows(pixels.data(), rows, rowSize);
  }
};

JpegReader::JpegReader() : state_(std::make_unique<State>()) {}

JpegReader::~JpegReader() = default;

std::optional<FrameSize> JpegReader::open(std::span<const std::byte> bytes) {
  if (!state_->readHeader(bytes)) return std::nullopt;
  return FrameSize{state_->image.image_width, state_->image.image_height};
}

bool JpegReader::readTopAtAnEighth(std::size_t rows, std::vector<std::uint8_t>& luminance) {
  // Of each 8x8 block only its mean is wanted, which is the first of its coefficients.
  state_->image.scale_num = 1;
  state_->image.scale_denom = 8;
  state_->image.out_color_space = JCS_GRAYSCALE;
  return state_->read(rows, luminance);
}

bool JpegReader::readPixels(std::vector<std::uint8_t>& pixels) {
  state_->image.out_color_space = JCS_EXT_BGRX;
  return state_->read(state_->image.image_height, pixels);
}

}  // namespace tandemview
