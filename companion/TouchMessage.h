#pragma once

#include <string>

namespace tandemview {

/// The JSON text of a touch: in direct mode at a place, in trackpad mode by a movement or an amount.
enum class TouchMode { Direct, Trackpad };
std::string touchMessage(const char* type, TouchMode mode, double x, double y, const char* phase = nullptr);

}  // namespace tandemview
