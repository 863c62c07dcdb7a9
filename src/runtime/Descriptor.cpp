#include "runtime/Descriptor.h"

#include <unistd.h>

namespace tandemview {

Descriptor::~Descriptor() {
  if (value_ >= 0) ::close(value_);
}

}  // namespace tandemview
