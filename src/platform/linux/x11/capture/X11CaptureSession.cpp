#include "platform/linux/x11/capture/X11CaptureSession.h"

#include <xcb/randr.h>
#include <xcb/shm.h>
#include <xcb/xinput.h>

#include <algorithm>
#include <bit>
#include <span>
#include <utility>

#include "platform/linux/x11/capture/CaptureError.h"
#include "runtime/Trace.h"

namespace tandemview {

namespace {

static_assert(std::endian::native == std::endian::little, "a pixel's bytes in memory are blue, green, red");

constexpr std::uint32_t allPlanes = ~0U;

/// Seconds between looks that bring no picture, such as those for a pointer that moves on another screen.
constexpr double emptyLookInterval = 0.004;

/// A request costs the server as much as copying this many rows: what lies closer together is fetched as one.
constexpr std::int32_t nearRows = 64;

/// Whether the root window's pixels are 32 bits with blue lowest, in rows without padding.
bool hasExpectedPixels(const X11Connection& connection) {
  const xcb_setup_t* const setup = xcb_get_setup(connection.get());
  const xcb_screen_t& screen = connection.screen();
  if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) return false;
  bool isFormatFound = false;
  for (auto formats = xcb_setup_pixmap_formats_iterator(setup); formats.rem > 0; xcb_format_next(&formats)) {
    if (formats.data->depth == screen.root_depth) isFormatFound = formats.data->bits_per_pixel == 32;
  }
  if (!isFormatFound) return false;
  for (auto depths = xcb_screen_allowed_depths_iterator(&screen); depths.rem > 0; xcb_depth_next(&depths)) {
    for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem > 0; xcb_visualtype_next(&visuals)) {
      if (visuals.data->visual_id != screen.root_visual) continue;
      return visuals.data->red_mask == 0xFF0000 && visuals.data->green_mask == 0xFF00 &&
             visuals.data->blue_mask == 0xFF;
    }
  }
  return false;
}

/// Each extension has to be told the version that we speak before it is used.
std::optional<Error> negotiateExtensions(const X11Connection& connection, bool withCursor) {
  xcb_connection_t* const server = connection.get();
  if (!connection.offers(xcb_shm_id)) return captureError("The X server offers no MIT-SHM");
  if (!connection.offers(xcb_damage_id)) return captureError("The X server offers no DAMAGE");
  if (!connection.offers(xcb_xfixes_id)) return captureError("The X server offers no XFIXES");
  if (!connection.offers(xcb_randr_id)) return captureError("The X server offers no RANDR");
  const auto shm = owned(xcb_shm_query_version_reply(server, xcb_shm_query_version(server), nullptr));
  if (!shm || shm->major_version < 1 || (shm->major_version == 1 && shm->minor_version < 2)) {
    return captureError("The X server's MIT-SHM is older than 1.2");
  }
  const auto damage = owned(xcb_damage_query_version_reply(server, xcb_damage_query_version(server, 1, 1), nullptr));
  const auto fixes = owned(xcb_xfixes_query_version_reply(server, xcb_xfixes_query_version(server, 2, 0), nullptr));
  const auto randr = owned(xcb_randr_query_version_reply(server, xcb_randr_query_version(server, 1, 3), nullptr));
  if (!damage || !fixes || !randr) return captureError("The X server's extensions are too old");
  if (!withCursor) return std::nullopt;
  if (!connection.offers(xcb_input_id)) return captureError("The X server offers no XInputExtension");
  // From 2.1 on, raw events arrive also while another client has grabbed the pointer.
  const auto input = owned(xcb_input_xi_query_version_reply(server, xcb_input_xi_query_version(server, 2, 1), nullptr));
  if (!input || input->major_version < 2) return captureError("The X server's XInputExtension is older than 2");
  return std::nullopt;
}

}  // namespace

X11CaptureSession::X11CaptureSession(std::string displayName, const CaptureConfiguration& configuration,
                                     CaptureOutput output)
    : displayName_(std::move(displayName)),
      configuration_(configuration),
      queue_(*output.sampleQueue),
      output_(std::move(output)),
      pacer_(configuration.minimumFrameInterval) {
  output_.sampleQueue = nullptr;  // its last owner must not be on its own thread
}

X11CaptureSession::~X11CaptureSession() {
  if (pool_) pool_->cancelWait();
}

void X11CaptureSession::start(const CaptureStream::Completion& completion) {
  if (state_ != State::New) return completion(captureError("The capture has been started before"));
  if (const auto error = open()) {
    stop();
    return completion(error);
  }
  state_ = State::Running;
  completion(std::nullopt);
  turn();
}

