#include "platform/linux/x11/input/X11InputState.h"

#include <poll.h>
#include <xcb/xcbext.h>
#include <xcb/xinput.h>

#include <algorithm>

#include "platform/linux/x11/input/X11KeyXkb.h"

namespace tandemview {

namespace {

/// As many as XTEST's pointer has.
constexpr std::uint8_t mostButtons = 10;

/// For how long an answer shows that the server answers, and for how many posts: far fewer than fill the connection's
/// buffer, where even posting would wait.
constexpr std::chrono::milliseconds answerLasts(100);
constexpr int answerSuffices = 100;

std::uint8_t mapped(const std::vector<std::uint8_t>& map, std::uint8_t button) {
  return button == 0 || button > map.size() ? button : map[button - 1U];
}

}  // namespace

bool X11InputState::update() {
  if (asked_ && !hasAnswered(Seconds::zero())) return false;
  ask();
  return hasAnswered(patience_);
}

bool X11InputState::isServerAnswering() {
  const bool isRecent = Clock::now() - lastAnswer_ < answerLasts && ++postsSinceAnswer_ < answerSuffices;
  return (!asked_ && isRecent) || update();
}

/// The server maps a button twice: as that of XTEST's device, then as that of the pointer which all devices move.
std::optional<std::uint8_t> X11InputState::buttonFor(std::uint8_t button) const {
  for (std::uint8_t candidate = 1; candidate <= mostButtons; ++candidate) {
    if (mapped(pointerMap_, mapped(deviceMap_, candidate)) == button) return candidate;
  }
  return std::nullopt;
}

void X11InputState::ask() {
  xcb_connection_t* const connection = connection_->get();
  Questions questions;
  if (hasXkb_) questions.keyboard = xcb_xkb_get_state(connection, coreKeyboard).sequence;
  questions.pointerMap = xcb_get_pointer_mapping(connection).sequence;
  if (testPointer_ != 0) questions.deviceMap = xcb_input_get_device_button_mapping(connection, testPointer_).sequence;
  questions.pointer = xcb_query_pointer(connection, connection_->root()).sequence;
  xcb_flush(connection);
  asked_ = questions;
}

bool X11InputState::hasAnswered(Seconds patience) {
  const auto deadline = Clock::now() + patience;
  while (true) {
    void* reply = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (xcb_poll_for_reply(connection_->get(), asked_->pointer, &reply, &error) != 0) {
      const auto ownedError = owned(error);
      take(static_cast<xcb_query_pointer_reply_t*>(reply));
      return true;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return false;
    pollfd readable = {.fd = xcb_get_file_descriptor(connection_->get()), .events = POLLIN, .revents = 0};
    ::poll(&readable, 1, static_cast<int>(left.count()));
  }
}

void X11InputState::take(xcb_query_pointer_reply_t* reply) {
  xcb_connection_t* const connection = connection_->get();
  const auto pointer = owned(reply);
  pointer_.reset();
  if (pointer && pointer->same_screen) pointer_ = Place{.x = pointer->root_x, .y = pointer->root_y};

  keyboard_.reset();
  if (asked_->keyboard != 0) {
    if (const auto state = owned(xcb_xkb_get_state_reply(connection, {asked_->keyboard}, nullptr))) {
      const auto locked = static_cast<std::uint8_t>(state->lockedMods & ~XCB_MOD_MASK_LOCK);
      keyboard_ = Keyboard{.group = state->group,
                           .lockedGroup = state->lockedGroup,
                           .pressed = state->baseMods,
                           .others = static_cast<std::uint8_t>(state->latchedMods | locked),
                           .hasCapsLock = (state->lockedMods & XCB_MOD_MASK_LOCK) != 0};
    }
  }
  pointerMap_.clear();
  if (const auto map = owned(xcb_get_pointer_mapping_reply(connection, {asked_->pointerMap}, nullptr))) {
    const std::uint8_t* const buttons = xcb_get_pointer_mapping_map(map.get());
    pointerMap_.assign(buttons, buttons + map->map_len);
  }
  deviceMap_.clear();
  if (asked_->deviceMap != 0) {
    const auto map =
        owned(xcb_input_get_device_button_mapping_reply(connection, {asked_->deviceMap}, /*error=*/nullptr));
    const std::uint8_t* const buttons = map ? xcb_input_get_device_button_mapping_map(map.get()) : nullptr;
    if (map) deviceMap_.assign(buttons, buttons + map->map_size);
  }
  asked_.reset();
  lastAnswer_ = Clock::now();
  postsSinceAnswer_ = 0;
}

}  // namespace tandemview
