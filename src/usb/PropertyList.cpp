#include "usb/PropertyList.h"

#include <plist/plist.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <memory>
#include <span>

#include "runtime/Log.h"

namespace tandemview {

namespace {

/// Deeper nesting than any message has; the library's own code recurses.
constexpr int deepestNesting = 64;

/// Bounds for what is parsed at all, far above the size of any message. The one for binary lists bounds how deep they
/// can nest.
constexpr std::size_t longestXML = 64 * 1024 * 1024;
constexpr std::size_t longestBinary = 64 * 1024;

struct NodeDeleter {
  void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeDeleter>;

struct MemoryDeleter {
  void operator()(char* memory) const { std::free(memory); }
};
using Memory = std::unique_ptr<char, MemoryDeleter>;

std::optional<PropertyList> valueOf(plist_t node, int depth);

std::optional<PropertyList> dictionaryOf(plist_t node, int depth) {
  PropertyList object = PropertyList::object();
  plist_dict_iter iterator = nullptr;
  plist_dict_new_iter(node, &iterator);
  const Memory ownedIterator(static_cast<char*>(iterator));
  while (true) {
    char* key = nullptr;
    plist_t item = nullptr;
    plist_dict_next_item(node, iterator, &key, &item);
    const Memory ownedKey(key);
    if (!item || !key) return object;
    std::optional<PropertyList> value = valueOf(item, depth + 1);
    if (!value) return std::nullopt;
    object[key] = std::move(*value);
  }
}

std::optional<PropertyList> arrayOf(plist_t node, int depth) {
  PropertyList array = PropertyList::array();
  const std::uint32_t count = plist_array_get_size(node);
  for (std::uint32_t index = 0; index < count; ++index) {
    std::optional<PropertyList> value = valueOf(plist_array_get_item(node, index), depth + 1);
    if (!value) return std::nullopt;
    array.push_back(std::move(*value));
  }
  return array;
}

PropertyList dataOf(plist_t node) {
  char* bytes = nullptr;
  std::uint64_t size = 0;
  plist_get_data_val(node, &bytes, &size);
  const Memory owned(bytes);
  return PropertyList::binary({bytes, bytes + size});
}

PropertyList stringOf(plist_t node, void (*get)(plist_t, char**)) {
  char* text = nullptr;
  get(node, &text);
  const Memory owned(text);
  return text ? text : "";
}

std::optional<PropertyList> valueOf(plist_t node, int depth) {
  if (depth > deepestNesting) return std::nullopt;
  switch (plist_get_node_type(node)) {
    case PLIST_DICT:
      return dictionaryOf(node, depth);
    case PLIST_ARRAY:
      return arrayOf(node, depth);
    case PLIST_DATA:
      return dataOf(node);
    case PLIST_STRING:
      return stringOf(node, plist_get_string_val);
    case PLIST_KEY:
      return stringOf(node, plist_get_key_val);
    case PLIST_BOOLEAN: {
      std::uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return value != 0;
    }
    case PLIST_UINT: {
      // The library keeps negative numbers as their two's complement.
      std::uint64_t value = 0;
      plist_get_uint_val(node, &value);
      return static_cast<std::int64_t>(value);
    }
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      return value;
    }
    case PLIST_DATE: {
      std::int32_t seconds = 0;
      std::int32_t microseconds = 0;
      plist_get_date_val(node, &seconds, &microseconds);
      return seconds + microseconds / 1e6;
    }
    case PLIST_UID: {
      std::uint64_t value = 0;
      plist_get_uid_val(node, &value);
      return value;
    }
    default:
      return std::nullopt;
  }
}

/// Absent for null, the one JSON value that property lists lack.
Node nodeOf(const PropertyList& value) {
  switch (value.type()) {
    case PropertyList::value_t::object: {
      Node node(plist_new_dict());
      for (const auto& [key, item] : value.items()) {
        Node child = nodeOf(item);
        if (!child) return nullptr;
        plist_dict_set_item(node.get(), key.c_str(), child.release());
      }
      return node;
    }
    case PropertyList::value_t::array: {
      Node node(plist_new_array());
      for (const PropertyList& item : value) {
        Node child = nodeOf(item);
        if (!child) return nullptr;
        plist_array_append_item(node.get(), child.release());
      }
      return node;
    }
    case PropertyList::value_t::string:
      return Node(plist_new_string(value.get_ref<const std::string&>().c_str()));
    case PropertyList::value_t::boolean:
      return Node(plist_new_bool(value.get<bool>()));
    case PropertyList::value_t::number_integer:
    case PropertyList::value_t::number_unsigned:
      return Node(plist_new_uint(value.get<std::uint64_t>()));
    case PropertyList::value_t::number_float:
      return Node(plist_new_real(value.get<double>()));
    case PropertyList::value_t::binary: {
      const auto& bytes = value.get_binary();
      return Node(plist_new_data(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    }
    default:
      return nullptr;
  }
}

using Serializer = void (*)(plist_t, char**, std::uint32_t*);

Result<Data> serialized(const PropertyList& dictionary, Serializer serializer) {
  const Node node = nodeOf(dictionary);
  char* text = nullptr;
  std::uint32_t length = 0;
  if (node) serializer(node.get(), &text, &length);
  if (!text) return tl::unexpected(Error{"PropertyList", 0, "a value that no property list can hold"});
  std::shared_ptr<const void> owner(text, [](const void* memory) { std::free(const_cast<void*>(memory)); });
  return Data(std::move(owner), std::as_bytes(std::span(text, length)));
}

/// Whether XML text is free of what the library's own code can't bear: deep nesting, because it recurses, and strings
/// that hold a NUL, on which it asserts. No daemon writes either, nor a numeric character reference.
bool isHarmless(std::string_view text) {
  if (text.find('\0') != std::string_view::npos || text.find("&#") != std::string_view::npos) return false;
  int depth = 0;
  for (std::size_t at = text.find('<'); at != std::string_view::npos; at = text.find('<', at + 1)) {
    const std::string_view tag = text.substr(at, 7);
    if (tag.starts_with("<array") || tag.starts_with("<dict")) ++depth;
    if (tag.starts_with("</array") || tag.starts_with("</dict")) --depth;
    if (depth > deepestNesting) return false;
  }
  return true;
}

std::optional<PropertyList> dictionaryFromXML(std::string_view text) {
  if (!isHarmless(text)) return std::nullopt;
  plist_t root = nullptr;
  plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &root);
  const Node node(root);
  if (!node || plist_get_node_type(node.get()) != PLIST_DICT) return std::nullopt;
  return valueOf(node.get(), 1);
}

/// Through its XML form, which shows what is harmless.
std::optional<PropertyList> dictionaryFromBinary(std::string_view bytes) {
  if (bytes.size() > longestBinary) return std::nullopt;
  plist_t root = nullptr;
  plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
  const Node node(root);
  char* text = nullptr;
  std::uint32_t length = 0;
  if (node) plist_to_xml(node.get(), &text, &length);
  const Memory owned(text);
  return text ? dictionaryFromXML({text, length}) : std::nullopt;
}

}  // namespace

std::optional<PropertyList> dictionaryWithContentsOfData(const Data& data) {
  const std::string_view text = data.text();
  if (text.size() > longestXML) return std::nullopt;
  return text.starts_with("bplist") ? dictionaryFromBinary(text) : dictionaryFromXML(text);
}

Result<Data> xmlPropertyList(const PropertyList& dictionary) {
  return serialized(dictionary,
                    [](plist_t node, char** text, std::uint32_t* length) { plist_to_xml(node, text, length); });
}

std::optional<Data> createReferencingDispatchData(const PropertyList& dictionary) {
  Result<Data> data = serialized(
      dictionary, [](plist_t node, char** bytes, std::uint32_t* length) { plist_to_bin(node, bytes, length); });
  if (data) return std::move(*data);
  Log::print("Failed to serialize property list: {}", data.error().localizedDescription());
  return std::nullopt;
}

}  // namespace tandemview
