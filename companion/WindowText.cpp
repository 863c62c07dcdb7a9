#include "companion/WindowText.h"

#include <algorithm>
#include <array>

#include "companion/WindowFont.h"

namespace tandemview {

namespace {

using Lines = std::vector<std::u32string>;

constexpr int characterCount = 256;
constexpr std::uint32_t opaqueWhite = 0xFFFFFFFF;
constexpr SDL_Color plate{16, 20, 28, 216};

/// Pixels of the screen for one of the font's: about as large as other programs' letters.
constexpr int usualScale = 2;
/// Below this, letters of the usual size would leave room for a few words only.
constexpr int narrowWidth = 480;

/// Between the plate's edge and the letters, and between the window's edge and the plate, in the font's pixels.
constexpr int margin = 6;
constexpr int lineHeight = WindowFont::height + 3;

Lines broken(const std::vector<std::string>& texts, std::size_t columns) {
  Lines lines;
  for (const std::string& text : texts) {
    std::u32string rest = WindowFont::characters(text);
    while (rest.size() > columns) {
      const std::size_t blank = rest.rfind(U' ', columns);
      const bool hasBlank = blank != std::u32string::npos && blank > 0;
      lines.push_back(rest.substr(0, hasBlank ? blank : columns));
      rest.erase(0, hasBlank ? blank + 1 : columns);
    }
    lines.push_back(std::move(rest));
  }
  return lines;
}

}  // namespace

WindowText::WindowText(SDL_Renderer* renderer)
    : renderer_(renderer),
      glyphs_(SDL_CreateTexture(renderer, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_STATIC,
                                characterCount * WindowFont::width, WindowFont::height)) {
  if (!glyphs_) return;
  std::vector<std::uint32_t> pixels(std::size_t{characterCount} * WindowFont::width * WindowFont::height);
  for (std::size_t character = 0; character < characterCount; ++character) {
    const WindowFont::Glyph& glyph = WindowFont::glyph(static_cast<char32_t>(character));
    for (std::size_t y = 0; y < glyph.size(); ++y) {
      std::uint32_t* const row = &pixels[(y * characterCount + character) * WindowFont::width];
      for (int x = 0; x < WindowFont::width; ++x)
        row[x] = (glyph[y] >> (WindowFont::width - 1 - x)) & 1 ? opaqueWhite : 0;
    }
  }
  SDL_UpdateTexture(glyphs_.get(), nullptr, pixels.data(), characterCount * WindowFont::width * 4);
  SDL_SetTextureBlendMode(glyphs_.get(), SDL_BLENDMODE_BLEND);
  SDL_SetTextureScaleMode(glyphs_.get(), SDL_ScaleModeNearest);
}

void WindowText::write(const std::vector<std::string>& texts, Place place) {
  int width = 0;
  int height = 0;
  if (!glyphs_ || texts.empty() || SDL_GetRendererOutputSize(renderer_, &width, &height) != 0) return;
  const int scale = width < narrowWidth ? 1 : usualScale;
  const int columns = (width / scale - 4 * margin) / WindowFont::width;
  if (columns < 1) return;
  const Lines lines = broken(texts, static_cast<std::size_t>(columns));

  std::size_t longest = 0;
  for (const std::u32string& line : lines) longest = std::max(longest, line.size());
  SDL_Rect box{0, 0, (static_cast<int>(longest) * WindowFont::width + 2 * margin) * scale,
               (static_cast<int>(lines.size()) * lineHeight + 2 * margin) * scale};
  box.x = place == Place::TopLeft ? margin * scale : (width - box.w) / 2;
  box.y = margin * scale;
  if (place == Place::Middle) box.y = (height - box.h) / 2;
  if (place == Place::Bottom) box.y = height - box.h - margin * scale;

  SDL_SetRenderDrawBlendMode(renderer_, SDL_BLENDMODE_BLEND);
  SDL_SetRenderDrawColor(renderer_, plate.r, plate.g, plate.b, plate.a);
  SDL_RenderFillRect(renderer_, &box);
  int top = box.y + margin * scale;
  for (const std::u32string& line : lines) {
    writeLine(line, box.x + margin * scale, top, scale);
    top += lineHeight * scale;
  }
}

void WindowText::writeLine(const std::u32string& line, int left, int top, int scale) {
  for (const char32_t character : line) {
    const int index = character < characterCount ? static_cast<int>(character) : '?';
    const SDL_Rect from{index * WindowFont::width, 0, WindowFont::width, WindowFont::height};
    const SDL_Rect to{left, top, WindowFont::width * scale, WindowFont::height * scale};
    SDL_RenderCopy(renderer_, glyphs_.get(), &from, &to);
    left += to.w;
  }
}

}  // namespace tandemview
