#include "LengthPrefixedMessages.h"
#include "fakes/RecordingEventSystem.h"
#include "input/KeyboardInjector.h"
#include "runtime/Assertion.h"
#include "runtime/Log.h"

using namespace tandemview;

/// A sequence of key messages; each leaves every key up. The bytes as they stand are typed too, to reach the text
/// handling with what no JSON text can hold.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  Log::setSink([](std::string_view) {});
  const auto events = std::make_shared<RecordingEventSystem>();
  KeyboardInjector injector(events->makeEventSource(), events);
  forEachMessage(bytes, size, [&](std::string_view message) {
    injector.handleKeyEvent(Data::copying(message));
    injector.typeText(message);
    injector.pressKey(message, EventFlag::none);
    events->take();
    require(events->heldKeys().empty(), "no key is held after a message");
  });
  return 0;
}
