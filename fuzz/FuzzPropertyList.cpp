#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "runtime/Log.h"
#include "usb/PropertyList.h"

using namespace tandemview;

/// Whatever is read can be written, in both forms.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Log::setSink([](std::string_view) {});
  const auto dictionary = dictionaryWithContentsOfData(Data::copying(std::as_bytes(std::span(bytes, size))));
  if (!dictionary) return 0;
  if (!createReferencingDispatchData(*dictionary) || !xmlPropertyList(*dictionary)) std::abort();
  return 0;
}
