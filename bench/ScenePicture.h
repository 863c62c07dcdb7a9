#pragma once

#include <cstdint>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "bench/SceneBox.h"
#include "bench/SceneImage.h"
#include "bench/SceneText.h"

namespace tandemview {

struct SceneRectangle {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

/// What the scene shows: an editor full of scrolling text under a panel with the clocks, and a window that wanders
/// over it. Everything is drawn in advance, so that a frame is little more than copying.
class ScenePicture {
 public:
  static constexpr int smallestWidth = 400;
  static constexpr int smallestHeight = 300;

  /// The same size and seed make the same picture, but for the time of day.
  ScenePicture(int width, int height, std::uint32_t seed);

  /// The picture as frame `number` shows it, without the clock pattern.
  void drawFrame(const SceneView& view, std::uint64_t number);

  // The same when only one thing moves; each tells what changed since the frame before.
  SceneRectangle drawScrolledPage(const SceneView& view, std::uint64_t number);
  SceneRectangle drawVideo(const SceneView& view, std::uint64_t number);
  SceneRectangle drawMovedWindow(const SceneView& view, std::uint64_t number);

  /// The same with a notebook in the window's place.
  void drawNotebook(const SceneView& view);
  /// Types the next character into the notebook; what changed.
  SceneRectangle typeCharacter(const SceneView& view);

 private:
  void renderPanel(const std::tm& local);
  void renderTabs();
  void renderStatus();
  void renderLandscape();
  void renderFilm();
  void drawEditor(const SceneView& view, std::uint64_t scroll) const;
  SceneRectangle clockBoxAt(std::uint64_t number) const;
  SceneRectangle showClockBox(const SceneView& view, std::uint64_t number) const;
  void drawClockFace(cairo_t* context);
  void updateTime();

  const int width_;
  const int height_;
  std::minstd_rand random_;
  SceneText text_;
  const int textLines_;
  SceneImage code_;  // scrolls round and round
  SceneImage panel_;
  SceneImage tabs_;
  SceneImage status_;
  SceneImage landscape_;
  SceneImage film_;  // pans round and round; empty until it is shown
  SceneBox clockBox_;
  SceneBox notebook_;

  std::time_t shownTime_ = 0;
  std::string timeText_;
  std::string dateText_;
  int typedColumn_ = 0;
  int typedLine_ = 0;
};

}  // namespace tandemview
