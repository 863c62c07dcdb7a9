#pragma once

#include "runtime/Socket.h"
#include "support/TemporaryDirectory.h"

namespace tandemview {

/// A bus that takes connections and never says a word, as one does that has been stopped or has hung.
class SilentBus {
 public:
  SilentBus() : socket_(std::move(*listeningUnixSocket(directory_.path() + "/bus"))) {}

  std::string address() const { return "unix:path=" + directory_.path() + "/bus"; }

 private:
  TemporaryDirectory directory_;
  Descriptor socket_;
};

}  // namespace tandemview
