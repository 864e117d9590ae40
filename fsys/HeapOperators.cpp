// The process-wide heap operators: every allocation goes to the platform's memory manager, every
// form of new and delete included, so that memory may be freed by any of them wherever it was
// allocated.

#include <new>

#include "platform/OS.h"

namespace {

void* allocate(size_t bytes, size_t alignment) {
  iMemoryManager* memory = OS()->getMemoryManager();
  for (;;) {
    void* block = alignment ? memory->allocateAligned(bytes ? bytes : 1, alignment)
                            : memory->allocate(bytes ? bytes : 1);
    if (block) return block;
    std::new_handler handler = std::get_new_handler();
    if (!handler) throw std::bad_alloc();
    handler();
  }
}

template <typename Allocate>
void* nullInsteadOfThrowing(const Allocate& allocateOrThrow) noexcept {
  try {
    return allocateOrThrow();
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

void* operator new(size_t bytes) { return allocate(bytes, 0); }
void* operator new[](size_t bytes) { return operator new(bytes); }
void* operator new(size_t bytes, const std::nothrow_t&) noexcept {
  return nullInsteadOfThrowing([bytes] { return operator new(bytes); });
}
void* operator new[](size_t bytes, const std::nothrow_t& tag) noexcept {
  return operator new(bytes, tag);
}

void operator delete(void* block) noexcept { OS()->getMemoryManager()->free(block); }
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete(void* block, size_t) noexcept { operator delete(block); }
void operator delete[](void* block, size_t) noexcept { operator delete(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { operator delete(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { operator delete(block); }

void* operator new(size_t bytes, std::align_val_t alignment) {
  return allocate(bytes, static_cast<size_t>(alignment));
}
void* operator new[](size_t bytes, std::align_val_t alignment) {
  return operator new(bytes, alignment);
}
void* operator new(size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return nullInsteadOfThrowing([=] { return operator new(bytes, alignment); });
}
void* operator new[](size_t bytes, std::align_val_t alignment, const std::nothrow_t& tag) noexcept {
  return operator new(bytes, alignment, tag);
}

void operator delete(void* block, std::align_val_t) noexcept {
  OS()->getMemoryManager()->freeAligned(block);
}
void operator delete[](void* block, std::align_val_t alignment) noexcept {
  operator delete(block, alignment);
}
void operator delete(void* block, size_t, std::align_val_t alignment) noexcept {
  operator delete(block, alignment);
}
void operator delete[](void* block, size_t, std::align_val_t alignment) noexcept {
  operator delete(block, alignment);
}
void operator delete(void* block, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  operator delete(block, alignment);
}
void operator delete[](void* block, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  operator delete(block, alignment);
}
