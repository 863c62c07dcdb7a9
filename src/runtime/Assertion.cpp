#include "runtime/Assertion.h"

#include <cstdio>
#include <cstdlib>

namespace tandemview {

void require(bool condition, const char* text) {
  if (condition) return;
  std::fprintf(stderr, "Assertion failed: %s\n", text);
  std::abort();
}

}  // namespace tandemview
