#include "companion/WindowPicture.h"

namespace tandemview {

WindowPicture::WindowPicture(SDL_Renderer* renderer, FrameSize size) : renderer_(renderer), size_(size) {
  SDL_SetYUVConversionMode(SDL_YUV_CONVERSION_JPEG);
  fit();
}

bool WindowPicture::set(const Picture& picture) {
  const bool isPlanar = picture.layout == Picture::Layout::planar;
  if (!texture_ || picture.size != size_ || picture.layout != layout_) {
    size_ = picture.size;
    layout_ = picture.layout;
    texture_.reset(SDL_CreateTexture(renderer_, isPlanar ? SDL_PIXELFORMAT_IYUV : SDL_PIXELFORMAT_RGB888,
                                     SDL_TEXTUREACCESS_STREAMING, static_cast<int>(size_.width),
                                     static_cast<int>(size_.height)));
    fit();
  }
  if (!texture_) return false;
  const std::uint8_t* const bytes = picture.bytes.data();
  const int rowSize = static_cast<int>(picture.rowSize);
  if (!isPlanar) return SDL_UpdateTexture(texture_.get(), nullptr, bytes, rowSize) == 0;
  return SDL_UpdateYUVTexture(texture_.get(), nullptr, bytes, rowSize, bytes + picture.firstDifference, rowSize / 2,
                              bytes + picture.secondDifference, rowSize / 2) == 0;
}

void WindowPicture::fit() {
  int width = 0;
  int height = 0;
  SDL_GetRendererOutputSize(renderer_, &width, &height);
  // Displays have even sides: in a window with an odd one, the picture stays sharp beside a line of black.
  const auto isNearly = [](int side, std::int64_t picture) { return side == picture || side == picture + 1; };
  const bool isExact = isNearly(width, size_.width) && isNearly(height, size_.height);
  SDL_RenderSetIntegerScale(renderer_, isExact ? SDL_TRUE : SDL_FALSE);
  SDL_RenderSetLogicalSize(renderer_, static_cast<int>(size_.width), static_cast<int>(size_.height));
}

void WindowPicture::draw() {
  int width = 0;
  int height = 0;
  SDL_GetRendererOutputSize(renderer_, &width, &height);
  if (!texture_ || width != size_.width || height != size_.height) {
    SDL_SetRenderDrawColor(renderer_, 0, 0, 0, SDL_ALPHA_OPAQUE);
    SDL_RenderClear(renderer_);
  }
  if (texture_) SDL_RenderCopy(renderer_, texture_.get(), nullptr, nullptr);
}

}  // namespace tandemview
