#include "platform/linux/RandrEdit.h"

#include <algorithm>
#include <cmath>

#include "platform/linux/ModeName.h"
#include "platform/linux/ReducedBlanking.h"

namespace tandemview {

namespace {

bool haveEqualPixels(const ScreenSize& left, const ScreenSize& right) {
  return left.width == right.width && left.height == right.height;
}

/// `size` with the pixel density of `reference`.
ScreenSize withDensityOf(const ScreenSize& reference, ScreenSize size) {
  const auto scaled = [](std::uint32_t pixels, std::uint32_t referencePixels, std::uint32_t millimeters) {
    return static_cast<std::uint32_t>(std::lround(double{1} * pixels * millimeters / std::max(1U, referencePixels)));
  };
  size.millimetersWide = scaled(size.width, reference.width, reference.millimetersWide);
  size.millimetersHigh = scaled(size.height, reference.height, reference.millimetersHigh);
  return size;
}

}  // namespace

std::unique_ptr<RandrEdit> RandrEdit::begin(const std::string& displayName, std::string owner) {
  auto connection = X11Connection::open(displayName);
  if (!connection) return nullptr;
  auto edit = std::unique_ptr<RandrEdit>(new RandrEdit(connection, std::move(owner)));
  xcb_connection_t* const server = connection->get();
  xcb_grab_server(server);
  auto layout = RandrLayout::read(*connection);
  const auto range = owned(xcb_randr_get_screen_size_range_reply(
      server, xcb_randr_get_screen_size_range(server, connection->root()), nullptr));
  if (!layout || !range) return nullptr;

  // Only a new connection is told the size in millimetres that the screen has now.
  const xcb_screen_t& screen = connection->screen();
  const ScreenSize connected = {.width = screen.width_in_pixels,
                                .height = screen.height_in_pixels,
                                .millimetersWide = screen.width_in_millimeters,
                                .millimetersHigh = screen.height_in_millimeters};
  edit->screenSize_ = withDensityOf(connected, {.width = layout->screenWidth, .height = layout->screenHeight});
  edit->smallestSize_ = {.width = range->min_width, .height = range->min_height};
  edit->largestSize_ = {.width = range->max_width, .height = range->max_height};
  edit->layout_ = std::move(*layout);
  return edit;
}

RandrEdit::~RandrEdit() {
  xcb_ungrab_server(connection_->get());
  xcb_flush(connection_->get());
}

bool RandrEdit::configure(const std::vector<RandrLayout::Crtc>& wanted, const ScreenSize& least) {
  const std::vector<RandrLayout::Crtc> before = layout_.crtcs;
  const ScreenSize sizeBefore = screenSize_;
  for (const RandrLayout::Crtc& each : wanted) {
    const auto crtc = std::ranges::find(layout_.crtcs, each.id, &RandrLayout::Crtc::id);
    if (crtc != layout_.crtcs.end()) *crtc = each;
  }
  const ScreenSize size = sizeFor(least);
  // A CRTC must lie within the screen before, during and after the change.
  const ScreenSize sizeBetween = withDensityOf(sizeBefore, {.width = std::max(size.width, sizeBefore.width),
                                                            .height = std::max(size.height, sizeBefore.height)});
  const auto isSet = [this](const RandrLayout::Crtc& each) { return setCrtc(each); };
  if (setScreenSize(sizeBetween) && std::ranges::all_of(wanted, isSet) && setScreenSize(size)) return true;
  layout_.crtcs = before;
  for (const RandrLayout::Crtc& each : wanted) {
    if (const RandrLayout::Crtc* const crtc = layout_.crtc(each.id)) setCrtc(*crtc);
  }
  setScreenSize(sizeBefore);
  return false;
}

std::optional<xcb_randr_mode_t> RandrEdit::configureWithNewMode(std::vector<RandrLayout::Crtc> wanted,
                                                                xcb_randr_output_t output,
                                                                const VirtualDisplayMode& mode,
                                                                const ScreenSize& least) {
  const auto id = addMode(output, mode);
  if (!id) return std::nullopt;
  RandrLayout::Crtc& own = wanted.front();
  own.mode = *id;
  own.width = static_cast<std::uint16_t>(mode.width);
  own.height = static_cast<std::uint16_t>(mode.height);
  own.rotation = XCB_RANDR_ROTATION_ROTATE_0;
  own.outputs = {output};
  if (configure(wanted, least)) return id;
  removeMode(output, *id);
  return std::nullopt;
}

std::optional<xcb_randr_mode_t> RandrEdit::addMode(xcb_randr_output_t output, const VirtualDisplayMode& mode) {
  auto timing = reducedBlankingTiming(mode);
  if (!timing) return std::nullopt;
  const std::string name = newModeName(owner_, mode.width, mode.height);
  timing->name_len = static_cast<std::uint16_t>(name.size());
  xcb_connection_t* const server = connection_->get();
  const auto created = owned(xcb_randr_create_mode_reply(
      server,
      xcb_randr_create_mode(server, connection_->root(), *timing, static_cast<std::uint32_t>(name.size()), name.data()),
      nullptr));
  if (!created) return std::nullopt;
  if (!connection_->succeeded(xcb_randr_add_output_mode_checked(server, output, created->mode))) {
    xcb_randr_destroy_mode(server, created->mode);
    return std::nullopt;
  }
  layout_.modes.push_back({.id = created->mode, .width = timing->width, .height = timing->height, .name = name});
  return created->mode;
}

void RandrEdit::removeMode(xcb_randr_output_t output, xcb_randr_mode_t mode) {
  xcb_connection_t* const server = connection_->get();
  xcb_randr_delete_output_mode(server, output, mode);
  connection_->succeeded(xcb_randr_destroy_mode_checked(server, mode));
}

bool RandrEdit::setCrtc(const RandrLayout::Crtc& wanted) {
  xcb_connection_t* const server = connection_->get();
  const auto request = xcb_randr_set_crtc_config(
      server, wanted.id, XCB_CURRENT_TIME, layout_.configTimestamp, wanted.x, wanted.y, wanted.mode, wanted.rotation,
      static_cast<std::uint32_t>(wanted.outputs.size()), wanted.outputs.data());
  const auto reply = owned(xcb_randr_set_crtc_config_reply(server, request, nullptr));
  return reply && reply->status == XCB_RANDR_SET_CONFIG_SUCCESS;
}

bool RandrEdit::setScreenSize(const ScreenSize& size) {
  if (haveEqualPixels(size, screenSize_)) return true;
  if (size.width > largestSize_.width || size.height > largestSize_.height) return false;
  const auto request = xcb_randr_set_screen_size_checked(
      connection_->get(), connection_->root(), static_cast<std::uint16_t>(size.width),
      static_cast<std::uint16_t>(size.height), size.millimetersWide, size.millimetersHigh);
  if (!connection_->succeeded(request)) return false;
  screenSize_ = size;
  return true;
}

ScreenSize RandrEdit::sizeFor(const ScreenSize& least) const {
  const ScreenSize extent = layout_.extent();
  const ScreenSize size = {.width = std::max({extent.width, least.width, smallestSize_.width}),
                           .height = std::max({extent.height, least.height, smallestSize_.height})};
  return haveEqualPixels(size, least) ? least : withDensityOf(screenSize_, size);
}

}  // namespace tandemview
