#include "platform/linux/x11/display/RandrEdit.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "platform/linux/x11/display/ReducedBlanking.h"
#include "platform/linux/x11/server/ModeName.h"

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

/// As X.h and randr.h name them.
std::string errorName(const X11Connection& connection, std::uint8_t code) {
  static constexpr std::array core = {"Success",   "BadRequest", "BadValue",         "BadWindow", "BadPixmap",
                                      "BadAtom",   "BadCursor",  "BadFont",          "BadMatch",  "BadDrawable",
                                      "BadAccess", "BadAlloc",   "BadColor",         "BadGC",     "BadIDChoice",
                                      "BadName",   "BadLength",  "BadImplementation"};
  static constexpr std::array randr = {"BadRROutput", "BadRRCrtc", "BadRRMode", "BadRRProvider"};
  if (code < core.size()) return core[code];
  const int ofRandr = code - xcb_get_extension_data(connection.get(), &xcb_randr_id)->first_error;
  if (ofRandr >= 0 && ofRandr < static_cast<int>(randr.size())) return randr[static_cast<std::size_t>(ofRandr)];
  return fmt::format("error {}", code);
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
  const std::vector<RandrLayout::Crtc> allBefore = layout_.crtcs;
  std::vector<RandrLayout::Crtc> before;
  for (const RandrLayout::Crtc& each : wanted) {
    const auto crtc = std::ranges::find(layout_.crtcs, each.id, &RandrLayout::Crtc::id);
    if (crtc == layout_.crtcs.end()) continue;
    before.push_back(*crtc);
    *crtc = each;
  }
  const ScreenSize size = sizeFor(least);
  const ScreenSize roomySize = sizeForRotations(size);
  if (configureWithin(roomySize, wanted, before)) return true;
  if (!haveEqualPixels(size, roomySize) && configureWithin(size, wanted, before)) return true;
  layout_.crtcs = allBefore;
  return false;
}

bool RandrEdit::configureWithin(const ScreenSize& size, const std::vector<RandrLayout::Crtc>& wanted,
                                const std::vector<RandrLayout::Crtc>& before) {
  const ScreenSize sizeBefore = screenSize_;
  // A CRTC must lie within the screen before, during and after the change.
  const ScreenSize sizeBetween = withDensityOf(sizeBefore, {.width = std::max(size.width, sizeBefore.width),
                                                            .height = std::max(size.height, sizeBefore.height)});
  const auto isSet = [this](const RandrLayout::Crtc& each) { return setCrtc(each); };
  if (setScreenSize(sizeBetween) && std::ranges::all_of(wanted, isSet) && setScreenSize(size)) return true;
  const std::string refusal = refusal_;
  for (const RandrLayout::Crtc& each : before) setCrtc(each);
  setScreenSize(sizeBefore);
  refusal_ = refusal;
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
  xcb_generic_error_t* error = nullptr;
  const auto created = owned(xcb_randr_create_mode_reply(
      server,
      xcb_randr_create_mode(server, connection_->root(), *timing, static_cast<std::uint32_t>(name.size()), name.data()),
      &error));
  if (!created) {
    refuse("RRCreateMode", owned(error).get());
    return std::nullopt;
  }
  if (!accepts("RRAddOutputMode", xcb_randr_add_output_mode_checked(server, output, created->mode))) {
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
  xcb_generic_error_t* refused = nullptr;
  const auto reply = owned(xcb_randr_set_crtc_config_reply(server, request, &refused));
  const auto error = owned(refused);
  return (reply && reply->status == XCB_RANDR_SET_CONFIG_SUCCESS) || refuse("RRSetCrtcConfig", error.get());
}

bool RandrEdit::setScreenSize(const ScreenSize& size) {
  if (haveEqualPixels(size, screenSize_)) return true;
  if (size.width > largestSize_.width || size.height > largestSize_.height) {
    refusal_ = fmt::format("a screen of {}x{} is larger than the largest, {}x{}", size.width, size.height,
                           largestSize_.width, largestSize_.height);
    return false;
  }
  const auto request = xcb_randr_set_screen_size_checked(
      connection_->get(), connection_->root(), static_cast<std::uint16_t>(size.width),
      static_cast<std::uint16_t>(size.height), size.millimetersWide, size.millimetersHigh);
  if (!accepts("RRSetScreenSize", request)) return false;
  screenSize_ = size;
  return true;
}

ScreenSize RandrEdit::sizeFor(const ScreenSize& least) const {
  const ScreenSize extent = layout_.extent();
  const ScreenSize size = {.width = std::max({extent.width, least.width, smallestSize_.width}),
                           .height = std::max({extent.height, least.height, smallestSize_.height})};
  return haveEqualPixels(size, least) ? least : withDensityOf(screenSize_, size);
}

/// `size` with room for each display of ours turned by a quarter.
ScreenSize RandrEdit::sizeForRotations(const ScreenSize& size) const {
  ScreenSize roomy = size;
  for (const RandrLayout::Crtc& each : layout_.crtcs) {
    const RandrLayout::Mode* const shown = layout_.mode(each.mode);
    if (!shown || modeOwner(shown->name) != owner_) continue;
    const int side = std::max(each.width, each.height);
    roomy.width = std::max(roomy.width, std::min(static_cast<std::uint32_t>(each.x + side), largestSize_.width));
    roomy.height = std::max(roomy.height, std::min(static_cast<std::uint32_t>(each.y + side), largestSize_.height));
  }
  return haveEqualPixels(size, roomy) ? size : withDensityOf(size, roomy);
}

bool RandrEdit::accepts(const char* request, xcb_void_cookie_t cookie) {
  const auto error = owned(xcb_request_check(connection_->get(), cookie));
  return (!error && !connection_->isBroken()) || refuse(request, error.get());
}

/// False. Without an error the server has answered "no", or not at all.
bool RandrEdit::refuse(const char* request, const xcb_generic_error_t* error) {
  refusal_ = fmt::format("{}: {}", request, error ? errorName(*connection_, error->error_code) : "refused");
  return false;
}

}  // namespace tandemview
