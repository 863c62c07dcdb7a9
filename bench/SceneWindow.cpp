#include "bench/SceneWindow.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <xcb/shape.h>

#include <cstdlib>

namespace tandemview {

std::unique_ptr<SceneWindow> SceneWindow::on(xcb_connection_t* connection, const xcb_screen_t& screen,
                                             const SceneOutput& output) {
  std::unique_ptr<SceneWindow> window(new SceneWindow(connection, screen, output));
  for (Image& image : window->images_) {
    if (!window->attach(image)) return nullptr;
  }
  window->open(screen);
  return window;
}

SceneWindow::SceneWindow(xcb_connection_t* connection, const xcb_screen_t& screen, const SceneOutput& output)
    : connection_(connection), output_(output), depth_(screen.root_depth) {}

SceneWindow::~SceneWindow() {
  for (const Image& image : images_) {
    if (image.segment != XCB_NONE) xcb_shm_detach(connection_, image.segment);
    if (image.memory) ::shmdt(image.memory);
  }
  if (window_ != XCB_NONE) {
    xcb_free_gc(connection_, context_);
    xcb_destroy_window(connection_, window_);
  }
  xcb_flush(connection_);
}

std::size_t SceneWindow::imageSize() const {
  return std::size_t{output_.width} * output_.height;
}

bool SceneWindow::attach(Image& image) const {
  const int identifier = ::shmget(IPC_PRIVATE, imageSize() * sizeof(std::uint32_t), IPC_CREAT | 0600);
  if (identifier < 0) return false;
  void* memory = ::shmat(identifier, nullptr, 0);
  const bool isMapped = memory != reinterpret_cast<void*>(-1);
  if (isMapped) {
    image.memory = memory;
    image.segment = xcb_generate_id(connection_);
    xcb_generic_error_t* error = xcb_request_check(
        connection_, xcb_shm_attach_checked(connection_, image.segment, static_cast<std::uint32_t>(identifier), 0));
    if (error) image.segment = XCB_NONE;
    std::free(error);
  }
  ::shmctl(identifier, IPC_RMID, nullptr);  // from now on it lives as long as it is attached
  return image.segment != XCB_NONE;
}

void SceneWindow::open(const xcb_screen_t& screen) {
  window_ = xcb_generate_id(connection_);
  // In the order of their bits: no window manager touches the window, and the server tells when to draw it again.
  const std::array<std::uint32_t, 3> values = {screen.black_pixel, 1, XCB_EVENT_MASK_EXPOSURE};
  xcb_create_window(connection_, screen.root_depth, window_, screen.root, output_.x, output_.y, output_.width,
                    output_.height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual,
                    XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values.data());
  // An empty input shape: the pointer's events go to what lies below.
  xcb_shape_rectangles(connection_, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED, window_, 0, 0, 0,
                       nullptr);
  context_ = xcb_generate_id(connection_);
  const std::uint32_t noExposures = 0;
  xcb_create_gc(connection_, context_, window_, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
  xcb_map_window(connection_, window_);
  xcb_flush(connection_);
}

std::optional<std::size_t> SceneWindow::freeImage() const {
  for (std::size_t number = 0; number < images_.size(); ++number) {
    if (images_[number].unfinished == 0) return number;
  }
  return std::nullopt;
}

SceneView SceneWindow::image(std::size_t number) {
  return {output_.width, output_.height, {static_cast<std::uint32_t*>(images_[number].memory), imageSize()}};
}

void SceneWindow::show(std::size_t image, const SceneRectangle& part) {
  xcb_shm_put_image(connection_, window_, context_, output_.width, output_.height, static_cast<std::uint16_t>(part.x),
                    static_cast<std::uint16_t>(part.y), static_cast<std::uint16_t>(part.width),
                    static_cast<std::uint16_t>(part.height), static_cast<std::int16_t>(part.x),
                    static_cast<std::int16_t>(part.y), depth_, XCB_IMAGE_FORMAT_Z_PIXMAP, 1, images_[image].segment, 0);
  xcb_flush(connection_);
  ++images_[image].unfinished;
}

void SceneWindow::handle(const xcb_shm_completion_event_t& event) {
  for (Image& image : images_) {
    if (image.segment == event.shmseg) --image.unfinished;
  }
}

}  // namespace tandemview
