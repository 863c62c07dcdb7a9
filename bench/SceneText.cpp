#include "bench/SceneText.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <sstream>
#include <string_view>

#include "bench/SceneColors.h"

namespace tandemview {

namespace {

/// A wider editor shows two columns of text, or more.
constexpr int columnWidth = 500;

/// $V, $W: names of values; $T: a type; $F: a function; $N: a number.
constexpr std::array<const char*, 10> snippets = {
    R"(/// The $V of a $T, in pixels.
int $F(const $T& $V) {
  int $W = $N;
  for (const auto& part : $V.parts()) {
    $W = std::max($W, part.width());
  }
  return $W;
}
)",
    R"(class $T {
 public:
  explicit $T(std::string $V);
  bool $F(double $W = $N.5) const;

 private:
  std::string $V_;
  std::vector<double> $W_;
};
)",
    R"(void $T::$F(Frame frame) {
  if (frame.empty()) return;
  $V_.push_back(std::move(frame));
  // Never more than a few: the newest counts.
  while ($V_.size() > $N) $V_.pop_front();
}
)",
    R"(template <typename Value>
Value $F(Value $V, Value $W) {
  const Value half = ($V + $W) / 2;
  return half < $N ? $V : half;
}
)",
    R"(TEST($T, keepsTheOrderOfIts$T) {
  $T $V("red, green, blue");
  EXPECT_EQ($V.$F(), $N);
  EXPECT_TRUE($V.contains("green"));
}
)",
    R"(enum class $T { near, far, elsewhere };

constexpr double $V = $N.25;  // seconds
constexpr auto $W = "tandem";
)",
    R"(bool $F(std::span<const std::byte> $V) {
  std::uint32_t sum = 0x$N;
  for (const std::byte byte : $V) {
    sum = sum << 1 ^ std::to_integer<int>(byte);
  }
  return sum == 0;
}
)",
    R"(auto $V = std::make_unique<$T>("$W");
$V->onChange = [this](const $T& changed) {
  $F(changed, $N);
};
)",
    R"(switch ($V.state()) {
  case State::waiting:
    return $F($N);
  case State::drawing:
    return $V.redraw();
  default:
    throw std::logic_error("no such state");
}
)",
    R"(// A screen is only as wide as its $V.
struct $T {
  double x = 0, y = 0;
  double width = $N, height = $N;
  bool operator==(const $T&) const = default;
};
)"};

constexpr std::array<std::string_view, 12> values = {"margin", "cursor", "offset", "depth", "buffer", "origin",
                                                     "target", "anchor", "extent", "queue", "layer",  "weight"};
constexpr std::array<std::string_view, 10> types = {"Canvas", "Display", "Layout", "Shelf",  "Window",
                                                    "Garden", "Palette", "Ribbon", "Bridge", "Lantern"};
constexpr std::array<std::string_view, 10> functions = {"measure", "align",  "compose", "widestPart", "refresh",
                                                        "settle",  "follow", "accept",  "unfold",     "balance"};

constexpr std::array<std::string_view, 33> keywords = {
    "auto",     "bool",      "case",     "class",   "const",    "constexpr", "default",  "double", "enum",
    "explicit", "false",     "for",      "if",      "int",      "operator",  "private",  "public", "return",
    "struct",   "switch",    "template", "this",    "throw",    "true",      "typename", "void",   "while",
    "else",     "namespace", "using",    "virtual", "override", "static"};

bool isWordCharacter(char character) {
  return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_';
}

struct Token {
  std::string text;
  std::uint32_t color;
};

std::uint32_t wordColor(std::string_view word, std::string_view rest) {
  if (std::isdigit(static_cast<unsigned char>(word.front())) != 0) return SceneColors::number;
  if (std::ranges::find(keywords, word) != keywords.end()) return SceneColors::keyword;
  if (std::isupper(static_cast<unsigned char>(word.front())) != 0) return SceneColors::type;
  if (word == "std") return SceneColors::type;
  if (rest.starts_with('(')) return SceneColors::function;
  return SceneColors::text;
}

