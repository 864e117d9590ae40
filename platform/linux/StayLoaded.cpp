#include "platform/linux/StayLoaded.h"

#include <dlfcn.h>

#include <atomic>

void stayLoaded() {
  static std::atomic<bool> stays{false};
  if (stays.exchange(true, std::memory_order_relaxed)) return;
  Dl_info own = {};
  if (dladdr(reinterpret_cast<const void*>(&stayLoaded), &own) == 0) return;
  // A program that has the library inside itself is not found here, and stays anyway.
  dlopen(own.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}
