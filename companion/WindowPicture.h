#pragma once

#include "companion/Picture.h"
#include "companion/SdlHandle.h"

namespace tandemview {

/// The picture that the window shows, scaled to fit.
class WindowPicture {
 public:
  /// Mouse and touch events count in the pixels of a picture of `size` from now on.
  WindowPicture(SDL_Renderer* renderer, FrameSize size);

  /// False: such a picture does not fit the renderer, and there is none now.
  bool set(const Picture& picture);
  void clear() { texture_ = nullptr; }

  FrameSize size() const { return size_; }
  bool isEmpty() const { return texture_ == nullptr; }

  /// After a change of the window's size, too.
  void fit();

  /// Fills the renderer with the picture and what is black around it.
  void draw();

  /// Draws with `draw` in the renderer's own pixels.
  template <typename Draw>
  void outside(Draw draw) {
    SDL_RenderSetLogicalSize(renderer_, 0, 0);
    draw();
    fit();
  }

 private:
  SDL_Renderer* const renderer_;
  FrameSize size_;
  Picture::Layout layout_ = Picture::Layout::packed;
  SdlHandle<SDL_Texture> texture_;
};

}  // namespace tandemview
