#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "runtime/Data.h"
#include "runtime/Error.h"

namespace tandemview {

/// Saves the pictures of frames to a directory.
class FrameSaver {
 public:
  /// Makes the directory if need be. Saves every `every`th frame, the first one included; with 0, none but the last.
  static Result<FrameSaver> into(std::string directory, std::uint64_t every);

  /// Takes the picture of the next frame, whatever is wrong with it: writes "frame-000001.jpg" and so on. The error, if
  /// any, of the file.
  std::optional<Error> save(const Data& image);

  /// Writes the picture of a frame with a fault as "faulty-000012.jpg", by the number that it has had with save().
  std::optional<Error> saveFaulty(const Data& image, std::uint64_t number);

  /// Writes the picture of the last frame, if there was one, as "last.jpg".
  std::optional<Error> saveLast() const;

 private:
  FrameSaver(std::string directory, std::uint64_t every) : directory_(std::move(directory)), every_(every) {}

  std::string directory_;
  std::uint64_t every_;
  std::uint64_t frames_ = 0;
  std::uint64_t faulty_ = 0;
  Data last_;
};

}  // namespace tandemview
