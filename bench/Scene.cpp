#include <poll.h>
#include <xcb/randr.h>
#include <xcb/shm.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <optional>

#include "bench/SceneOutput.h"
#include "bench/ScenePicture.h"
#include "bench/SceneWindow.h"
#include "command_line/OptionParser.h"
#include "companion/ClockPattern.h"
#include "runtime/Log.h"
#include "runtime/MediaClock.h"

namespace tandemview {

namespace {

enum class Load { full, scroll, video, window, typing, rest };

constexpr std::array<std::pair<const char*, Load>, 6> loads = {{{"full", Load::full},
                                                                {"scroll", Load::scroll},
                                                                {"video", Load::video},
                                                                {"window", Load::window},
                                                                {"typing", Load::typing},
                                                                {"rest", Load::rest}}};

constexpr double charactersPerSecond = 7;

struct Options {
  std::string output;
  Load load = Load::full;
  double framesPerSecond = 60;
  std::uint32_t seed = 1;
};

struct ConnectionDeleter {
  void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

/// Follows an output of the X server and draws on it.
class Scene {
 public:
  explicit Scene(Options options) : options_(std::move(options)), connection_(xcb_connect(nullptr, &screenNumber_)) {}

  /// Draws until the server goes away. False, with a line printed, if there is none that will do.
  bool run() {
    if (!open()) return false;
    followOutput();
    while (xcb_connection_has_error(connection_.get()) == 0) {
      const double now = clock_.now();
      if (now >= nextDrawing_) {
        draw();
        nextDrawing_ = std::max(nextDrawing_ + interval(), now);  // a late frame delays the others
      }
      handleEvents();  // right before the wait: whatever was read along with a reply is handled
      wait();
    }
    Log::line("scene: the X server is gone");
    return true;
  }

 private:
  bool open() {
    if (xcb_connection_has_error(connection_.get()) != 0) {
      Log::line("scene: cannot connect to the X server");
      return false;
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_.get()));
    for (int number = 0; number < screenNumber_; ++number) xcb_screen_next(&screens);
    screen_ = screens.data;
    const xcb_query_extension_reply_t* randr = xcb_get_extension_data(connection_.get(), &xcb_randr_id);
    const xcb_query_extension_reply_t* shm = xcb_get_extension_data(connection_.get(), &xcb_shm_id);
    if (!randr || !randr->present || !shm || !shm->present || screen_->root_depth != 24) {
      Log::line("scene: needs RandR, MIT-SHM and 24 bits of colour");
      return false;
    }
    randrEvent_ = randr->first_event;
    shmCompletion_ = static_cast<std::uint8_t>(shm->first_event + XCB_SHM_COMPLETION);
    xcb_randr_select_input(
        connection_.get(), screen_->root,
        XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE | XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
    return true;
  }

  double interval() const {
    return 1 / (options_.load == Load::typing ? charactersPerSecond : options_.framesPerSecond);
  }

  void handleEvents() {
    while (xcb_generic_event_t* event = xcb_poll_for_event(connection_.get())) {
      handle(*event);
      std::free(event);
    }
  }

  void handle(const xcb_generic_event_t& event) {
    const std::uint8_t type = event.response_type & 0x7F;
    if (type == shmCompletion_ && window_) {
      window_->handle(reinterpret_cast<const xcb_shm_completion_event_t&>(event));
    } else if (type == XCB_EXPOSE) {
      needsWholePicture_ = true;
    } else if (type == randrEvent_ + XCB_RANDR_SCREEN_CHANGE_NOTIFY || type == randrEvent_ + XCB_RANDR_NOTIFY) {
      followOutput();
    }
  }

  void followOutput() {
    const std::optional<SceneOutput> found = findSceneOutput(connection_.get(), screen_->root, options_.output);
    if (found && window_ && window_->output() == *found) return;
    const bool wasShowing = window_ != nullptr;
    window_ = nullptr;
    if (found && (found->width < ScenePicture::smallestWidth || found->height < ScenePicture::smallestHeight)) {
      Log::print("scene: {} is too small", found->name);
    } else if (found) {
      show(*found);
    } else if (wasShowing || !hasWaited_) {
      Log::line("scene: waits for a display");
      hasWaited_ = true;
    }
  }

