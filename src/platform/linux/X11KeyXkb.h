#pragma once

// xcb's XKB header has members that bear the name of a C++ keyword.
#define explicit explicitParts
#include <xcb/xkb.h>
#undef explicit
