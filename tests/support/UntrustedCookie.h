#pragma once

#include <cstdio>
#include <cstdlib>

#include "end_to_end/Program.h"
#include "support/TemporaryDirectory.h"

namespace tandemview {

/// An authority file with which an X server takes clients, but doesn't trust them, as "ssh -X" makes it.
class UntrustedCookie {
 public:
  explicit UntrustedCookie(const std::string& displayName) {
    Program xauth({"/usr/bin/xauth", "-f", path(), "generate", displayName, ".", "untrusted", "timeout", "0"}, {});
    if (xauth.wait() == 0) return;
    std::printf("xauth (package xauth) makes no untrusted cookie: %s\n", xauth.output().c_str());
    std::abort();
  }

  /// For the environment variable XAUTHORITY.
  std::string path() const { return directory_.path() + "/authority"; }

 private:
  TemporaryDirectory directory_;
};

}  // namespace tandemview
