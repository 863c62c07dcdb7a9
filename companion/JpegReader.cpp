#include "companion/JpegReader.h"

#include <array>
#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

namespace tandemview {

namespace {

/// No host sends larger ones; a header alone must not cost gigabytes.
constexpr std::int64_t longestSide = 16384;
constexpr std::int64_t mostPixels = 1 << 26;

/// Planar images are read by so many rows, a row of blocks of the differences.
constexpr std::size_t rowsAtOnce = 2 * DCTSIZE;

std::size_t roundedUp(std::size_t value, std::size_t unit) {
  return (value + unit - 1) / unit * unit;
}

}  // namespace

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
    // Damage may show only in what is left before the image's end.
    return jpeg_finish_decompress(&image) == TRUE && errors.num_warnings == 0;
  }

  /// A hostile image of many scans costs the whole size for each of them, which take a few bytes each.
  bool isBounded() {
    if (image.progressive_mode || image.arith_code || jpeg_has_multiple_scans(&image)) return false;
    const std::int64_t width = image.image_width;
    const std::int64_t height = image.image_height;
    return width <= longestSide && height <= longestSide && width * height <= mostPixels;
  }

  bool isPlanar() const {
    if (image.num_components != 3 || image.jpeg_color_space != JCS_YCbCr) return false;
    const auto samples = [this](int component) {
      return std::array{image.comp_info[component].h_samp_factor, image.comp_info[component].v_samp_factor};
    };
    return samples(0) == std::array{2, 2} && samples(1) == std::array{1, 1} && samples(2) == std::array{1, 1};
  }

  /// The planes have room for whole blocks, which the library writes.
  bool readPlanes(Picture& picture) {
    if (setjmp(onError) != 0) return false;
    while (image.output_scanline < image.output_height) {
      std::array<JSAMPROW, rowsAtOnce> luminance;
      std::array<JSAMPROW, rowsAtOnce / 2> first;
      std::array<JSAMPROW, rowsAtOnce / 2> second;
      const std::size_t row = image.output_scanline;
      for (std::size_t each = 0; each < rowsAtOnce; ++each) {
        luminance[each] = picture.bytes.data() + (row + each) * picture.rowSize;
      }
      for (std::size_t each = 0; each < rowsAtOnce / 2; ++each) {
        const std::size_t at = (row / 2 + each) * (picture.rowSize / 2);
        first[each] = picture.bytes.data() + picture.firstDifference + at;
        second[each] = picture.bytes.data() + picture.secondDifference + at;
      }
      std::array<JSAMPARRAY, 3> planes = {luminance.data(), first.data(), second.data()};
      if (jpeg_read_raw_data(&image, planes.data(), rowsAtOnce) != rowsAtOnce) return false;
    }
    return errors.num_warnings == 0;
  }

  bool read(std::vector<std::uint8_t>& pixels) {
    if (!start()) return false;
    const std::size_t rows = image.output_height;
    const std::size_t rowSize = std::size_t{image.output_width} * static_cast<std::size_t>(image.output_components);
    pixels.resize(rows * rowSize);
    return readRows(pixels.data(), rows, rowSize);
  }
};

JpegReader::JpegReader() : state_(std::make_unique<State>()) {}

JpegReader::~JpegReader() = default;

std::optional<FrameSize> JpegReader::open(std::span<const std::byte> bytes) {
  if (!state_->readHeader(bytes) || !state_->isBounded()) return std::nullopt;
  return FrameSize{state_->image.image_width, state_->image.image_height};
}

bool JpegReader::readAtAnEighth(std::vector<std::uint8_t>& luminance) {
  // Of each 8x8 block only its mean is wanted, which is the first of its coefficients.
  state_->image.scale_num = 1;
  state_->image.scale_denom = 8;
  state_->image.out_color_space = JCS_GRAYSCALE;
  return state_->read(luminance);
}

bool JpegReader::readPicture(Picture& picture) {
  jpeg_decompress_struct& image = state_->image;
  picture.size = {image.image_width, image.image_height};
  if (!state_->isPlanar()) {
    picture.layout = Picture::Layout::packed;
    picture.rowSize = std::size_t{image.image_width} * 4;
    image.out_color_space = JCS_EXT_BGRX;
    return state_->read(picture.bytes);
  }
  picture.layout = Picture::Layout::planar;
  picture.rowSize = roundedUp(image.image_width, rowsAtOnce);
  picture.firstDifference = picture.rowSize * roundedUp(image.image_height, rowsAtOnce);
  picture.secondDifference = picture.firstDifference / 4 * 5;
  picture.bytes.resize(picture.firstDifference / 2 * 3);
  image.raw_data_out = TRUE;
  return state_->start() && state_->readPlanes(picture);
}

}  // namespace tandemview