void X11CaptureSession::stop() {
  state_ = State::Stopped;
  if (pool_) pool_->cancelWait();
  pool_ = nullptr;
  watch_ = nullptr;
  unscaled_ = nullptr;
  cursor_.reset();
  connection_ = nullptr;
}

std::optional<Error> X11CaptureSession::open() {
  connection_ = X11Connection::open(displayName_);
  if (!connection_) return captureError("The X server can't be reached");
  if (const auto refusal = captureRefusal(*connection_)) return refusal;
  if (const auto error = negotiateExtensions(*connection_, configuration_.showsCursor)) return error;
  if (!hasExpectedPixels(*connection_)) return captureError("The X server's pixels are not 32 bits of BGRX");
  if (const auto error = selectEvents()) return error;
  const auto rectangle = displayRectangle();
  if (!rectangle) return rectangle.error();
  display_ = *rectangle;
  if (configuration_.showsCursor) cursor_.emplace(connection_);
  if (const auto error = makeBuffers()) return error;
  undelivered_.add({.x = 0, .y = 0, .width = display_.width, .height = display_.height});
  auto watch = queue_.watch(xcb_get_file_descriptor(connection_->get()));
  if (!watch) return watch.error();
  watch_ = std::move(*watch);
  return std::nullopt;
}

