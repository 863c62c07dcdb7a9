#include "platform/linux/x11/input/X11Keyboard.h"

#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>

#include "platform/linux/x11/input/X11EventInput.h"
#include "platform/linux/x11/input/X11KeyXkb.h"

namespace tandemview {

namespace {

/// What the XKB events begin with that are waited for here.
struct XkbEvent {
  std::uint8_t response_type;
  std::uint8_t xkbType;
  std::uint16_t sequence;
  xcb_timestamp_t time;
  std::uint8_t deviceID;
};

}  // namespace

X11Keyboard::X11Keyboard(std::shared_ptr<X11Connection> connection, std::shared_ptr<const X11InputDevices> devices)
    : connection_(std::move(connection)), devices_(std::move(devices)), loans_(connection_) {
  hasXkb_ =
      xkb_x11_setup_xkb_extension(connection_->get(), XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                  XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &firstEvent_, nullptr) == 1;
  if (!hasXkb_) return;
  device_ = devices_->testKeyboard();
  if (device_ == 0) device_ = xkb_x11_get_core_keyboard_device_id(connection_->get());
  constexpr std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
  constexpr std::uint16_t mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS |
                                     XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_VIRTUAL_MODS |
                                     XCB_XKB_MAP_PART_VIRTUAL_MOD_MAP;
  xcb_xkb_select_events(connection_->get(), static_cast<xcb_xkb_device_spec_t>(device_), events, /*clear=*/0,
                        /*selectAll=*/events, mapParts, mapParts, nullptr);
}

bool X11Keyboard::releaseHeldModifiers() {
  readEvents();
  if (!update()) return false;
  for (const X11InputDevices::Key& key : devices_->heldKeys()) {
    if (!layout_->isModifier(key.code)) continue;
    devices_->turn(key, false);
    released_.push_back(key);
  }
  return !released_.empty();
}

void X11Keyboard::restoreHeldModifiers() {
  for (const X11InputDevices::Key& key : released_) devices_->turn(key, true);
  released_.clear();
}

void X11Keyboard::begin(const std::optional<X11InputState::Keyboard>& state) {
  readEvents();
  state_ = state;
  if (state_) locks_ = {.group = state_->lockedGroup, .capsLock = state_->hasCapsLock};
}

void X11Keyboard::end() {
  if (state_) lock({.group = state_->lockedGroup, .capsLock = state_->hasCapsLock});
  state_.reset();
}

void X11Keyboard::press(const KeyChord& chord) {
  if (!update() || !state_) return;
  xcb_keycode_t key = chord.linuxKeyCode == 0 ? 0 : static_cast<xcb_keycode_t>(chord.linuxKeyCode + firstX11KeyCode);
  if (chord.symbol != XKB_KEY_NoSymbol) {
    const xcb_keycode_t keyOfFirstGroup = layout_->keyOf(chord.symbol).value_or(key);
    key = layout_->keyOf(chord.symbol, state_->group).value_or(keyOfFirstGroup);
  }
  stroke({.key = key, .modifiers = chord.modifiers, .group = state_->group});
}

double X11Keyboard::type(char32_t character, KeyModifiers modifiers, double now) {
  if (!update() || !state_) return 0;
  const auto held = static_cast<std::uint8_t>(state_->pressed | state_->others);
  if (auto known = layout_->strokeFor(character, activeGroup(), held)) {
    known->modifiers |= modifiers;
    stroke(*known);
    return 0;
  }
  const xkb_keysym_t symbol = character < U' ' ? xkb_keysym_t{XKB_KEY_NoSymbol} : xkb_utf32_to_keysym(character);
  if (symbol == XKB_KEY_NoSymbol) return 0;
  const X11KeyLoans::Loan loan = loans_.lend(symbol, now);
  if (loan.key != 0) stroke({.key = loan.key, .modifiers = modifiers, .group = activeGroup()});
  return loan.secondsToWait;
}

void X11Keyboard::readEvents() {
  while (const auto event = owned(xcb_poll_for_event(connection_->get()))) {
    if (concernsLayout(*event)) isStale_ = true;
  }
}

/// Whether there is a layout, as it is now.
bool X11Keyboard::update() {
  if (!hasXkb_) return false;
  if (!isStale_) return !connection_->isBroken();
  layout_ = X11KeyLayout::read(*connection_, device_);
  if (!layout_) return false;
  isStale_ = false;
  loans_.adopt(*layout_);
  layout_->exclude(loans_.lentKeys());
  return true;
}

/// Our own loans don't.
bool X11Keyboard::concernsLayout(const xcb_generic_event_t& event) const {
  const auto& xkb = reinterpret_cast<const XkbEvent&>(event);
  if (xkb.response_type != firstEvent_ || xkb.deviceID != device_) return false;
  if (xkb.xkbType != XCB_XKB_MAP_NOTIFY) return true;
  const auto& change = reinterpret_cast<const xcb_xkb_map_notify_event_t&>(event);
  return change.nKeySyms != 1 || !loans_.isLent(change.firstKeySym);
}

/// Its key: 0 for the modifiers alone. Caps Lock is lifted: what is typed doesn't depend on it.
void X11Keyboard::stroke(const X11KeyStroke& stroke) {
  auto keys = layout_->keysOf(stroke.modifiers);
  if (!keys) return;
  if (stroke.key != 0) keys->push_back(stroke.key);
  lock({.group = wrapped(stroke.group - state_->group + state_->lockedGroup), .capsLock = false});
  pressKeys(*keys);
  releaseKeys(*keys);
}

/// The active group is the locked one and what held or latched keys add to it, round and round.
std::uint8_t X11Keyboard::activeGroup() const {
  return wrapped(locks_.group + state_->group - state_->lockedGroup);
}

std::uint8_t X11Keyboard::wrapped(int group) const {
  const int count = std::max<int>(layout_->groupCount(), 1);
  return static_cast<std::uint8_t>((group % count + count) % count);
}

void X11Keyboard::lock(const Locks& locks) {
  const bool changesGroup = locks.group != locks_.group;
  const bool changesCapsLock = locks.capsLock != locks_.capsLock;
  if (!changesGroup && !changesCapsLock) return;
  xcb_xkb_latch_lock_state(connection_->get(), coreKeyboard, changesCapsLock ? XCB_MOD_MASK_LOCK : 0,
                           locks.capsLock ? XCB_MOD_MASK_LOCK : 0, changesGroup, locks.group, /*affectModLatches=*/0,
                           /*latchGroup=*/0, /*groupLatch=*/0);
  locks_ = locks;
}

void X11Keyboard::pressKeys(const std::vector<xcb_keycode_t>& keys) const {
  for (const xcb_keycode_t key : keys) postInput(*connection_, XCB_KEY_PRESS, key);
}

void X11Keyboard::releaseKeys(const std::vector<xcb_keycode_t>& keys) const {
  std::for_each(keys.rbegin(), keys.rend(),
                [this](xcb_keycode_t key) { postInput(*connection_, XCB_KEY_RELEASE, key); });
}

}  // namespace tandemview
