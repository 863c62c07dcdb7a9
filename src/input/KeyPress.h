#pragma once

#include "input/EventSystem.h"

namespace tandemview {

/// Posts `key` going down and coming up again.
inline void postKeyPress(EventSystem& events, KeyEvent key) {
  key.isDown = true;
  events.postKeyEvent(key);
  key.isDown = false;
  events.postKeyEvent(key);
}

}  // namespace tandemview
