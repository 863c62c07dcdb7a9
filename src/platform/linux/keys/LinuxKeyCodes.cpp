#include "platform/linux/keys/LinuxKeyCodes.h"

#include <linux/input-event-codes.h>

#include <array>

namespace tandemview {

namespace {

/// By virtual key code (kVK_* of HIToolbox's Events.h), the key at the same place of a US keyboard; 0: not used.
// clang-format off
constexpr std::array<std::uint16_t, 127> linuxKeyCodes = {
    /*   0 */ KEY_A, KEY_S, KEY_D, KEY_F, KEY_H, KEY_G, KEY_Z, KEY_X, KEY_C, KEY_V,
    /*  10 */ 0, KEY_B, KEY_Q, KEY_W, KEY_E, KEY_R, KEY_Y, KEY_T, KEY_1, KEY_2,
    /*  20 */ KEY_3, KEY_4, KEY_6, KEY_5, KEY_EQUAL, KEY_9, KEY_7, KEY_MINUS, KEY_8, KEY_0,
    /*  30 */ KEY_RIGHTBRACE, KEY_O, KEY_U, KEY_LEFTBRACE, KEY_I, KEY_P, KEY_ENTER, KEY_L, KEY_J, KEY_APOSTROPHE,
    /*  40 */ KEY_K, KEY_SEMICOLON, KEY_BACKSLASH, KEY_COMMA, KEY_SLASH, KEY_N, KEY_M, KEY_DOT, KEY_TAB, KEY_SPACE,
    /*  50 */ KEY_GRAVE, KEY_BACKSPACE, 0, KEY_ESC, 0, 0, 0, 0, 0, 0,
    /*  60 */ 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    /*  70 */ 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    /*  80 */ 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    /*  90 */ 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    /* 100 */ 0, 0, 0, KEY_F11, 0, 0, 0, 0, 0, 0,
    /* 110 */ 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    /* 120 */ 0, 0, 0, KEY_LEFT, KEY_RIGHT, KEY_DOWN, KEY_UP,
};
// clang-format on

}  // namespace

std::optional<std::uint16_t> linuxKeyCodeOf(std::uint16_t virtualKeyCode) {
  if (virtualKeyCode >= linuxKeyCodes.size() || linuxKeyCodes[virtualKeyCode] == 0) return std::nullopt;
  return linuxKeyCodes[virtualKeyCode];
}

}  // namespace tandemview
