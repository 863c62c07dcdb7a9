#pragma once

#include <xcb/damage.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture/CaptureSystem.h"
#include "platform/linux/picture/FramePacer.h"
#include "platform/linux/picture/PictureScaler.h"
#include "platform/linux/picture/PixelRegion.h"
#include "platform/linux/x11/capture/SharedPixels.h"
#include "platform/linux/x11/capture/X11Cursor.h"
#include "platform/linux/x11/capture/X11PixelBufferPool.h"
#include "platform/linux/x11/server/X11Connection.h"
#include "runtime/MediaClock.h"

namespace tandemview {

/// The work of one capture, on a connection of its own. Everything runs on the sample queue, which it never outlives
/// and so doesn't own. At rest, when nothing changes, nothing runs.
class X11CaptureSession : public std::enable_shared_from_this<X11CaptureSession> {
 public:
  X11CaptureSession(std::string displayName, const CaptureConfiguration& configuration, CaptureOutput output);
  ~X11CaptureSession();

  void start(const CaptureStream::Completion& completion);

  /// From any thread: the end will be on purpose, and so it is no error.
  void willStop() { isStopping_ = true; }

  /// Nothing is output any more when this returns.
  void stop();

 private:
  enum class State { New, Running, Stopped };
  struct Rectangle {
    std::int16_t x = 0;
    std::int16_t y = 0;
    std::uint16_t width = 0;
    std::uint16_t height = 0;

    bool overlaps(const xcb_rectangle_t& area) const {
      return area.x < x + width && area.x + area.width > x && area.y < y + height && area.y + area.height > y;
    }
  };

  std::optional<Error> open();
  std::optional<Error> selectEvents();
  std::optional<Error> makeBuffers();
  Result<std::unique_ptr<SharedPixels>> makeScreenPixels() const;

  void turn();
  void queueTurn();
  void readEvents();
  void readEvent(const xcb_generic_event_t& event);
  std::optional<Error> followDisplay();
  Result<Rectangle> displayRectangle() const;
  void readChanges();
  void readDamage(const xcb_xfixes_fetch_region_reply_t* reply);
  void addStale(const PixelRegion& changed);
  void takePicture(X11PixelBuffer& buffer);
  bool refresh(SharedPixels& picture);
  void waitForEvents();
  void waitFor(double seconds);
  void waitForFreshPixels(double seconds);
  void fail(const Error& error);

  const std::string displayName_;
  const CaptureConfiguration configuration_;
  Queue& queue_;
  CaptureOutput output_;
  const SystemMediaClock clock_;
  State state_ = State::New;
  std::atomic<bool> isStopping_ = false;

  std::shared_ptr<X11Connection> connection_;
  std::unique_ptr<DescriptorWatch> watch_;
  bool waitsForEvents_ = false;
  bool waitsForTime_ = false;
  std::uint8_t damageEvent_ = 0;
  std::uint8_t cursorEvent_ = 0;
  std::uint8_t randrEvent_ = 0;
  xcb_damage_damage_t damage_ = XCB_NONE;
  xcb_xfixes_region_t damagedRegion_ = XCB_NONE;

  Rectangle display_;  // on the screen
  FramePacer pacer_;
  double nextLook_ = 0;  // no sooner, after one that brought no picture
  std::optional<X11Cursor> cursor_;
  std::shared_ptr<X11PixelBufferPool> pool_;
  std::unique_ptr<SharedPixels> unscaled_;  // the display's picture, if that has another size than the buffers
  std::optional<PictureScaler> scaler_;

  // What the events told, until it is looked at.
  bool hasDamage_ = false;
  bool hasPointerEvent_ = false;
  bool hasLayoutChange_ = false;

  bool hasGrownOld_ = false;  // a change had to wait until a picture was due
  bool waitsForFreshPixels_ = false;
  std::uint64_t freshPixelsWait_ = 0;  // the last one's number

  PixelRegion undelivered_;  // of the display: what has changed since the last picture
  bool wasRefused_ = false;  // the server refused the last picture

  // Kept for their memory.
  std::vector<pixman_box32_t> damageBoxes_;
  std::vector<xcb_shm_get_image_cookie_t> imageRequests_;
};

}  // namespace tandemview
