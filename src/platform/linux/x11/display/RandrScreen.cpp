#include "platform/linux/x11/display/RandrScreen.h"

#include <algorithm>
#include <limits>

#include "platform/linux/x11/display/RandrArrangement.h"
#include "platform/linux/x11/server/ModeName.h"
#include "runtime/Log.h"

namespace tandemview {

namespace {

using Point = DisplayPlace::Point;

/// The right edge of everything shown.
std::int32_t rightEdge(const RandrLayout& layout) {
  return static_cast<std::int32_t>(layout.extent().width);
}

std::int16_t mainScreenTop(const RandrLayout& layout) {
  const RandrLayout::Output* const main = layout.mainOutput();
  return main ? layout.activeCrtc(main->id)->y : std::int16_t{0};
}

/// False if a CRTC can't lie there.
bool place(RandrLayout::Crtc& crtc, std::int32_t x, std::int32_t y) {
  constexpr std::int32_t limit = std::numeric_limits<std::int16_t>::max();
  if (x < 0 || y < 0 || x > limit || y > limit) return false;
  crtc.x = static_cast<std::int16_t>(x);
  crtc.y = static_cast<std::int16_t>(y);
  return true;
}

/// How far `own` reaches beyond the left and the upper edge of all other active CRTCs: that strip is there for it
/// alone.
Point stripOf(const RandrLayout::Crtc& own, const std::vector<RandrLayout::Crtc>& others) {
  if (own.mode == XCB_NONE || others.empty()) return {};
  const auto left = std::ranges::min(others, {}, &RandrLayout::Crtc::x).x;
  const auto top = std::ranges::min(others, {}, &RandrLayout::Crtc::y).y;
  return {.x = std::max(0, left - own.x), .y = std::max(0, top - own.y)};
}

/// The changes that bring `wanted`, which comes first in the result, to `origin`, or that switch it off if there is
/// none. The strip that it takes up left of or above the others is made as large as it has to be: that moves all
/// others. Absent if they can't lie there.
std::optional<std::vector<RandrLayout::Crtc>> arrange(const RandrLayout& layout, RandrLayout::Crtc wanted,
                                                      const std::optional<Point>& origin) {
  std::vector<RandrLayout::Crtc> others = layout.crtcs;
  std::erase_if(others, [&](const auto& each) { return each.mode == XCB_NONE || each.id == wanted.id; });
  const RandrLayout::Crtc* const before = layout.crtc(wanted.id);
  const Point strip = before ? stripOf(*before, others) : Point();
  const Point newStrip =
      origin ? Point{.x = std::max(0, strip.x - origin->x), .y = std::max(0, strip.y - origin->y)} : Point();
  const Point shift = {.x = newStrip.x - strip.x, .y = newStrip.y - strip.y};
  if (origin && !place(wanted, origin->x + shift.x, origin->y + shift.y)) return std::nullopt;
  std::vector<RandrLayout::Crtc> changes = {wanted};
  if (shift.x == 0 && shift.y == 0) return changes;
  for (RandrLayout::Crtc& other : others) {
    if (!place(other, other.x + shift.x, other.y + shift.y)) return std::nullopt;
    changes.push_back(other);
  }
  return changes;
}

}  // namespace

RandrScreen::RandrScreen(std::string displayName, std::shared_ptr<X11Connection> connection,
                         std::shared_ptr<UserDefaults> settings)
    : displayName_(std::move(displayName)),
      connection_(std::move(connection)),
      claim_(connection_ ? X11Claim::make(*connection_) : nullptr),
      places_(std::move(settings)) {
  if (!connection_ || !connection_->offers(xcb_randr_id)) return;
  xcb_randr_select_input(connection_->get(), connection_->root(),
                         XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE);
  xcb_flush(connection_->get());
}

std::optional<RandrScreen::Shown> RandrScreen::show(const VirtualDisplayMode& mode,
                                                    const std::optional<Shown>& former) {
  const std::lock_guard lock(mutex_);
  const auto edit = beginWithClaim();
  if (!edit) return std::nullopt;
  const RandrLayout layout = edit->layout();
  const ScreenSize least = leastSize(*edit);
  std::vector<const RandrLayout::Output*> candidates;
  if (!former) {
    candidates = layout.spareOutputs();
    std::stable_partition(candidates.begin(), candidates.end(),
                          [this](const auto* output) { return !refusing_.contains(output->id); });
  } else if (isOurs(layout, *former)) {
    candidates = {layout.output(former->output)};
  }
  for (const RandrLayout::Output* const output : candidates) {
    const RandrLayout::Crtc* const lit = layout.activeCrtc(output->id);
    const RandrLayout::Crtc* const crtc = lit ? lit : layout.freeCrtc(*output);
    if (!crtc) continue;
    for (const Point& origin : origins(layout, *output, mode)) {
      const auto changes = arrange(layout, *crtc, origin);
      if (!changes) continue;
      const auto newMode = edit->configureWithNewMode(*changes, output->id, mode, least);
      if (!newMode) {
        Log::print("⚠️ Output {} refused {}x{}: {}", output->name, mode.width, mode.height, edit->refusal());
        refusing_.insert(output->id);
        continue;
      }
      refusing_.erase(output->id);
      if (former) edit->removeMode(former->output, former->mode);
      places_.add(output->id);
      remember(*edit, least);
      return Shown{.output = output->id, .mode = *newMode};
    }
  }
  return std::nullopt;
}

/// Where the output may come to lie with a new mode, the best place first.
std::vector<Point> RandrScreen::origins(const RandrLayout& layout, const RandrLayout::Output& output,
                                        const VirtualDisplayMode& mode) const {
  std::vector<Point> points;
  const Arrangement arrangement = arrangementOf(layout);
  auto wanted = places_.find(mode.width, mode.height);
  if (!wanted) wanted = DisplayPlace::of(arrangement, output.id);
  const auto origin = wanted ? wanted->origin(arrangement, output.id, mode.width, mode.height) : std::nullopt;
  if (origin) points.push_back(*origin);
  if (const RandrLayout::Crtc* const lit = layout.activeCrtc(output.id)) {
    points.push_back({.x = lit->x, .y = lit->y});
  } else {
    points.push_back({.x = rightEdge(layout), .y = mainScreenTop(layout)});
  }
  return points;
}

bool RandrScreen::shows(const Shown& shown) const {
  const auto layout = connection_ ? RandrLayout::read(*connection_) : std::nullopt;
  return layout && isOurs(*layout, shown);
}

void RandrScreen::hide(const Shown& shown) {
  const std::lock_guard lock(mutex_);
  const auto edit = begin();
  if (!edit || !isOurMode(edit->layout(), shown.mode)) return;
  const ScreenSize least = leastSize(*edit);
  if (isOurs(edit->layout(), shown)) {
    const xcb_randr_crtc_t crtc = edit->layout().activeCrtc(shown.output)->id;
    if (const auto changes = arrange(edit->layout(), {.id = crtc}, std::nullopt)) edit->configure(*changes, least);
  }
  edit->removeMode(shown.output, shown.mode);
  places_.remove(shown.output);
  remember(*edit, least);
}

bool RandrScreen::move(xcb_randr_output_t output, std::int32_t x, std::int32_t y) {
  const std::lock_guard lock(mutex_);
  const auto edit = beginWithClaim();
  const RandrLayout::Crtc* const crtc = edit ? edit->layout().activeCrtc(output) : nullptr;
  if (!crtc) return false;
  if (x < 0 || y < 0) return false;
  const ScreenSize least = leastSize(*edit);
  const auto changes = arrange(edit->layout(), *crtc, Point{.x = x, .y = y});
  if (!changes || !edit->configure(*changes, least)) return false;
  remember(*edit, least);
  return true;
}

bool RandrScreen::selectMode(xcb_randr_output_t output, xcb_randr_mode_t mode) {
  const std::lock_guard lock(mutex_);
  const auto edit = beginWithClaim();
  const RandrLayout::Crtc* const crtc = edit ? edit->layout().activeCrtc(output) : nullptr;
  const RandrLayout::Mode* const found = edit ? edit->layout().mode(mode) : nullptr;
  if (!crtc || !found) return false;
  if (crtc->mode == mode) return true;
  const ScreenSize least = leastSize(*edit);
  RandrLayout::Crtc wanted = *crtc;
  wanted.mode = mode;
  wanted.width = found->width;
  wanted.height = found->height;
  if (wanted.isRotatedSideways()) std::swap(wanted.width, wanted.height);
  if (!edit->configure({wanted}, least)) return false;
  remember(*edit, least);
  return true;
}

void RandrScreen::arrangementChanged() {
  const std::lock_guard lock(mutex_);
  if (isClosed_ || !connection_) return;
  // Read under the lock: what has been read before a change of ours would look like the user's afterwards.
  if (const auto layout = RandrLayout::read(*connection_)) places_.look(arrangementOf(*layout));
}

void RandrScreen::removeLeftovers() {
  const std::lock_guard lock(mutex_);
  const auto edit = begin();
  if (!edit) return;
  const ScreenSize least = sizes_ ? leastSize(*edit) : ScreenSize();
  const RandrLayout layout = edit->layout();
  for (const RandrLayout::Mode& mode : layout.modes) {
    const auto owner = modeOwner(mode.name);
    if (!owner || !isLeftover(*edit, *owner)) continue;
    for (const RandrLayout::Crtc& crtc : layout.crtcs) {
      if (crtc.mode != mode.id || crtc.outputs.size() != 1) continue;
      if (const auto changes = arrange(edit->layout(), {.id = crtc.id}, std::nullopt)) edit->configure(*changes, least);
    }
    // Also when nothing shows the mode: its run may have ended between the screen's growth and the CRTC's change. The
    // mode goes last, as it is what tells the next start that there is something to undo.
    edit->fitScreen(least);
    for (const RandrLayout::Output& output : layout.outputs) {
      if (std::ranges::count(output.modes, mode.id) > 0) edit->removeMode(output.id, mode.id);
    }
    edit->removeMode(XCB_NONE, mode.id);
  }
  sizes_.reset();
}

void RandrScreen::close() {
  removeLeftovers();
  const std::lock_guard lock(mutex_);
  isClosed_ = true;
}

std::unique_ptr<RandrEdit> RandrScreen::begin() {
  auto edit = isClosed_ || !claim_ ? nullptr : RandrEdit::begin(displayName_, claim_->name());
  if (edit) places_.look(arrangementOf(edit->layout()));
  return edit;
}

std::unique_ptr<RandrEdit> RandrScreen::beginWithClaim() {
  auto edit = begin();
  return edit && X11Claim::stands(edit->connection(), claim_->name()) ? std::move(edit) : nullptr;
}

bool RandrScreen::isOurMode(const RandrLayout& layout, xcb_randr_mode_t id) const {
  const RandrLayout::Mode* const mode = layout.mode(id);
  return claim_ && mode && modeOwner(mode->name) == claim_->name();
}

/// Whether the output shows that mode of ours, and no other output shows it with it.
bool RandrScreen::isOurs(const RandrLayout& layout, const Shown& shown) const {
  const RandrLayout::Crtc* const crtc = layout.activeCrtc(shown.output);
  return crtc && crtc->mode == shown.mode && crtc->outputs.size() == 1 && isOurMode(layout, shown.mode);
}

bool RandrScreen::isLeftover(const RandrEdit& edit, std::string_view owner) const {
  return owner == claim_->name() || !X11Claim::stands(edit.connection(), owner);
}

/// The size that the screen should have without us: the one before us, unless somebody else has changed it since.
ScreenSize RandrScreen::leastSize(const RandrEdit& edit) const {
  if (!sizes_) return edit.screenSize();
  const bool isOurs = edit.screenSize().width == sizes_->ours.width && edit.screenSize().height == sizes_->ours.height;
  return isOurs ? sizes_->original : ScreenSize();
}

void RandrScreen::remember(const RandrEdit& edit, const ScreenSize& least) {
  sizes_.reset();
  if (showsDisplay(edit.layout())) sizes_ = Sizes{.original = least, .ours = edit.screenSize()};
  if (const auto layout = RandrLayout::read(edit.connection())) places_.arranged(arrangementOf(*layout));
}

}  // namespace tandemview