Token takeToken(std::string_view& line) {
  std::size_t length = 1;
  std::uint32_t color = SceneColors::punctuation;
  if (line.starts_with("//")) {
    length = line.size();
    color = SceneColors::comment;
  } else if (line.front() == '"') {
    length = std::min(line.find('"', 1), line.size() - 1) + 1;
    color = SceneColors::string;
  } else if (isWordCharacter(line.front())) {
    length = static_cast<std::size_t>(std::ranges::find_if_not(line, isWordCharacter) - line.begin());
    color = wordColor(line.substr(0, length), line.substr(length));
  }
  Token token{std::string(line.substr(0, length)), color};
  line.remove_prefix(length);
  return token;
}

}  // namespace

SceneText::SceneText(std::uint32_t seed, double fontSize)
    : random_(seed), fontSize_(fontSize), lineHeight_(static_cast<int>(std::lround(fontSize * 1.5))) {}

SceneImage SceneText::render(int width, int lines) {
  const int columns = std::max(1, width / columnWidth);
  SceneImage image(width, lines * lineHeight_);
  image.draw([&](cairo_t* context) {
    SceneColors::set(context, SceneColors::editor);
    cairo_paint(context);
    cairo_select_font_face(context, "DejaVu Sans Mono", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context, fontSize_);
    cairo_text_extents_t extents;
    cairo_text_extents(context, "M", &extents);
    advance_ = extents.x_advance;
    for (int column = 0; column < columns; ++column) {
      cairo_save(context);
      cairo_translate(context, column * width / columns, 0);
      cairo_rectangle(context, 0, 0, width / columns, image.height());
      cairo_clip(context);
      for (int line = 0; line < lines; ++line) {
        drawLine(context, nextLine(), line + 1, line * lineHeight_ + fontSize_ * 1.1);
      }
      if (column > 0) {
        SceneColors::set(context, SceneColors::tabBar);
        cairo_rectangle(context, 0, 0, 2, image.height());
        cairo_fill(context);
      }
      cairo_restore(context);
    }
  });
  return image;
}

std::string SceneText::nextLine() {
  const auto pick = [this](const auto& choices) { return std::string(choices[random_() % choices.size()]); };
  if (pending_.empty()) {
    snippet_ = (snippet_ + 1 + random_() % (snippets.size() - 1)) % snippets.size();  // never the same one again
    std::string snippet = snippets[snippet_];
    const std::array<std::pair<char, std::string>, 5> names = {{{'V', pick(values)},
                                                                {'W', pick(values)},
                                                                {'T', pick(types)},
                                                                {'F', pick(functions)},
                                                                {'N', std::to_string(random_() % 900 + 2)}}};
    for (const auto& [key, name] : names) {
      const std::string placeholder{'$', key};
      for (std::size_t at; (at = snippet.find(placeholder)) != std::string::npos;) snippet.replace(at, 2, name);
    }
    pending_.emplace_back();
    std::istringstream lines(snippet);
    for (std::string line; std::getline(lines, line);) pending_.push_back(line);
    std::ranges::reverse(pending_.begin() + 1, pending_.end());
  }
  std::string line = std::move(pending_.back());
  pending_.pop_back();
  return line;
}

void SceneText::drawLine(cairo_t* context, const std::string& line, int number, double baseline) const {
  constexpr int gutter = 5;  // characters
  const std::string label = std::to_string(number);
  const auto show = [&](std::size_t column, const std::string& text, std::uint32_t color) {
    SceneColors::set(context, color);
    cairo_move_to(context, static_cast<double>(column) * advance_, baseline);
    cairo_show_text(context, text.c_str());
  };
  show(gutter - 1 - std::min<std::size_t>(label.size(), gutter - 1), label, SceneColors::lineNumber);
  std::string_view rest = line;
  while (!rest.empty()) {
    const std::size_t column = line.size() - rest.size();
    const Token token = takeToken(rest);
    show(gutter + 1 + column, token.text, token.color);
  }
}

}  // namespace tandemview
