#include "runtime/StandardDescriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <initializer_list>

namespace tandemview {

void openStandardDescriptors() {
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // A new descriptor gets the lowest free number: this one.
    if (::fcntl(standard, F_GETFD) < 0) (void)::open("/dev/null", O_RDWR);
  }
}

}  // namespace tandemview
