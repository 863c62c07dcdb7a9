#include "bench/ScenePicture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "bench/SceneColors.h"
#include "companion/ClockPattern.h"

namespace tandemview {

namespace {

constexpr int panelHeight = ClockPattern::height;
constexpr int tabHeight = 34;
constexpr int statusHeight = 26;
constexpr int editorTop = panelHeight + tabHeight;

/// Pixels that the text moves in a frame.
constexpr std::uint64_t scrollSpeed = 3;

/// The same of the film.
constexpr std::uint64_t panSpeed = 5;

/// Frames of one round of the window.
constexpr double roundLength = 900;

constexpr int noteMargin = 20;
constexpr int noteFontSize = 15;
constexpr int noteLineHeight = 24;
constexpr int noteAdvance = 9;

constexpr std::string_view noteText =
    "Things to try on the second screen: the notes of a talk, a chat, the log of a long build, a map, the score of "
    "a song, a recipe. And a clock, of course. ";

double fontSizeFor(int width, int height) {
  return std::clamp(std::min(width, height) / 44, 12, 20);
}

int boxWidth(int width) {
  return std::min(460, width * 7 / 10);
}

int boxHeight(int width, int height) {
  return std::min(boxWidth(width) * 2 / 3 + SceneBox::titleHeight, (height - editorTop - statusHeight) * 8 / 10);
}

void selectFont(cairo_t* context, const char* family, double size, cairo_font_weight_t weight) {
  cairo_select_font_face(context, family, CAIRO_FONT_SLANT_NORMAL, weight);
  cairo_set_font_size(context, size);
}

void showCentered(cairo_t* context, double center, double baseline, const std::string& text) {
  cairo_text_extents_t extents;
  cairo_text_extents(context, text.c_str(), &extents);
  cairo_move_to(context, center - extents.x_advance / 2, baseline);
  cairo_show_text(context, text.c_str());
}

std::string formatted(const char* format, const std::tm& time) {
  std::array<char, 64> text{};
  return {text.data(), std::strftime(text.data(), text.size(), format, &time)};
}

CairoOwned<cairo_pattern_t> verticalGradient(double height, std::initializer_list<std::uint32_t> colors) {
  CairoOwned<cairo_pattern_t> gradient(cairo_pattern_create_linear(0, 0, 0, height));
  double offset = 0;
  for (const std::uint32_t color : colors) {
    cairo_pattern_add_color_stop_rgb(gradient.get(), offset, (color >> 16 & 0xFF) / 255.0, (color >> 8 & 0xFF) / 255.0,
                                     (color & 0xFF) / 255.0);
    offset += 1.0 / static_cast<double>(colors.size() - 1);
  }
  return gradient;
}

/// Copies rows of an image that has no end, from its row `scroll` on.
void drawRolling(const SceneImage& image, std::uint64_t scroll, const SceneView& view, int top, int height) {
  const int first = static_cast<int>(scroll % static_cast<std::uint64_t>(image.height()));
  const int beforeSeam = std::min(height, image.height() - first);
  image.copyRows(first, beforeSeam, view, 0, top);
  if (beforeSeam < height) image.copyRows(0, height - beforeSeam, view, 0, top + beforeSeam);
}

}  // namespace

ScenePicture::ScenePicture(int width, int height, std::uint32_t seed)
    : width_(width),
      height_(height),
      random_(seed),
      text_(seed, fontSizeFor(width, height)),
      textLines_(2 * (height / text_.lineHeight() + 1)),
      code_(text_.render(width, textLines_)),
      panel_(width - ClockPattern::width, panelHeight),
      tabs_(width, tabHeight),
      status_(width, statusHeight),
      landscape_(boxWidth(width), boxHeight(width, height) - SceneBox::titleHeight),
      clockBox_(boxWidth(width), boxHeight(width, height), "Clock", [](cairo_t*) {}),
      notebook_(boxWidth(width), boxHeight(width, height), "Notes", [](cairo_t* context) {
        SceneColors::set(context, SceneColors::paper);
        cairo_paint(context);
      }) {
  renderTabs();
  renderStatus();
  renderLandscape();
  updateTime();
}

void ScenePicture::drawFrame(const SceneView& view, std::uint64_t number) {
  updateTime();
  drawEditor(view, number * scrollSpeed);
  showClockBox(view, number);
}

SceneRectangle ScenePicture::drawScrolledPage(const SceneView& view, std::uint64_t number) {
  drawEditor(view, number * scrollSpeed);
  return {0, editorTop, width_, height_ - editorTop - statusHeight};
}

SceneRectangle ScenePicture::drawVideo(const SceneView& view, std::uint64_t number) {
  if (film_.height() == 0) renderFilm();
  const SceneRectangle screen{0, height_ / 3, width_, film_.height() / 2};
  drawRolling(film_, number * panSpeed, view, screen.y, screen.height);
  return screen;
}

SceneRectangle ScenePicture::drawMovedWindow(const SceneView& view, std::uint64_t number) {
  drawEditor(view, 0);
  const SceneRectangle now = showClockBox(view, number);
  const SceneRectangle before = clockBoxAt(number - 1);
  const int left = std::max(0, std::min(now.x, before.x));
  const int top = std::max(editorTop, std::min(now.y, before.y));
  return {left, top, std::min(width_, std::max(now.x, before.x) + now.width) - left,
          std::min(height_, std::max(now.y, before.y) + now.height) - top};
}

/// With its shadow, which may lie partly outside.
SceneRectangle ScenePicture::clockBoxAt(std::uint64_t number) const {
  const double angle = 2 * std::numbers::pi * static_cast<double>(number) / roundLength;
  const int roomX = width_ - clockBox_.width();
  const int roomY = height_ - editorTop - statusHeight - clockBox_.height();
  return {static_cast<int>(std::lround(roomX * (0.5 + 0.42 * std::sin(2 * angle)))) - SceneBox::shadow,
          editorTop + static_cast<int>(std::lround(roomY * (0.5 - 0.44 * std::cos(3 * angle)))) - SceneBox::shadow,
          clockBox_.width() + 2 * SceneBox::shadow, clockBox_.height() + 2 * SceneBox::shadow};
}

SceneRectangle ScenePicture::showClockBox(const SceneView& view, std::uint64_t number) const {
  const SceneRectangle place = clockBoxAt(number);
  clockBox_.show(view, place.x + SceneBox::shadow, place.y + SceneBox::shadow);
  return place;
}

void ScenePicture::drawNotebook(const SceneView& view) {
  drawEditor(view, 0);
  notebook_.show(view, (width_ - notebook_.width()) / 2, (height_ - notebook_.height()) / 2);
  typedColumn_ = 0;
  typedLine_ = 0;
}

SceneRectangle ScenePicture::typeCharacter(const SceneView& view) {
  const int columns = (notebook_.width() - 2 * noteMargin) / noteAdvance;
  const int lines = std::max(1, (notebook_.bodyHeight() - 2 * noteMargin) / noteLineHeight);
  SceneRectangle changed{(width_ - notebook_.width()) / 2 + noteMargin,
                         (height_ - notebook_.height()) / 2 + SceneBox::titleHeight + noteMargin, 0, 0};
  const bool isFull = typedLine_ == lines;
  if (isFull) {
    typedLine_ = 0;
    changed.width = columns * noteAdvance;
    changed.height = lines * noteLineHeight;
  } else {
    changed.x += typedColumn_ * noteAdvance;
    changed.y += typedLine_ * noteLineHeight;
    changed.width = noteAdvance;
    changed.height = noteLineHeight;
  }
  drawOn(view, [&](cairo_t* context) {
    cairo_rectangle(context, changed.x, changed.y, changed.width, changed.height);
    cairo_clip(context);
    SceneColors::set(context, SceneColors::paper);
    cairo_paint(context);
    if (isFull) return;
    selectFont(context, "DejaVu Sans Mono", noteFontSize, CAIRO_FONT_WEIGHT_NORMAL);
    SceneColors::set(context, SceneColors::ink);
    cairo_move_to(context, changed.x, changed.y + noteFontSize);
    const std::size_t index = static_cast<std::size_t>(typedLine_ * columns + typedColumn_) % noteText.size();
    cairo_show_text(context, std::string(1, noteText[index]).c_str());
  });
  if (isFull) return changed;
  if (++typedColumn_ == columns) {
    typedColumn_ = 0;
    ++typedLine_;
  }
  return changed;
}

void ScenePicture::drawEditor(const SceneView& view, std::uint64_t scroll) const {
  const int textHeight = height_ - editorTop - statusHeight;
  drawRolling(code_, scroll, view, editorTop, textHeight);
  panel_.copyRows(0, panelHeight, view, ClockPattern::width, 0);
  tabs_.copyRows(0, tabHeight, view, 0, panelHeight);
  status_.copyRows(0, statusHeight, view, 0, height_ - statusHeight);
}

void ScenePicture::updateTime() {
  const std::time_t now = std::time(nullptr);
  if (now == shownTime_) return;
  shownTime_ = now;
  std::tm local{};
  localtime_r(&now, &local);
  timeText_ = formatted("%H:%M:%S", local);
  dateText_ = formatted("%A, %e %B %Y", local);
  renderPanel(local);
  clockBox_.redrawBody([this](cairo_t* context) { drawClockFace(context); });
}

void ScenePicture::renderPanel(const std::tm& local) {
  panel_.draw([&](cairo_t* context) {
    SceneColors::set(context, SceneColors::panel);
    cairo_paint(context);
    selectFont(context, "DejaVu Sans", 13, CAIRO_FONT_WEIGHT_BOLD);
    SceneColors::set(context, SceneColors::text);
    const std::string text = formatted(panel_.width() > 250 ? "%a %e %b   %H:%M:%S" : "%H:%M", local);
    cairo_text_extents_t extents;
    cairo_text_extents(context, text.c_str(), &extents);
    cairo_move_to(context, panel_.width() - extents.x_advance - 14, 21);
    cairo_show_text(context, text.c_str());
  });
}

void ScenePicture::renderTabs() {
  constexpr std::array<const char*, 3> names = {"Canvas.cpp", "Display.h", "notes.md"};
  constexpr int tabWidth = 128;
  tabs_.draw([&](cairo_t* context) {
    SceneColors::set(context, SceneColors::tabBar);
    cairo_paint(context);
    selectFont(context, "DejaVu Sans", 12, CAIRO_FONT_WEIGHT_NORMAL);
    for (std::size_t index = 0; index < names.size(); ++index) {
      const bool isActive = index == 0;
      const double left = static_cast<double>(index) * tabWidth;
      if (isActive) {
        SceneColors::set(context, SceneColors::editor);
        cairo_rectangle(context, left, 0, tabWidth, tabHeight);
        cairo_fill(context);
        SceneColors::set(context, SceneColors::accent);
        cairo_rectangle(context, left, 0, tabWidth, 2);
        cairo_fill(context);
      }
      SceneColors::set(context, isActive ? SceneColors::text : SceneColors::comment);
      showCentered(context, left + tabWidth / 2.0, 22, names[index]);
    }
  });
}

void ScenePicture::renderStatus() {
  status_.draw([&](cairo_t* context) {
    SceneColors::set(context, SceneColors::statusBar);
    cairo_paint(context);
    selectFont(context, "DejaVu Sans", 11.5, CAIRO_FONT_WEIGHT_NORMAL);
    SceneColors::set(context, 0xFFFFFF, 0.9);
    cairo_move_to(context, 14, 17);
    cairo_show_text(context, "Tandemview scene");
    const std::string size = std::to_string(width_) + " \u00D7 " + std::to_string(height_);
    cairo_text_extents_t extents;
    cairo_text_extents(context, size.c_str(), &extents);
    cairo_move_to(context, width_ - extents.x_advance - 14, 17);
    cairo_show_text(context, size.c_str());
  });
}

void ScenePicture::renderLandscape() {
  const double width = landscape_.width();
  const double height = landscape_.height();
  landscape_.draw([&](cairo_t* context) {
    cairo_set_source(context, verticalGradient(height * 0.9, {0x1B2450, 0x5A3F7C, 0xD9686B, 0xFBC27A}).get());
    cairo_paint(context);
    CairoOwned<cairo_pattern_t> glow(cairo_pattern_create_radial(width * 0.68, height * 0.66, height * 0.02,
                                                                 width * 0.68, height * 0.66, height * 0.5));
    cairo_pattern_add_color_stop_rgba(glow.get(), 0, 1, 0.95, 0.8, 1);
    cairo_pattern_add_color_stop_rgba(glow.get(), 0.16, 1, 0.9, 0.65, 0.9);
    cairo_pattern_add_color_stop_rgba(glow.get(), 0.2, 1, 0.8, 0.5, 0.35);
    cairo_pattern_add_color_stop_rgba(glow.get(), 1, 1, 0.7, 0.4, 0);
    cairo_set_source(context, glow.get());
    cairo_paint(context);
    constexpr std::array<std::uint32_t, 4> ridges = {0x8C5276, 0x5B3C68, 0x352B54, 0x191A38};
    for (std::size_t ridge = 0; ridge < ridges.size(); ++ridge) {
      const double base = height * (0.66 + 0.085 * static_cast<double>(ridge));
      const double phase = static_cast<double>(random_() % 1000) / 100;
      cairo_move_to(context, 0, height);
      for (double x = 0; x <= width; x += 2) {
        const double u = x / width * 6 + phase;
        cairo_line_to(context, x,
                      base - height * 0.07 * (std::sin(u) + 0.5 * std::sin(2.7 * u) + 0.18 * std::sin(9 * u)));
      }
      cairo_line_to(context, width, height);
      SceneColors::set(context, ridges[ridge]);
      cairo_fill(context);
    }
  });
}

/// Landscapes below each other, with a grain as of a camera.
void ScenePicture::renderFilm() {
  constexpr int grain = 3;
  film_ = SceneImage(width_, 2 * (height_ / 3));
  film_.draw([&](cairo_t* context) {
    for (int y = 0; y < film_.height(); y += landscape_.height()) {
      for (int x = 0; x < film_.width(); x += landscape_.width()) {
        cairo_save(context);
        cairo_translate(context, x, y);
        landscape_.paintOn(context);
        cairo_restore(context);
      }
    }
    for (int y = 0; y < film_.height(); y += grain) {
      for (int x = 0; x < film_.width(); x += grain) {
        SceneColors::set(context, 0xFFFFFF, static_cast<double>(random_() % 256) / 2560);
        cairo_rectangle(context, x, y, grain, grain);
        cairo_fill(context);
      }
    }
  });
}

void ScenePicture::drawClockFace(cairo_t* context) {
  landscape_.paintOn(context);
  const double center = landscape_.width() / 2.0;
  const double timeSize = landscape_.width() / 6.2;
  const double timeBaseline = landscape_.height() * 0.42;
  const auto show = [&](double offset, std::uint32_t color, double alpha) {
    SceneColors::set(context, color, alpha);
    selectFont(context, "DejaVu Sans", timeSize, CAIRO_FONT_WEIGHT_BOLD);
    showCentered(context, center + offset, timeBaseline + offset, timeText_);
    selectFont(context, "DejaVu Sans", timeSize * 0.24, CAIRO_FONT_WEIGHT_NORMAL);
    showCentered(context, center + offset, timeBaseline + timeSize * 0.5 + offset, dateText_);
  };
  show(1.5, 0x10122B, 0.45);
  show(0, 0xFFFFFF, 1);
}

}  // namespace tandemview
