#include "platform/linux/X11Keyboard.h"

#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>
#include <utility>

#include "platform/linux/X11EventInput.h"
#include "platform/linux/X11KeyXkb.h"

namespace tandemview {

namespace {

constexpr xcb_xkb_device_spec_t coreKeyboard = XCB_XKB_ID_USE_CORE_KBD;

/// Linux numbers its keys from 1, X from 8 more (the evdev rules of xkeyboard-config).
constexpr int firstKeyCode = 8;

/// What all XKB events begin with.
struct XkbEvent {
  std::uint8_t response_type;
  std::uint8_t xkbType;
};

}  // namespace

X11Keyboard::X11Keyboard(std::shared_ptr<X11Connection> connection)
    : connection_(std::move(connection)), loans_(connection_) {
  hasXkb_ =
      xkb_x11_setup_xkb_extension(connection_->get(), XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                  XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &firstEvent_, nullptr) == 1;
  if (!hasXkb_) return;
  constexpr std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
  constexpr std::uint16_t mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS |
                                     XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_VIRTUAL_MODS |
                                     XCB_XKB_MAP_PART_VIRTUAL_MOD_MAP;
  xcb_xkb_select_events(connection_->get(), coreKeyboard, events, /*clear=*/0, /*selectAll=*/events, mapParts, mapParts,
                        nullptr);
}

void X11Keyboard::begin() {
  if (!hasXkb_) return;
  readEvents();
  state_ = readState();
}

void X11Keyboard::end() {
  if (hasLiftedCapsLock_) setCapsLock(true);
  hasLiftedCapsLock_ = false;
  state_.reset();
}

void X11Keyboard::press(const X11KeyChord& chord) {
  if (!update() || !state_) return;
  xcb_keycode_t key = chord.linuxKeyCode == 0 ? 0 : static_cast<xcb_keycode_t>(chord.linuxKeyCode + firstKeyCode);
  if (chord.symbol != XKB_KEY_NoSymbol) {
    const xcb_keycode_t keyOfFirstGroup = layout_->keyOf(chord.symbol).value_or(key);
    key = layout_->keyOf(chord.symbol, state_->group).value_or(keyOfFirstGroup);
  }
  stroke(key, chord.modifiers);
}

double X11Keyboard::type(char32_t character, X11Modifiers modifiers, double now) {
  if (!update() || !state_) return 0;
  if (const auto known = layout_->strokeFor(character, state_->group, state_->held)) {
    stroke(known->key, known->modifiers | modifiers);
    return 0;
  }
  const xkb_keysym_t symbol = character < U' ' ? xkb_keysym_t{XKB_KEY_NoSymbol} : xkb_utf32_to_keysym(character);
  if (symbol == XKB_KEY_NoSymbol) return 0;
  const X11KeyLoans::Loan loan = loans_.lend(symbol, now);
  if (loan.key != 0) stroke(loan.key, modifiers);
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
  layout_ = X11KeyLayout::read(*connection_);
  if (!layout_) return false;
  isStale_ = false;
  loans_.adopt(*layout_);
  layout_->exclude(loans_.lentKeys());
  return true;
}

/// Our own loans don't.
bool X11Keyboard::concernsLayout(const xcb_generic_event_t& event) const {
  if (event.response_type != firstEvent_) return false;
  if (reinterpret_cast<const XkbEvent&>(event).xkbType != XCB_XKB_MAP_NOTIFY) return true;
  const auto& change = reinterpret_cast<const xcb_xkb_map_notify_event_t&>(event);
  return change.nKeySyms != 1 || !loans_.isLent(change.firstKeySym);
}

std::optional<X11Keyboard::State> X11Keyboard::readState() const {
  const auto state =
      owned(xcb_xkb_get_state_reply(connection_->get(), xcb_xkb_get_state(connection_->get(), coreKeyboard), nullptr));
  if (!state) return std::nullopt;
  const auto locked = static_cast<std::uint8_t>(state->lockedMods & ~XCB_MOD_MASK_LOCK);
  return State{.group = state->group,
               .held = static_cast<std::uint8_t>(state->baseMods | state->latchedMods | locked),
               .hasCapsLock = (state->lockedMods & XCB_MOD_MASK_LOCK) != 0};
}

/// `key`: 0 for the modifiers alone. Caps Lock is lifted: what is typed doesn't depend on it.
void X11Keyboard::stroke(xcb_keycode_t key, X11Modifiers modifiers) {
  auto keys = layout_->keysOf(modifiers);
  if (!keys) return;
  if (key != 0) keys->push_back(key);
  if (state_->hasCapsLock && !std::exchange(hasLiftedCapsLock_, true)) setCapsLock(false);
  pressKeys(*keys);
  releaseKeys(*keys);
}

void X11Keyboard::setCapsLock(bool isOn) const {
  xcb_xkb_latch_lock_state(connection_->get(), coreKeyboard, XCB_MOD_MASK_LOCK, isOn ? XCB_MOD_MASK_LOCK : 0,
                           /*lockGroup=*/0, /*groupLock=*/0, /*affectModLatches=*/0, /*latchGroup=*/0,
                           /*groupLatch=*/0);
}

void X11Keyboard::pressKeys(const std::vector<xcb_keycode_t>& keys) const {
  for (const xcb_keycode_t key : keys) postInput(*connection_, XCB_KEY_PRESS, key);
}

void X11Keyboard::releaseKeys(const std::vector<xcb_keycode_t>& keys) const {
  std::for_each(keys.rbegin(), keys.rend(),
                [this](xcb_keycode_t key) { postInput(*connection_, XCB_KEY_RELEASE, key); });
}

}  // namespace tandemview
