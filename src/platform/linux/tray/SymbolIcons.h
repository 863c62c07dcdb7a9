#pragma once

#include <string>
#include <string_view>

namespace tandemview {

/// The name under which icon themes, or our own icons, have a picture for a system symbol. Empty if there is none.
std::string iconForSymbol(std::string_view symbol);

}  // namespace tandemview
