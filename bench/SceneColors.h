#pragma once

#include <cairo.h>

#include <cstdint>

namespace tandemview::SceneColors {

// 0xRRGGBB
inline constexpr std::uint32_t panel = 0x12131C;
inline constexpr std::uint32_t editor = 0x1D1F2B;
inline constexpr std::uint32_t tabBar = 0x171822;
inline constexpr std::uint32_t accent = 0x5B8CFF;
inline constexpr std::uint32_t statusBar = 0x2B4C9B;
inline constexpr std::uint32_t lineNumber = 0x4A4F69;
inline constexpr std::uint32_t text = 0xD7DAE8;
inline constexpr std::uint32_t punctuation = 0x9BA2C0;
inline constexpr std::uint32_t keyword = 0xC792EA;
inline constexpr std::uint32_t type = 0x6FD3E3;
inline constexpr std::uint32_t function = 0x82AAFF;
inline constexpr std::uint32_t number = 0xF78C6C;
inline constexpr std::uint32_t string = 0xA5D67A;
inline constexpr std::uint32_t comment = 0x6B7394;
inline constexpr std::uint32_t titleBar = 0xE9EAEE;
inline constexpr std::uint32_t titleText = 0x3B3D48;
inline constexpr std::uint32_t paper = 0xFBFAF5;
inline constexpr std::uint32_t ink = 0x2A2C36;

inline void set(cairo_t* context, std::uint32_t color, double alpha = 1) {
  cairo_set_source_rgba(context, (color >> 16 & 0xFF) / 255.0, (color >> 8 & 0xFF) / 255.0, (color & 0xFF) / 255.0,
                        alpha);
}

}  // namespace tandemview::SceneColors
