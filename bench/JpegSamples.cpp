// Writes images of our encoder and of the library in one piece for decoders to compare: jpeg_samples DIRECTORY. Each
// pair shows the same picture, ours with bands of two pictures of a stream.

#include <turbojpeg.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "platform/linux/picture/TurboJpegImageEncoder.h"

using namespace tandemview;

namespace {

/// Smooth colours with some noise.
class SamplePicture final : public PixelBuffer {
 public:
  SamplePicture(std::int32_t width, std::int32_t height) : width_(width), height_(height) {
    pixels_.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    change(0, height);
  }
  std::int64_t width() const override { return width_; }
  std::int64_t height() const override { return height_; }
  std::size_t bytesPerRow() const override { return static_cast<std::size_t>(width_) * 4; }
  const std::byte* baseAddress() const override { return reinterpret_cast<const std::byte*>(pixels_.data()); }
  const std::vector<PixelRectangle>& damage() const override { return damage_; }

  /// Gives rows another content.
  void change(std::int32_t top, std::int32_t rows) {
    damage_ = {{0, top, width_, rows}};
    const std::uint32_t phase = random_();
    for (std::int32_t y = top; y < top + rows; ++y) {
      for (std::int32_t x = 0; x < width_; ++x) {
        const auto across = static_cast<std::uint32_t>(x);
        const auto down = static_cast<std::uint32_t>(y);
        const std::uint32_t noise = random_() % 24;
        pixels_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x)] =
            ((across + noise + phase) & 0xFF) << 16 | ((down + noise) & 0xFF) << 8 | ((across + down + phase) & 0xFF);
      }
    }
  }

 private:
  const std::int32_t width_;
  const std::int32_t height_;
  std::minstd_rand random_{11};
  std::vector<std::uint32_t> pixels_;
  std::vector<PixelRectangle> damage_;
};

void write(const std::string& path, const void* bytes, std::size_t size) {
  std::FILE* const file = std::fopen(path.c_str(), "we");
  const bool isWritten = file && std::fwrite(bytes, 1, size, file) == size && std::fclose(file) == 0;
  if (isWritten) return;
  std::perror(path.c_str());
  std::exit(EXIT_FAILURE);
}

void writePair(const std::string& directory, std::int32_t width, std::int32_t height, int quality) {
  const auto picture = std::make_shared<SamplePicture>(width, height);
  TurboJpegImageEncoder encoder;
  encoder.jpegRepresentation(picture, quality / 100.0);
  picture->change(height / 3, height - height / 3 * 2);
  const Data ours = encoder.jpegRepresentation(picture, quality / 100.0).value_or(Data()).contiguous();
  const std::string name =
      directory + "/" + std::to_string(width) + "x" + std::to_string(height) + "-at-" + std::to_string(quality);
  write(name + ".ours.jpg", ours.bytes().data(), ours.size());

  const tjhandle library = tjInitCompress();
  unsigned char* whole = nullptr;
  unsigned long size = 0;
  tjCompress2(library, reinterpret_cast<const unsigned char*>(picture->baseAddress()), width,
              static_cast<int>(picture->bytesPerRow()), height, TJPF_BGRX, &whole, &size,
              quality < 60 ? TJSAMP_420 : TJSAMP_444, quality, 0);
  write(name + ".whole.jpg", whole, size);
  tjFree(whole);
  tjDestroy(library);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) return EXIT_FAILURE;
  for (const auto& [width, height] : {std::pair{2, 2},
                                      {3, 5},
                                      {15, 17},
                                      {16, 32},
                                      {33, 31},
                                      {2, 4096},
                                      {4096, 2},
                                      {401, 301},
                                      {644, 1398},
                                      {2047, 1001},
                                      {1290, 2796},
                                      {4095, 4093},
                                      {4096, 4096}}) {
    for (const int quality : {55, 70}) writePair(arguments[1], width, height, quality);
  }
}
