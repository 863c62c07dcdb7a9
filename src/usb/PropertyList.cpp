#include "usb/PropertyList.h"

#include <plist/plist.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <memory>
#include <span>

#include "runtime/Log.h"
#include "usb/BinaryPropertyList.h"
#include "usb/XMLPropertyList.h"

namespace tandemview {

namespace {

struct NodeDeleter {
  void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeDeleter>;

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

}  // namespace

std::optional<PropertyList> dictionaryWithContentsOfData(const Data& data) {
  if (data.size() > longestPropertyList) return std::nullopt;
  const std::string_view text = data.text();
  auto root = text.starts_with("bplist") ? propertyListFromBinary(data.bytes()) : propertyListFromXML(text);
  return root && root->is_object() ? std::move(root) : std::nullopt;
}

Result<Data> xmlPropertyList(const PropertyList& dictionary) {
  return serialized(dictionary,
                    [](plist_t node, char** text, std::uint32_t* length) { plist_to_xml(node, text, length); });
}

std::optional<Data> createReferencingDispatchData(const PropertyList& dictionary) {
  Result<Data> data = serialized(
      dictionary, [](plist_t node, char** bytes, std::uint32_t* length) { plist_to_bin(node, bytes, length); });
  if (data) return std::move(*data);
  Log::print("Failed to serialize property list: {}", data.error().wholeDescription());
  return std::nullopt;
}

}  // namespace tandemview
