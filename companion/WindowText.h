#pragma once

#include <string>
#include <vector>

#include "companion/SdlHandle.h"

namespace tandemview {

/// Writes on a renderer, light on a dark plate, in its own pixels.
class WindowText {
 public:
  enum class Place { Middle, TopLeft, Bottom };

  explicit WindowText(SDL_Renderer* renderer);

  /// Lines that are too long for the renderer are broken between words.
  void write(const std::vector<std::string>& lines, Place place);

 private:
  void writeLine(const std::u32string& line, int left, int top, int scale);

  SDL_Renderer* const renderer_;
  SdlHandle<SDL_Texture> glyphs_;  // those of one byte's worth of characters, side by side
};

}  // namespace tandemview
