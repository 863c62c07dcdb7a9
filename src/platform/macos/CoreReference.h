#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <type_traits>

namespace tandemview {

struct CoreRelease {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

/// Owner of a Core Foundation object from a Create or Copy function; may hold none.
template <typename Reference>
using CoreReference = std::unique_ptr<std::remove_pointer_t<Reference>, CoreRelease>;

}  // namespace tandemview
