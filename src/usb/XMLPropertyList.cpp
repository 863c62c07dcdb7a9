#include "usb/XMLPropertyList.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace tandemview {

namespace {

constexpr std::string_view whitespace = " \t\r\n";

std::optional<PropertyList> numberFrom(const std::string& text) {
  // JSON spells numbers in the same way; anything else of JSON's is kept away from its parser.
  if (text.find_first_not_of("+-.0123456789eE \t\r\n") != std::string::npos) return std::nullopt;
  PropertyList number = PropertyList::parse(text, nullptr, /*allow_exceptions=*/false);
  return number.is_number() ? std::optional(std::move(number)) : std::nullopt;
}

std::optional<PropertyList> dateFrom(const std::string& text) {
  using namespace std::chrono;
  int yearNumber = 0;
  unsigned monthNumber = 0;
  unsigned dayNumber = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  char end = 0;
  const int found = std::sscanf(text.c_str(), "%4d-%2u-%2uT%2d:%2d:%2d%c", &yearNumber, &monthNumber, &dayNumber, &hour,
                                &minute, &second, &end);
  if (found != 7 || end != 'Z') return std::nullopt;
  const year_month_day date{year(yearNumber), month(monthNumber), day(dayNumber)};
  if (!date.ok()) return std::nullopt;
  const sys_seconds time = sys_days(date) + hours(hour) + minutes(minute) + seconds(second);
  return static_cast<double>((time - sys_days(year(2001) / January / 1)).count());
}

std::optional<PropertyList> dataFrom(std::string_view base64) {
  std::vector<std::uint8_t> bytes;
  std::uint32_t bits = 0;
  int bitCount = 0;
  for (const char character : base64) {
    static constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    if (character == '=') break;
    if (whitespace.find(character) != std::string_view::npos) continue;
    const std::size_t digit = digits.find(character);
    if (digit == std::string_view::npos) return std::nullopt;
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    bitCount += 6;
    if (bitCount < 8) continue;
    bitCount -= 8;
    bytes.push_back(static_cast<std::uint8_t>(bits >> bitCount));
  }
  return PropertyList::binary(std::move(bytes));
}

/// Consumes the text from its start. Values take up text of their own each, so that what is read is never much larger
/// than the text is.
class XMLReader {
 public:
  explicit XMLReader(std::string_view text) : rest_(text) {}

  std::optional<PropertyList> document() {
    const auto list = nextTag();
    if (!list || list->form != Tag::Form::Opening || list->name != "plist") return std::nullopt;
    auto root = nextValue(1);
    const auto end = nextTag();
    return end && end->closes("plist") ? std::move(root) : std::nullopt;
  }

 private:
  struct Tag {
    enum class Form { Opening, Closing, Empty };
    bool closes(std::string_view element) const { return form == Form::Closing && name == element; }

    Form form;
    std::string_view name;
  };

  /// Nothing is left to read if `end` doesn't come.
  bool skipPast(std::string_view end) {
    const std::size_t found = rest_.find(end);
    const bool comes = found != std::string_view::npos;
    rest_.remove_prefix(comes ? found + end.size() : rest_.size());
    return comes;
  }

  /// Past blanks, comments, instructions and the document's type.
  bool skipToTag() {
    while (true) {
      rest_.remove_prefix(std::min(rest_.find_first_not_of(whitespace), rest_.size()));
      const auto skips = [this](std::string_view start, std::string_view end) {
        if (!rest_.starts_with(start)) return false;
        rest_.remove_prefix(start.size());
        return skipPast(end);
      };
      if (!skips("<!--", "-->") && !skips("<?", "?>") && !skips("<!DOCTYPE", ">")) return rest_.starts_with('<');
    }
  }

  std::optional<Tag> nextTag() {
    if (!skipToTag()) return std::nullopt;
    std::string_view inside = rest_.substr(1, rest_.find('>') - 1);
    if (!skipPast(">")) return std::nullopt;
    Tag tag{Tag::Form::Opening, {}};
    if (inside.starts_with('/')) {
      tag.form = Tag::Form::Closing;
      inside.remove_prefix(1);
    } else if (inside.ends_with('/')) {
      tag.form = Tag::Form::Empty;
      inside.remove_suffix(1);
    }
    tag.name = inside.substr(0, inside.find_first_of(whitespace));
    return tag;
  }

  /// What stands between an element's tags, which is text alone.
  std::optional<std::string> textOf(const Tag& element) {
    std::string text;
    if (element.form == Tag::Form::Empty) return text;
    while (true) {
      const std::size_t end = rest_.find_first_of("<&");
      if (end == std::string_view::npos) return std::nullopt;
      text += rest_.substr(0, end);
      rest_.remove_prefix(end);
      if (rest_.starts_with('<')) break;
      const std::optional<char> character = nextReference();
      if (!character) return std::nullopt;
      text += *character;
    }
    const auto closing = nextTag();
    return closing && closing->closes(element.name) ? std::optional(std::move(text)) : std::nullopt;
  }

  std::optional<char> nextReference() {
    static constexpr std::array<std::pair<std::string_view, char>, 5> references = {
        {{"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}}};
    for (const auto& [name, character] : references) {
      if (!rest_.starts_with(name)) continue;
      rest_.remove_prefix(name.size());
      return character;
    }
    return std::nullopt;
  }

  std::optional<PropertyList> nextValue(int depth) {
    const auto tag = nextTag();
    return tag ? valueOf(*tag, depth) : std::nullopt;
  }

  std::optional<PropertyList> valueOf(const Tag& element, int depth) {
    if (element.form == Tag::Form::Closing || depth > deepestPropertyList) return std::nullopt;
    if (element.name == "dict") return dictionaryOf(element, depth);
    if (element.name == "array") return arrayOf(element, depth);
    const auto text = textOf(element);
    if (!text) return std::nullopt;
    if (element.name == "string") return *text;
    if (element.name == "integer" || element.name == "real") return numberFrom(*text);
    if (element.name == "true" || element.name == "false") return element.name == "true";
    if (element.name == "data") return dataFrom(*text);
    if (element.name == "date") return dateFrom(*text);
    return std::nullopt;
  }

  std::optional<PropertyList> dictionaryOf(const Tag& element, int depth) {
    PropertyList dictionary = PropertyList::object();
    if (element.form == Tag::Form::Empty) return dictionary;
    while (true) {
      const auto tag = nextTag();
      if (!tag) return std::nullopt;
      if (tag->closes("dict")) return dictionary;
      if (tag->form == Tag::Form::Closing || tag->name != "key") return std::nullopt;
      const auto key = textOf(*tag);
      auto value = key ? nextValue(depth + 1) : std::nullopt;
      if (!value) return std::nullopt;
      dictionary[*key] = std::move(*value);
    }
  }

  std::optional<PropertyList> arrayOf(const Tag& element, int depth) {
    PropertyList array = PropertyList::array();
    if (element.form == Tag::Form::Empty) return array;
    while (true) {
      const auto tag = nextTag();
      if (!tag) return std::nullopt;
      if (tag->closes("array")) return array;
      auto value = valueOf(*tag, depth + 1);
      if (!value) return std::nullopt;
      array.push_back(std::move(*value));
    }
  }

  std::string_view rest_;
};

}  // namespace

std::optional<PropertyList> propertyListFromXML(std::string_view text) {
  return XMLReader(text).document();
}

}  // namespace tandemview
