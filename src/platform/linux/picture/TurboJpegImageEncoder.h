#pragma once

#include <memory>
#include <vector>

#include "capture/ImageEncoder.h"
#include "platform/linux/picture/BandCompressor.h"
#include "platform/linux/picture/BufferPool.h"
#include "platform/linux/picture/WorkerTeam.h"

namespace tandemview {

/// JPEG by libjpeg-turbo, on the calling thread and as many others as the work is worth. A picture is cut into bands
/// that don't depend on each other; those that hold no damage keep their bytes from the picture before. What moves
/// saves colour, unless its quality forbids; what rests has it all, and keeps it until much has changed.
class TurboJpegImageEncoder final : public ImageEncoder {
 public:
  TurboJpegImageEncoder();

  bool isAccelerated() const override { return false; }
  std::optional<Data> jpegRepresentation(const std::shared_ptr<PixelBuffer>& buffer, double quality) override;
  std::optional<Data> restingRepresentation() override;

 private:
  struct Band {
    std::shared_ptr<BufferPool> pool;
    Data::Segment bytes;  // none until they are encoded; frames under way share them
  };

  std::optional<Data> encode(const PixelBuffer& picture, const BandForm& form);
  bool startAnew(const PixelBuffer& picture, const BandForm& form);
  void forget();
  void dropDamaged(const PixelBuffer& picture);
  void findMissing();
  bool encodeMissing(const PixelBuffer& picture);
  bool encodeBand(const PixelBuffer& picture, std::size_t index, BandCompressor& compressor);

  WorkerTeam team_;
  std::vector<BandCompressor> compressors_;  // one for each of the team who has worked

  BandForm form_;                    // of what follows
  std::vector<std::byte> bandHead_;  // what the library puts before each band
  Data::Segment head_;               // what stands before the first
  std::vector<Band> bands_;

  std::vector<std::size_t> missing_;  // the numbers of the bands that have no bytes

  std::shared_ptr<PixelBuffer> unrested_;  // the last picture, if its colour was saved
  std::size_t changedSinceRest_ = 0;       // bands, each as often as it has
};

}  // namespace tandemview
