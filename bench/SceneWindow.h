#pragma once

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <array>
#include <memory>
#include <optional>

#include "bench/SceneImage.h"
#include "bench/SceneOutput.h"
#include "bench/ScenePicture.h"

namespace tandemview {

/// A window that covers one output, takes neither input nor focus and is drawn from two images that it shares with
/// the server, in turn.
class SceneWindow {
 public:
  /// Absent if the server or the system has no room for the images.
  static std::unique_ptr<SceneWindow> on(xcb_connection_t* connection, const xcb_screen_t& screen,
                                         const SceneOutput& output);
  ~SceneWindow();
  SceneWindow(const SceneWindow&) = delete;
  SceneWindow& operator=(const SceneWindow&) = delete;

  const SceneOutput& output() const { return output_; }

  /// Number of the image that the server does not read at the moment; absent while it reads both.
  std::optional<std::size_t> freeImage() const;
  SceneView image(std::size_t number);

  /// Shows a part of an image, which is not free until the server has told of the completion.
  void show(std::size_t image, const SceneRectangle& part);

  /// To be called with each event of the server's.
  void handle(const xcb_shm_completion_event_t& event);

 private:
  struct Image {
    xcb_shm_seg_t segment = XCB_NONE;
    void* memory = nullptr;
    int unfinished = 0;  // requests that the server has not completed
  };

  SceneWindow(xcb_connection_t* connection, const xcb_screen_t& screen, const SceneOutput& output);
  bool attach(Image& image) const;
  void open(const xcb_screen_t& screen);
  std::size_t imageSize() const;

  xcb_connection_t* connection_;
  SceneOutput output_;
  std::uint8_t depth_;
  xcb_window_t window_ = XCB_NONE;
  xcb_gcontext_t context_ = XCB_NONE;
  std::array<Image, 2> images_;
};

}  // namespace tandemview