  void show(const SceneOutput& output) {
    if (!picture_ || pictureSize_ != std::pair(output.width, output.height)) {
      picture_ = std::make_unique<ScenePicture>(output.width, output.height, options_.seed);
      pictureSize_ = {output.width, output.height};
    }
    window_ = SceneWindow::on(connection_.get(), *screen_, output);
    if (!window_) return Log::line("scene: there is no shared memory left");
    Log::print("scene: shows {}x{} at ({}, {}) on {}", output.width, output.height, output.x, output.y, output.name);
    needsWholePicture_ = true;
    nextDrawing_ = clock_.now();
  }

  void draw() {
    if (!window_) return;
    if (options_.load == Load::full) return drawFrame();
    // The images of a still picture are not drawn in turn: the first one holds it.
    if (window_->freeImage() != 0) return;
    if (needsWholePicture_) return drawStill();
    if (options_.load != Load::rest) drawChange();
  }

  void drawFrame() {
    const std::optional<std::size_t> image = window_->freeImage();
    if (!image) return;
    picture_->drawFrame(window_->image(*image), frameNumber_++);
    showWhole(*image);
  }

  void drawStill() {
    needsWholePicture_ = false;
    const SceneView view = window_->image(0);
    options_.load == Load::typing ? picture_->drawNotebook(view) : picture_->drawFrame(view, 0);
    showWhole(0);
  }

  /// Of the load, and of the clock.
  void drawChange() {
    window_->show(0, changed(window_->image(0), ++frameNumber_));
    drawClock(0);
    window_->show(0, {0, 0, ClockPattern::width, ClockPattern::height});
  }

  SceneRectangle changed(const SceneView& view, std::uint64_t number) {
    switch (options_.load) {
      case Load::scroll:
        return picture_->drawScrolledPage(view, number);
      case Load::video:
        return picture_->drawVideo(view, number);
      case Load::window:
        return picture_->drawMovedWindow(view, number);
      default:
        return picture_->typeCharacter(view);
    }
  }

  void showWhole(std::size_t image) {
    drawClock(image);
    window_->show(image, {0, 0, window_->output().width, window_->output().height});
  }

  void drawClock(std::size_t image) {
    const SceneView view = window_->image(image);
    ClockPattern::draw(ClockPattern::ticks(clock_.now()), view.pixels, static_cast<std::size_t>(view.width));
  }

  /// Until the server has something to say or the next drawing is due.
  void wait() const {
    const bool isIdle = !window_ || (options_.load == Load::rest && !needsWholePicture_);
    const double seconds = std::max(0.0, nextDrawing_ - clock_.now());
    const auto whole = static_cast<std::time_t>(seconds);
    const timespec timeout{whole, static_cast<long>((seconds - static_cast<double>(whole)) * 1e9)};
    pollfd descriptor{xcb_get_file_descriptor(connection_.get()), POLLIN, 0};
    ::ppoll(&descriptor, 1, isIdle ? nullptr : &timeout, nullptr);
  }

  const Options options_;
  int screenNumber_ = 0;
  std::unique_ptr<xcb_connection_t, ConnectionDeleter> connection_;
  const xcb_screen_t* screen_ = nullptr;
  std::uint8_t randrEvent_ = 0;
  std::uint8_t shmCompletion_ = 0;
  SystemMediaClock clock_;

  std::unique_ptr<ScenePicture> picture_;
  std::pair<std::uint16_t, std::uint16_t> pictureSize_;
  std::unique_ptr<SceneWindow> window_;
  std::uint64_t frameNumber_ = 0;
  double nextDrawing_ = 0;
  bool needsWholePicture_ = true;
  bool hasWaited_ = false;
};

}  // namespace

}  // namespace tandemview

int main(int argumentCount, char** arguments) {
  using namespace tandemview;
  OptionParser line("Something to look at on the virtual display, and the repeatable load of the measurements.",
                    "scene");
  Options options;
  std::string load = "full";
  line.option({"--output", "The RandR output; otherwise the first that is not the primary one", "NAME"},
              options.output);
  line.option({"--load",
               "full: all of the picture moves; scroll: a page does; video: a third of it; window: a window is moved; "
               "typing: a "
               "few small changes a second; rest: nothing changes",
               "LOAD"},
              load, OptionParser::oneOf({"full", "scroll", "video", "window", "typing", "rest"}));
  line.option({"--fps", "Frames a second of what moves", "N"}, options.framesPerSecond, OptionParser::range(0.1, 1000));
  line.option({"--seed", "Makes another text", "N"}, options.seed);
  if (const auto status = line.parse(argumentCount, arguments)) return *status;
  for (const auto& [name, meant] : loads) {
    if (load == name) options.load = meant;
  }
  return Scene(std::move(options)).run() ? EXIT_SUCCESS : EXIT_FAILURE;
}
