#pragma once

// xcb's XKB header has members that bear the name of a C++ keyword. Clang warns of such a macro.
#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define explicit explicitParts
#include <xcb/xkb.h>
#undef explicit
#ifdef __clang__
#pragma clang diagnostic pop
#endif

namespace tandemview {

/// The keyboard that the clients of the core protocol type on.
inline constexpr xcb_xkb_device_spec_t coreKeyboard = XCB_XKB_ID_USE_CORE_KBD;

}  // namespace tandemview
