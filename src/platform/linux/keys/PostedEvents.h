#pragma once

#include <string>
#include <string_view>

#include "input/EventSystem.h"

namespace tandemview {

bool isMovement(const MouseEvent& event);
bool isPress(const MouseEvent& event);

/// The characters that a key event types, each line break as the one of the Return key.
std::u32string typedCharacters(std::u16string_view text);

/// Whether an application is the launcher, the only one that a Linux desktop has a counterpart of.
bool isLauncher(std::string_view path);

}  // namespace tandemview
