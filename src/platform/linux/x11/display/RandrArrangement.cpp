#include "platform/linux/x11/display/RandrArrangement.h"

namespace tandemview {

Arrangement arrangementOf(const RandrLayout& layout) {
  Arrangement arrangement;
  const RandrLayout::Output* const main = layout.mainOutput();
  for (const RandrLayout::Output* const output : layout.activeOutputs()) {
    const RandrLayout::Crtc& crtc = *layout.activeCrtc(output->id);
    arrangement.push_back({.id = output->id,
                           .name = output->name,
                           .x = crtc.x,
                           .y = crtc.y,
                           .width = crtc.width,
                           .height = crtc.height,
                           .isMain = output == main});
  }
  return arrangement;
}

}  // namespace tandemview
