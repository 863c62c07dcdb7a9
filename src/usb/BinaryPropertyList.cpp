#include "usb/BinaryPropertyList.h"

#include <bit>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "runtime/BigEndian.h"

namespace tandemview {

namespace {

/// Behind everything else: sizes, counts and places of what is before it.
constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 32;

/// What a value costs beside its content: the length of its shortest XML form, "<true/>".
constexpr std::size_t valueCost = 7;

/// The upper half of an object's first byte.
enum Kind : std::uint8_t {
  booleanKind = 0x0,
  integerKind = 0x1,
  realKind = 0x2,
  dateKind = 0x3,
  dataKind = 0x4,
  asciiKind = 0x5,
  utf16Kind = 0x6,
  uidKind = 0x8,
  arrayKind = 0xA,
  dictionaryKind = 0xD,
};

void appendUTF8(std::string& text, std::uint32_t character) {
  const auto appendLowBits = [&](int shift) { text += static_cast<char>(0x80 | (character >> shift & 0x3F)); };
  if (character < 0x80) {
    text += static_cast<char>(character);
  } else if (character < 0x800) {
    text += static_cast<char>(0xC0 | character >> 6);
    appendLowBits(0);
  } else if (character < 0x10000) {
    text += static_cast<char>(0xE0 | character >> 12);
    appendLowBits(6);
    appendLowBits(0);
  } else {
    text += static_cast<char>(0xF0 | character >> 18);
    appendLowBits(12);
    appendLowBits(6);
    appendLowBits(0);
  }
}

/// Objects refer to each other by number, and any number of them to the same one: what is read may be far larger than
/// the bytes, or have no end. So each value that is made is paid for, as often as it is made.
class BinaryReader {
 public:
  explicit BinaryReader(std::span<const std::byte> bytes) : bytes_(bytes) {}

  std::optional<PropertyList> document() {
    if (bytes_.size() < headerSize + trailerSize) return std::nullopt;
    const std::size_t trailer = bytes_.size() - trailerSize;
    offsetSize_ = *integerAt(trailer + 6, 1);
    referenceSize_ = *integerAt(trailer + 7, 1);
    objectCount_ = *integerAt(trailer + 8, 8);
    const std::uint64_t root = *integerAt(trailer + 16, 8);
    offsetTable_ = *integerAt(trailer + 24, 8);
    if (offsetSize_ == 0 || referenceSize_ == 0 || offsetTable_ > trailer ||
        objectCount_ > (trailer - offsetTable_) / offsetSize_) {
      return std::nullopt;
    }
    return value(root, 1);
  }

 private:
  /// An object's content: its length in the kind's units and where it starts.
  struct Content {
    std::uint64_t length;
    std::uint64_t start;
  };

  /// Big-endian, up to 8 bytes; absent if they are not all there.
  std::optional<std::uint64_t> integerAt(std::uint64_t start, std::uint64_t size) const {
    const auto bytes = bytesAt(start, size);
    if (!bytes || size > 8) return std::nullopt;
    return bigEndianNumber(*bytes);
  }

  std::optional<std::span<const std::byte>> bytesAt(std::uint64_t start, std::uint64_t size) const {
    if (start > bytes_.size() || size > bytes_.size() - start) return std::nullopt;
    return bytes_.subspan(start, size);
  }

  bool pay(std::uint64_t cost) {
    if (cost > budget_) return false;
    budget_ -= cost;
    return true;
  }

  std::optional<PropertyList> value(std::uint64_t reference, int depth) {
    if (depth > deepestPropertyList || reference >= objectCount_ || !pay(valueCost)) return std::nullopt;
    const auto start = integerAt(offsetTable_ + reference * offsetSize_, offsetSize_);
    const auto head = start ? integerAt(*start, 1) : std::nullopt;
    if (!head) return std::nullopt;
    const std::uint64_t low = *head & 0xF;
    switch (*head >> 4) {
      case booleanKind:
        return low == 8 || low == 9 ? std::optional<PropertyList>(low == 9) : std::nullopt;
      case integerKind:
        return integer(*start + 1, low);
      case realKind:
        return real(*start + 1, low);
      case dateKind:
        return low == 3 ? real(*start + 1, low) : std::nullopt;
      case uidKind:
        return integerAt(*start + 1, low + 1);
      default:
        const auto content = contentOf(*start, low);
        return content ? compound(*head >> 4, *content, depth) : std::nullopt;
    }
  }

