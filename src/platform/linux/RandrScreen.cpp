#include "platform/linux/RandrScreen.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "platform/linux/ModeName.h"

namespace tandemview {

namespace {

bool isLiving(pid_t process) {
  return ::kill(process, 0) == 0 || errno == EPERM;
}

/// The right edge of everything shown, but for the CRTC `without`.
std::int32_t rightEdge(const RandrLayout& layout, xcb_randr_crtc_t without) {
  std::int32_t edge = 0;
  for (const RandrLayout::Crtc& each : layout.crtcs) {
    if (each.mode != XCB_NONE && each.id != without) edge = std::max(edge, each.x + each.width);
  }
  return edge;
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

}  // namespace

std::optional<RandrScreen::Shown> RandrScreen::show(const VirtualDisplayMode& mode,
                                                    const std::optional<Shown>& former) {
  const std::lock_guard lock(mutex_);
  const auto edit = begin();
  if (!edit) return std::nullopt;
  const RandrLayout layout = edit->layout();
  const ScreenSize least = leastSize(*edit);
  std::vector<const RandrLayout::Output*> candidates;
  if (!former) {
    candidates = layout.spareOutputs();
  } else if (const auto* const output = layout.output(former->output)) {
    candidates = {output};
  }
  for (const RandrLayout::Output* const output : candidates) {
    const RandrLayout::Crtc* const lit = layout.activeCrtc(output->id);
    const RandrLayout::Crtc* const crtc = lit ? lit : layout.freeCrtc(*output);
    if (!crtc) continue;
    RandrLayout::Crtc wanted = *crtc;
    if (!lit && !place(wanted, rightEdge(layout, crtc->id), mainScreenTop(layout))) continue;
    const auto newMode = edit->configureWithNewMode(wanted, output->id, mode, least);
    if (!newMode) continue;
    if (former) edit->removeMode(former->output, former->mode);
    remember(*edit, least);
    return Shown{.output = output->id, .mode = *newMode};
  }
  return std::nullopt;
}

void RandrScreen::hide(const Shown& shown) {
  const std::lock_guard lock(mutex_);
  const auto edit = begin();
  if (!edit) return;
  const ScreenSize least = leastSize(*edit);
  const RandrLayout::Crtc* const crtc = edit->layout().activeCrtc(shown.output);
  if (crtc) edit->configure({.id = crtc->id}, least);
  edit->removeMode(shown.output, shown.mode);
  remember(*edit, least);
}

bool RandrScreen::move(xcb_randr_output_t output, std::int32_t x, std::int32_t y) {
  const std::lock_guard lock(mutex_);
  const auto edit = begin();
  const RandrLayout::Crtc* const crtc = edit ? edit->layout().activeCrtc(output) : nullptr;
  if (!crtc) return false;
  const ScreenSize least = leastSize(*edit);
  RandrLayout::Crtc wanted = *crtc;
  if (x < 0 || y < 0) {
    x = rightEdge(edit->layout(), crtc->id);
    y = std::max(y, 0);
  }
  if (!place(wanted, x, y) || !edit->configure(wanted, least)) return false;
  remember(*edit, least);
  return true;
}

bool RandrScreen::selectMode(xcb_randr_output_t output, xcb_randr_mode_t mode) {
  const std::lock_guard lock(mutex_);
  const auto edit = begin();
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
  if (!edit->configure(wanted, least)) return false;
  remember(*edit, least);
  return true;
}

void RandrScreen::removeLeftovers() {
  const std::lock_guard lock(mutex_);
  const auto edit = begin();
  if (!edit) return;
  const ScreenSize least = sizes_ ? leastSize(*edit) : ScreenSize();
  const RandrLayout layout = edit->layout();
  for (const RandrLayout::Mode& mode : layout.modes) {
    const auto owner = modeOwner(mode.name);
    if (!owner || (*owner != ::getpid() && isLiving(*owner))) continue;
    for (const RandrLayout::Crtc& crtc : layout.crtcs) {
      if (crtc.mode == mode.id) edit->configure({.id = crtc.id}, least);
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

std::unique_ptr<RandrEdit> RandrScreen::begin() const {
  return isClosed_ ? nullptr : RandrEdit::begin(displayName_);
}

/// The size that the screen should have without us: the one before us, unless somebody else has changed it since.
ScreenSize RandrScreen::leastSize(const RandrEdit& edit) const {
  if (!sizes_) return edit.screenSize();
  const bool isOurs = edit.screenSize().width == sizes_->ours.width && edit.screenSize().height == sizes_->ours.height;
  return isOurs ? sizes_->original : ScreenSize();
}

void RandrScreen::remember(const RandrEdit& edit, const ScreenSize& least) {
  sizes_.reset();
  if (edit.layout().showsOwnMode()) sizes_ = Sizes{.original = least, .ours = edit.screenSize()};
}

}  // namespace tandemview
