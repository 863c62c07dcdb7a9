#pragma once

#include <fmt/format.h>

#include <algorithm>

#include "runtime/Assertion.h"
#include "support/ClientProcess.h"
#include "support/PrivateDesktop.h"
#include "support/PrivateXServer.h"
#include "support/X11TestClient.h"

namespace tandemview {

/// Without a window manager: keys go to the window that has taken them, or else to the one that the pointer is in.
class PrivateX11Desktop final : public PrivateDesktop {
 public:
  explicit PrivateX11Desktop(const std::string& layout) {
    for (const auto& [name, value] : environment()) ::setenv(name.c_str(), value.c_str(), /*overwrite=*/1);
    client_.xrandr("--addmode DUMMY15 1024x768");
    client_.xrandr("--output DUMMY15 --mode 1024x768 --pos 100x800");
    require(Program({"/usr/bin/setxkbmap", "-rules", "evdev", "-model", "pc105", "-layout", layout}, {}).wait() == 0,
            "the layout can be set (package x11-xkb-utils)");
  }

  Program::Environment environment() const override {
    Program::Environment environment = onX11(server_.displayName());
    environment["XDG_SESSION_TYPE"] = "x11";
    return environment;
  }
  std::string arrangement() const override { return client_.arrangement(); }

  void putDisplay(int x, int y) override {
    const int left = std::max(0, -x);  // X knows no negative places
    const int top = std::max(0, -y);
    const auto place = [&](const char* output, int atX, int atY) {
      return fmt::format(" --output {} --pos {}x{}", output, left + atX, top + atY);
    };
    client_.xrandr(place("DUMMY0", 0, 0) + place("DUMMY15", 100, 800) + place("DUMMY1", x, y));
  }

  std::vector<std::function<void()>> ends() override {
    return {[this] { client_.xrandr("--output DUMMY1 --off"); }};
  }
  void startInputMethod() override {}
  bool awaitsText() override { return true; }

 private:
  PrivateXServer server_;
  X11TestClient client_{server_.displayName()};
};

}  // namespace tandemview