std::optional<Error> X11CaptureSession::selectEvents() {
  xcb_connection_t* const server = connection_->get();
  const xcb_window_t root = connection_->root();
  damageEvent_ = xcb_get_extension_data(server, &xcb_damage_id)->first_event + XCB_DAMAGE_NOTIFY;
  cursorEvent_ = xcb_get_extension_data(server, &xcb_xfixes_id)->first_event + XCB_XFIXES_CURSOR_NOTIFY;
  randrEvent_ = xcb_get_extension_data(server, &xcb_randr_id)->first_event;
  xcb_randr_select_input(server, root, XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE);
  if (configuration_.showsCursor) {
    xcb_xfixes_select_cursor_input(server, root, XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
    const struct {
      xcb_input_event_mask_t head;
      std::uint32_t mask;
    } rawMotion = {.head = {.deviceid = XCB_INPUT_DEVICE_ALL_MASTER, .mask_len = 1},
                   .mask = XCB_INPUT_XI_EVENT_MASK_RAW_MOTION};
    xcb_input_xi_select_events(server, root, 1, &rawMotion.head);
  }
  damagedRegion_ = xcb_generate_id(server);
  xcb_xfixes_create_region(server, damagedRegion_, 0, nullptr);
  damage_ = xcb_generate_id(server);
  // The box of all that has changed since the last look: the server tells when it grows, so that another screen that
  // animates is told of once, and our display as soon as the box reaches it.
  const auto created = xcb_damage_create_checked(server, damage_, root, XCB_DAMAGE_REPORT_LEVEL_BOUNDING_BOX);
  if (!connection_->succeeded(created)) return captureError("The X server doesn't tell what changes on its screen");
  return std::nullopt;
}

std::optional<Error> X11CaptureSession::makeBuffers() {
  // More pixels than the display has would show nothing more.
  const auto width = static_cast<std::int32_t>(std::min<std::int64_t>(configuration_.width, display_.width));
  const auto height = static_cast<std::int32_t>(std::min<std::int64_t>(configuration_.height, display_.height));
  const bool isScaled = width != display_.width || height != display_.height;
  if (isScaled) {
    auto unscaled = makeScreenPixels();
    if (!unscaled) return unscaled.error();
    unscaled_ = std::move(*unscaled);
    scaler_.emplace(display_.width, display_.height, width, height);
  }
  pool_ = std::make_shared<X11PixelBufferPool>();
  for (int count = 0; count < configuration_.queueDepth; ++count) {
    auto pixels = isScaled ? SharedPixels::make(width, height) : makeScreenPixels();
    if (!pixels) return pixels.error();
    pool_->add(std::make_unique<X11PixelBuffer>(std::move(*pixels)));
  }
  return std::nullopt;
}

Result<std::unique_ptr<SharedPixels>> X11CaptureSession::makeScreenPixels() const {
  auto pixels = SharedPixels::make(display_.width, display_.height);
  if (pixels && !(*pixels)->shareWith(*connection_)) {
    return tl::unexpected(captureError("The X server shares no memory with this program"));
  }
  return pixels;
}

/// Handles what has happened, delivers the picture that is due, and waits for exactly what is needed next. Requests
/// to the server may bring in events, so that the events are read last before each wait for more of them.
///
/// One picture a turn: where pictures take longer than their interval, whoever else needs the queue gets it in between.
void X11CaptureSession::turn() {
  while (state_ == State::Running && !waitsForTime_) {
    readEvents();
    if (connection_->isBroken()) return fail(captureError("The connection to the X server is lost"));
    if (std::exchange(hasLayoutChange_, false)) {
      if (const auto error = followDisplay()) return fail(*error);
      continue;
    }
    const bool hasChange = hasDamage_ || hasPointerEvent_ || (!undelivered_.isEmpty() && !waitsForFreshPixels_);
    if (!hasChange) return waitForEvents();
    const double now = clock_.now();
    const double pictureWait = pacer_.wait(now);
    const double wait = std::max(pictureWait, nextLook_ - now);
    hasGrownOld_ = hasGrownOld_ || pictureWait > 0;
    if (wait > 0) return waitFor(wait);

    X11PixelBuffer* const buffer = pool_->freeBuffer([this] { queueTurn(); });
    if (!buffer) return waitForEvents();
    readChanges();
    if (undelivered_.isEmpty()) {
      hasGrownOld_ = false;
      nextLook_ = now + emptyLookInterval;
      continue;
    }
    if (std::exchange(hasGrownOld_, false) && pacer_.patience() > 0) {
      waitForFreshPixels(pacer_.patience());
      continue;
    }
    waitsForFreshPixels_ = false;
    pacer_.taken(now);
    takePicture(*buffer);
    return queueTurn();
  }
}

void X11CaptureSession::queueTurn() {
  queue_.async([weak = weak_from_this()] {
    if (const auto session = weak.lock()) session->turn();
  });
}

void X11CaptureSession::readEvents() {
  while (const auto event = owned(xcb_poll_for_event(connection_->get()))) readEvent(*event);
}

void X11CaptureSession::readEvent(const xcb_generic_event_t& event) {
  const std::uint8_t type = event.response_type & 0x7F;  // without the flag for events made by other clients
  if (type == damageEvent_) {
    const auto& area = reinterpret_cast<const xcb_damage_notify_event_t&>(event).area;
    if (hasDamage_ || !display_.overlaps(area)) return;
    hasDamage_ = true;
    Trace::mark(Trace::Step::damageTold);
  } else if (type == cursorEvent_ && cursor_) {
    cursor_->shapeChanged();
    hasPointerEvent_ = true;
  } else if (type == XCB_GE_GENERIC) {
    hasPointerEvent_ = true;  // raw motion is all that was selected of these
  } else if (type == randrEvent_ + XCB_RANDR_SCREEN_CHANGE_NOTIFY || type == randrEvent_ + XCB_RANDR_NOTIFY) {
    hasLayoutChange_ = true;
  }
}

/// A display that only moves is followed silently.
std::optional<Error> X11CaptureSession::followDisplay() {
  const auto rectangle = displayRectangle();
  if (!rectangle) return rectangle.error();
  if (rectangle->width != display_.width || rectangle->height != display_.height) {
    return captureError("The display has changed its size");
  }
  if (rectangle->x == display_.x && rectangle->y == display_.y) return std::nullopt;
  display_ = *rectangle;
  const PixelRegion all({.x = 0, .y = 0, .width = display_.width, .height = display_.height});
  undelivered_.add(all);
  addStale(all);
  hasDamage_ = true;  // what has been damaged here already is not told of again
  hasPointerEvent_ = true;
  return std::nullopt;
}

Result<X11CaptureSession::Rectangle> X11CaptureSession::displayRectangle() const {
  xcb_connection_t* const server = connection_->get();
  const auto output = owned(xcb_randr_get_output_info_reply(
      server, xcb_randr_get_output_info(server, configuration_.displayID, XCB_CURRENT_TIME), nullptr));
  if (!output || output->crtc == XCB_NONE) return tl::unexpected(captureError("The display is not there"));
  const auto crtc = owned(
      xcb_randr_get_crtc_info_reply(server, xcb_randr_get_crtc_info(server, output->crtc, XCB_CURRENT_TIME), nullptr));
  if (!crtc || crtc->mode == XCB_NONE) return tl::unexpected(captureError("The display is not there"));
  return Rectangle{.x = crtc->x, .y = crtc->y, .width = crtc->width, .height = crtc->height};
}

/// Adds to undelivered_ what has changed within the display since the last look.
void X11CaptureSession::readChanges() {
  xcb_connection_t* const server = connection_->get();
  xcb_xfixes_fetch_region_cookie_t regionRequest{};
  const bool hasDamage = std::exchange(hasDamage_, false);
  hasPointerEvent_ = false;
  if (hasDamage) {
    xcb_damage_subtract(server, damage_, XCB_NONE, damagedRegion_);
    regionRequest = xcb_xfixes_fetch_region(server, damagedRegion_);
  }
  if (cursor_) cursor_->requestPlace();
  if (hasDamage) readDamage(owned(xcb_xfixes_fetch_region_reply(server, regionRequest, nullptr)).get());
  if (cursor_) {
    cursor_->readPlace(display_.x, display_.y, display_.width, display_.height);
    cursor_->addChangesTo(undelivered_);
  }
}

void X11CaptureSession::readDamage(const xcb_xfixes_fetch_region_reply_t* reply) {
  if (!reply) return;
  const std::span rectangles(xcb_xfixes_fetch_region_rectangles(reply),
                             static_cast<std::size_t>(xcb_xfixes_fetch_region_rectangles_length(reply)));
  damageBoxes_.clear();
  for (const xcb_rectangle_t& each : rectangles) {
    const std::int32_t x = each.x - display_.x;
    const std::int32_t y = each.y - display_.y;
    damageBoxes_.push_back({.x1 = x, .y1 = y, .x2 = x + each.width, .y2 = y + each.height});
  }
  PixelRegion changed;
  changed.add(damageBoxes_);
  changed.clipTo(display_.width, display_.height);
  addStale(changed);
  undelivered_.add(changed);
}

void X11CaptureSession::addStale(const PixelRegion& changed) {
  if (unscaled_) {
    unscaled_->stale.add(changed);
  } else {
    pool_->addStale(changed);
  }
}

void X11CaptureSession::takePicture(X11PixelBuffer& buffer) {
  Trace::mark(Trace::Step::grabBegun);
  SharedPixels& picture = unscaled_ ? *unscaled_ : buffer.pixels();
  if (!refresh(picture)) {
    // The display has just been moved or has gone, and we haven't heard of it yet. That can't happen twice running.
    if (std::exchange(wasRefused_, true)) {
      fail(captureRefusal(*connection_).value_or(captureError("The X server refuses its picture")));
    }
    hasLayoutChange_ = true;
    return;
  }
  wasRefused_ = false;
  if (cursor_) cursor_->draw(picture);
  if (scaler_) {
    PixelRegion changed;
    scaler_->addScaled(undelivered_, changed);
    pool_->addStale(changed);
    SharedPixels& result = buffer.pixels();
    scaler_->scale(picture.pixels(), result.pixels(), result.stale);
    result.stale.clear();
    buffer.setDamage(changed);
  } else {
    buffer.setDamage(undelivered_);
  }
  undelivered_.clear();
  Trace::mark(Trace::Step::grabbed);
  output_.didOutputSample(SampleType::Screen, pool_->lend(buffer));
}

/// Fetches whole rows, as the server knows no distance between rows. False if it refused.
bool X11CaptureSession::refresh(SharedPixels& picture) {
  xcb_connection_t* const server = connection_->get();
  imageRequests_.clear();
  const auto boxes = picture.stale.boxes();
  for (auto box = boxes.begin(); box != boxes.end();) {
    const std::int32_t top = box->y1;
    std::int32_t bottom = box->y2;
    while (++box != boxes.end() && box->y1 <= bottom + nearRows) bottom = std::max(bottom, box->y2);
    imageRequests_.push_back(xcb_shm_get_image(
        server, connection_->root(), display_.x, static_cast<std::int16_t>(display_.y + top), display_.width,
        static_cast<std::uint16_t>(bottom - top), allPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP, picture.segment(),
        static_cast<std::uint32_t>(static_cast<std::size_t>(top) * picture.bytesPerRow())));
  }
  bool isComplete = true;
  for (const xcb_shm_get_image_cookie_t request : imageRequests_) {
    isComplete = owned(xcb_shm_get_image_reply(server, request, nullptr)) && isComplete;
  }
  if (isComplete) picture.stale.clear();
  return isComplete;
}

void X11CaptureSession::waitForEvents() {
  if (std::exchange(waitsForEvents_, true)) return;
  watch_->whenReadable([weak = weak_from_this()] {
    const auto session = weak.lock();
    if (!session) return;
    session->waitsForEvents_ = false;
    session->turn();
  });
}

void X11CaptureSession::waitFor(double seconds) {
  waitsForTime_ = true;
  queue_.after(seconds, [weak = weak_from_this()] {
    const auto session = weak.lock();
    if (!session) return;
    session->waitsForTime_ = false;
    session->turn();
  });
}

/// The next change is shown as soon as it is drawn, together with those that have waited. It may never come.
void X11CaptureSession::waitForFreshPixels(double seconds) {
  const std::uint64_t wait = ++freshPixelsWait_;
  waitsForFreshPixels_ = true;
  queue_.after(seconds, [weak = weak_from_this(), wait] {
    const auto session = weak.lock();
    if (!session || session->freshPixelsWait_ != wait) return;
    session->waitsForFreshPixels_ = false;
    session->turn();
  });
}

void X11CaptureSession::fail(const Error& error) {
  stop();
  if (!isStopping_) output_.didStopWithError(error);
}

}  // namespace tandemview
