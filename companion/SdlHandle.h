#pragma once

#include <SDL.h>

#include <memory>

namespace tandemview {

struct SdlDeleter {
  void operator()(SDL_Window* object) const { SDL_DestroyWindow(object); }
  void operator()(SDL_Renderer* object) const { SDL_DestroyRenderer(object); }
  void operator()(SDL_Texture* object) const { SDL_DestroyTexture(object); }
};

/// Owns a window, a renderer or a texture.
template <typename Object>
using SdlHandle = std::unique_ptr<Object, SdlDeleter>;

}  // namespace tandemview
