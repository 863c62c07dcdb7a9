#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "runtime/Log.h"
#include "usb/PropertyList.h"

using namespace tandemview;

namespace {

/// Values within each other, and their number; a list is never read beyond its bounds.
struct Extent {
  int depth = 0;
  std::size_t values = 1;
};

Extent extentOf(const PropertyList& value) {
  Extent whole;
  if (value.is_structured()) {
    for (const PropertyList& item : value) {
      const Extent part = extentOf(item);
      whole.depth = std::max(whole.depth, part.depth);
      whole.values += part.values;
    }
  }
  ++whole.depth;
  return whole;
}

}  // namespace

/// Whatever is read is within its bounds and can be written, in both forms.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Log::setSink([](std::string_view) {});
  const auto dictionary = dictionaryWithContentsOfData(Data::copying(std::as_bytes(std::span(bytes, size))));
  if (!dictionary) return 0;
  const Extent extent = extentOf(*dictionary);
  if (extent.depth > deepestPropertyList || extent.values > longestPropertyList / 7) std::abort();
  if (!createReferencingDispatchData(*dictionary) || !xmlPropertyList(*dictionary)) std::abort();
  return 0;
}
