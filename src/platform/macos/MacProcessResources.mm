#import "platform/macos/MacProcessResources.h"

#include <mach/mach.h>

namespace tandemview {

namespace {

/// In thousandths of a core, which is the kernel's own scale (TH_USAGE_SCALE).
int usageOf(thread_act_t thread) {
  thread_basic_info_data_t info{};
  mach_msg_type_number_t count = THREAD_BASIC_INFO_COUNT;
  if (thread_info(thread, THREAD_BASIC_INFO, reinterpret_cast<thread_info_t>(&info), &count) != KERN_SUCCESS) return 0;
  return (info.flags & TH_FLAGS_IDLE) != 0 ? 0 : info.cpu_usage;
}

}  // namespace

int MacProcessResources::processorUsage() {
  thread_act_array_t threads = nullptr;
  mach_msg_type_number_t count = 0;
  if (task_threads(mach_task_self(), &threads, &count) != KERN_SUCCESS) return 0;
  int usage = 0;
  for (mach_msg_type_number_t index = 0; index < count; ++index) {
    usage += usageOf(threads[index]);
    mach_port_deallocate(mach_task_self(), threads[index]);
  }
  vm_deallocate(mach_task_self(), reinterpret_cast<vm_address_t>(threads), count * sizeof(thread_act_t));
  return usage;
}

std::uint64_t MacProcessResources::memoryFootprint() {
  task_vm_info_data_t info{};
  mach_msg_type_number_t count = TASK_VM_INFO_COUNT;
  if (task_info(mach_task_self(), TASK_VM_INFO, reinterpret_cast<task_info_t>(&info), &count) != KERN_SUCCESS) return 0;
  return info.phys_footprint;
}

}  // namespace tandemview
