#include "platform/OS.h"

#include <atomic>

namespace {
constinit std::atomic<iOS*> standIn{nullptr};
}

iOS* OS() {
  iOS* os = standIn.load(std::memory_order_acquire);
  return os ? os : nativeOS();
}

iOS* swapOS(iOS* os) { return standIn.exchange(os, std::memory_order_acq_rel); }