  /// Of 2 to the power of `sizeExponent` bytes. Shorter ones than 8 bytes have no sign; a value of 16 bytes is one that
  /// doesn't fit into 8 with a sign.
  std::optional<PropertyList> integer(std::uint64_t start, std::uint64_t sizeExponent) const {
    if (sizeExponent > 4) return std::nullopt;
    if (sizeExponent == 4) return integerAt(start, 8) == 0u ? integerAt(start + 8, 8) : std::nullopt;
    const auto number = integerAt(start, std::uint64_t{1} << sizeExponent);
    return number ? std::optional<PropertyList>(static_cast<std::int64_t>(*number)) : std::nullopt;
  }

  std::optional<PropertyList> real(std::uint64_t start, std::uint64_t sizeExponent) const {
    if (sizeExponent != 2 && sizeExponent != 3) return std::nullopt;
    const auto bits = integerAt(start, std::uint64_t{1} << sizeExponent);
    if (!bits) return std::nullopt;
    return sizeExponent == 3 ? std::bit_cast<double>(*bits) : std::bit_cast<float>(static_cast<std::uint32_t>(*bits));
  }

  /// A length of 15 and more stands in an integer behind the first byte.
  std::optional<Content> contentOf(std::uint64_t start, std::uint64_t low) const {
    if (low < 15) return Content{low, start + 1};
    const auto head = integerAt(start + 1, 1);
    if (!head || *head >> 4 != integerKind || (*head & 0xF) > 3) return std::nullopt;
    const std::uint64_t size = std::uint64_t{1} << (*head & 0xF);
    const auto length = integerAt(start + 2, size);
    return length ? std::optional(Content{*length, start + 2 + size}) : std::nullopt;
  }

  std::optional<PropertyList> compound(std::uint64_t kind, const Content& content, int depth) {
    if (content.length > bytes_.size() || !pay(content.length)) return std::nullopt;
    switch (kind) {
      case dataKind:
      case asciiKind:
        return bytes(kind, content);
      case utf16Kind:
        return utf16(content);
      case arrayKind:
        return array(content, depth);
      case dictionaryKind:
        return dictionary(content, depth);
      default:
        return std::nullopt;
    }
  }

  std::optional<PropertyList> bytes(std::uint64_t kind, const Content& content) const {
    const auto found = bytesAt(content.start, content.length);
    if (!found) return std::nullopt;
    const auto* first = reinterpret_cast<const char*>(found->data());
    if (kind == asciiKind) return std::string(first, found->size());
    return PropertyList::binary({first, first + found->size()});
  }

  std::optional<PropertyList> utf16(const Content& content) const {
    std::string text;
    for (std::uint64_t index = 0; index < content.length; ++index) {
      const auto unit = integerAt(content.start + 2 * index, 2);
      if (!unit) return std::nullopt;
      std::uint64_t character = *unit;
      if (*unit >= 0xD800 && *unit < 0xE000) {  // one of two units that make one character
        const auto second = integerAt(content.start + 2 * ++index, 2);
        const bool isPair = *unit < 0xDC00 && index < content.length && second && *second >= 0xDC00 && *second < 0xE000;
        if (!isPair) return std::nullopt;
        character = 0x10000 + ((*unit - 0xD800) << 10) + (*second - 0xDC00);
      }
      appendUTF8(text, static_cast<std::uint32_t>(character));
    }
    return text;
  }

  std::optional<PropertyList> array(const Content& content, int depth) {
    PropertyList result = PropertyList::array();
    for (std::uint64_t index = 0; index < content.length; ++index) {
      auto item = referenced(content.start, index, depth);
      if (!item) return std::nullopt;
      result.push_back(std::move(*item));
    }
    return result;
  }

  /// All keys come before all values.
  std::optional<PropertyList> dictionary(const Content& content, int depth) {
    PropertyList result = PropertyList::object();
    for (std::uint64_t index = 0; index < content.length; ++index) {
      const auto key = referenced(content.start, index, depth);
      if (!key || !key->is_string()) return std::nullopt;
      auto item = referenced(content.start, content.length + index, depth);
      if (!item) return std::nullopt;
      result[key->get_ref<const std::string&>()] = std::move(*item);
    }
    return result;
  }

  std::optional<PropertyList> referenced(std::uint64_t references, std::uint64_t index, int depth) {
    const auto reference = integerAt(references + index * referenceSize_, referenceSize_);
    return reference ? value(*reference, depth + 1) : std::nullopt;
  }

  const std::span<const std::byte> bytes_;
  std::uint64_t offsetSize_ = 0;
  std::uint64_t referenceSize_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t offsetTable_ = 0;
  std::uint64_t budget_ = longestPropertyList;
};

}  // namespace

std::optional<PropertyList> propertyListFromBinary(std::span<const std::byte> bytes) {
  return BinaryReader(bytes).document();
}

}  // namespace tandemview
