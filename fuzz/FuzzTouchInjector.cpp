#include "LengthPrefixedMessages.h"
#include "fakes/ManualQueue.h"
#include "fakes/RecordingEventSystem.h"
#include "fakes/ScriptedScreens.h"
#include "input/TouchInjector.h"
#include "runtime/Assertion.h"
#include "runtime/Log.h"

using namespace tandemview;

/// A sequence of touch messages; an empty one takes the pointer to its next place. Whatever came before, a cancelled
/// drag ends with every button and key up.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  Log::setSink([](std::string_view) {});
  const std::optional<ScreenPoint> pointers[] = {ScreenPoint{10, 20}, ScreenPoint{-50, 2000}, std::nullopt};
  std::size_t pointer = 0;

  const auto events = std::make_shared<RecordingEventSystem>();
  events->pointer = pointers[0];
  TouchInjector injector({0, 0, 644, 1398}, {events, std::make_shared<ScriptedScreens>(),
                                             std::make_shared<ManualClock>(ManualQueue::make())});
  forEachMessage(bytes, size, [&](std::string_view message) {
    if (message.empty()) events->pointer = pointers[++pointer % std::size(pointers)];
    injector.handleTouchEvent(Data::copying(message));
    events->take();
    require(events->heldKeys().empty(), "no key is held after a message");
  });

  const char* cancelled = size % 2 == 0 ? R"({"type":"drag","phase":"cancelled","x":0,"y":0,"mode":"direct"})"
                                        : R"({"type":"drag","phase":"cancelled","x":0,"y":0,"mode":"trackpad"})";
  injector.handleTouchEvent(Data::copying(cancelled));
  require(events->heldButtons().empty(), "no button is held after a cancelled drag");
  return 0;
}
