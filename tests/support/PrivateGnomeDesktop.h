#pragma once

#include <fmt/format.h>

#include <optional>

#include "platform/linux/gnome/session/GnomeSession.h"
#include "runtime/Assertion.h"
#include "support/LocaleStandIn.h"
#include "support/PrivateDesktop.h"
#include "support/PrivateGnome.h"
#include "support/PrivateIBus.h"

namespace tandemview {

/// The compositor, with the input method that GNOME's shell starts.
class PrivateGnomeDesktop final : public PrivateDesktop {
 public:
  explicit PrivateGnomeDesktop(const std::string& layout) : locale_(layout) {
    gnome_.enter();
    user_ = GnomeSession::open();
  }

  Program::Environment environment() const override {
    Program::Environment environment = gnome_.environment();
    environment["GDK_BACKEND"] = "wayland";
    if (inputMethod_) environment["GTK_IM_MODULE"] = "ibus";
    return environment;
  }

  std::string arrangement() const override {
    std::string text;
    for (const GnomeLayout::Screen& screen : user_->layout().screens)
      text += fmt::format("{}: {},{} {} {} {}\n", fmt::join(screen.connectors, " "), screen.x, screen.y, screen.scale,
                          screen.transform, screen.isMain);
    return text;
  }

  /// The compositor tells everybody of a new monitor, but not at once.
  void putDisplay(int x, int y) override {
    const bool isPut = Program::within30Seconds([&] {
      const GnomeLayout layout = user_->layout();
      const GnomeLayout::Monitor* const monitor = layout.monitor("Meta-2");
      return monitor && user_->move(monitor->id, x, y);
    });
    require(isPut, "the display can be put there");
  }

  std::vector<std::function<void()>> ends() override {
    return {[this] { gnome_.restartPipeWire(); }, [this] { gnome_.restartCompositor(); }};
  }

  void startInputMethod() override {
    inputMethod_.emplace(gnome_.environment());
    require(inputMethod_->chooses("xkb:us::eng"), "there is an input method (packages ibus and ibus-gtk3)");
  }
  bool awaitsText() override { return inputMethod_->hasField(); }

 private:
  static std::string storedScreen(int number, const char* place, const char* mode) {
    return fmt::format(
        "<logicalmonitor>{}<scale>1</scale>{}<monitor><monitorspec><connector>Meta-{}</connector>"
        "<vendor>MetaVendor</vendor><product>MetaVirtualMonitor</product><serial>0x{:02}</serial>"
        "</monitorspec><mode>{}<rate>60</rate></mode></monitor></logicalmonitor>",
        place, number == 0 ? "<primary>yes</primary>" : "", number, number, mode);
  }

  LocaleStandIn locale_;
  PrivateGnome gnome_{{"1280x800", "1024x768"},
                      {{"DBUS_SYSTEM_BUS_ADDRESS", locale_.address()}},
                      R"(<monitors version="2"><configuration>)" +
                          storedScreen(0, "<x>0</x><y>0</y>", "<width>1280</width><height>800</height>") +
                          storedScreen(1, "<x>100</x><y>800</y>", "<width>1024</width><height>768</height>") +
                          "</configuration></monitors>"};
  std::shared_ptr<GnomeSession> user_;  // the desktop's settings
  std::optional<PrivateIBus> inputMethod_;
};

}  // namespace tandemview
