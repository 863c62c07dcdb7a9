#pragma once

#include <optional>
#include <string>

#include "end_to_end/Program.h"
#include "support/TemporaryDirectory.h"

namespace tandemview {

/// An X server without hardware and without any tie to the desktop: the dummy driver's 16 outputs, of which DUMMY0
/// shows 1280x800 and the others are spare. Its largest screen is 32767x32767 pixels. It ends with the object.
class PrivateXServer {
 public:
  /// Returns when the server takes connections. A server that can't be started ends the test program.
  /// `devices`: sections that are added to its configuration.
  explicit PrivateXServer(const std::string& devices = "");
  PrivateXServer(const PrivateXServer&) = delete;
  PrivateXServer& operator=(const PrivateXServer&) = delete;
  ~PrivateXServer();

  /// Such as ":77".
  const std::string& displayName() const { return displayName_; }

  /// While it is suspended, it answers nobody.
  void suspend() const;
  void resume() const;

  /// Ends the server at once, as a crash does.
  void kill() { process_.reset(); }

 private:
  bool start();

  TemporaryDirectory directory_;
  std::string displayName_;
  std::optional<Program> process_;
};

}  // namespace tandemview
