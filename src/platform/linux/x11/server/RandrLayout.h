#pragma once

#include <xcb/randr.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/x11/server/X11Connection.h"

namespace tandemview {

/// An X screen's size in pixels, and what it claims to measure.
struct ScreenSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t millimetersWide = 0;
  std::uint32_t millimetersHigh = 0;
};

/// How the outputs of an X screen are arranged at one moment.
struct RandrLayout {
  struct Mode {
    xcb_randr_mode_t id = XCB_NONE;
    std::uint16_t width = 0;
    std::uint16_t height = 0;
    std::string name;
  };
  struct Output {
    xcb_randr_output_t id = XCB_NONE;
    std::string name;
    xcb_randr_connection_t connection = XCB_RANDR_CONNECTION_UNKNOWN;
    xcb_randr_crtc_t crtc = XCB_NONE;  // none: the output is dark
    std::vector<xcb_randr_crtc_t> possibleCrtcs;
    std::vector<xcb_randr_mode_t> modes;

    /// A panel that belongs to the machine.
    bool isBuiltIn() const;
  };
  /// What scans a part of the screen out to its outputs.
  struct Crtc {
    xcb_randr_crtc_t id = XCB_NONE;
    std::int16_t x = 0;
    std::int16_t y = 0;
    std::uint16_t width = 0;
    std::uint16_t height = 0;
    xcb_randr_mode_t mode = XCB_NONE;  // none: switched off
    std::uint16_t rotation = XCB_RANDR_ROTATION_ROTATE_0;
    std::vector<xcb_randr_output_t> outputs = {};

    bool isRotatedSideways() const { return rotation & (XCB_RANDR_ROTATION_ROTATE_90 | XCB_RANDR_ROTATION_ROTATE_270); }
  };

  std::uint32_t screenWidth = 0;
  std::uint32_t screenHeight = 0;
  xcb_timestamp_t configTimestamp = XCB_CURRENT_TIME;
  xcb_randr_output_t primary = XCB_NONE;
  std::vector<Mode> modes;
  std::vector<Output> outputs;
  std::vector<Crtc> crtcs;

  /// Absent if the server has no RandR 1.3, or is gone.
  static std::optional<RandrLayout> read(const X11Connection& connection);

  const Mode* mode(xcb_randr_mode_t id) const;
  const Output* output(xcb_randr_output_t id) const;
  const Crtc* crtc(xcb_randr_crtc_t id) const;

  /// Of an output that shows a picture; null for any other.
  const Crtc* activeCrtc(xcb_randr_output_t id) const;

  /// The outputs that show a picture, in the server's order.
  std::vector<const Output*> activeOutputs() const;

  /// The primary output, or else the first active one that is no virtual display of ours. Null if all are dark.
  const Output* mainOutput() const;

  /// Dark outputs that no hardware is connected to and that could be lit, those made for the purpose first.
  std::vector<const Output*> spareOutputs() const;

  /// A CRTC that the output could be lit with; null if all are in use.
  const Crtc* freeCrtc(const Output& output) const;

  /// Whether an active output shows a mode that `owner` has made.
  bool showsModeOf(std::string_view owner) const;

  /// The smallest screen that holds everything that is shown.
  ScreenSize extent() const;
};

}  // namespace tandemview
