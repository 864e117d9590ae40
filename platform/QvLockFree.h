#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

// Qv::LockFree::Stack and Qv::PooledObject: memory of one size that is taken and given back
// without a lock and without an allocation once the pool has grown to what is used at once.
// Story      Slots come in slabs that double in size and are never given back, so a slot that a
//            slow thread still looks at is always memory of the pool. The free list is a stack of
//            slot numbers; a counter beside the top number tells a top that went and came back.
// Threads    any; no lock; allocates only when the pool grows.
// Units      slots; at most kFirstSlab * (2^kSlabs - 1) of them.
namespace Qv::LockFree {

// Stack: slots of so many bytes.
template <size_t Bytes, size_t Alignment>
class Stack {
public:
  constexpr Stack() = default;
  Stack(const Stack&) = delete;
  Stack& operator=(const Stack&) = delete;
  ~Stack() {
    for (auto& slab : slabs_) delete[] slab.load(std::memory_order_acquire);
  }

  // Memory for one object. Null when the pool cannot grow.
  void* take() {
    for (;;) {
      if (Slot* slot = pop()) return slot->memory;
      if (!grow()) return nullptr;
    }
  }

  void give(void* memory) {
    Slot* slot =
        reinterpret_cast<Slot*>(static_cast<unsigned char*>(memory) - offsetof(Slot, memory));
    push(slot->number, slot);
  }

  // Slots that exist, taken or not.
  size_t capacity() const { return capacity_.load(std::memory_order_relaxed); }

private:
  static constexpr uint32_t kFirstSlab = 64;
  static constexpr size_t kSlabs = 20;

  struct Slot {
    std::atomic<uint32_t> next{0};
    uint32_t number = 0;  // from 1; fixed after the slab was made
    alignas(Alignment) unsigned char memory[Bytes];
  };

  static constexpr uint32_t slabStart(size_t slab) { return kFirstSlab * ((1u << slab) - 1) + 1; }
  Slot* slotAt(uint32_t number) const {
    size_t slab = 0;
    while (number >= slabStart(slab + 1)) ++slab;
    return &slabs_[slab].load(std::memory_order_acquire)[number - slabStart(slab)];
  }
  static uint32_t numberOf(uint64_t top) { return static_cast<uint32_t>(top); }
  static uint64_t makeTop(uint32_t number, uint64_t previous) {
    return ((previous >> 32) + 1) << 32 | number;
  }

  Slot* pop() {
    uint64_t top = top_.load(std::memory_order_acquire);
    while (numberOf(top) != 0) {
      Slot* slot = slotAt(numberOf(top));
      uint64_t after = makeTop(slot->next.load(std::memory_order_relaxed), top);
      if (top_.compare_exchange_weak(top, after, std::memory_order_acq_rel,
                                     std::memory_order_acquire))
        return slot;
    }
    return nullptr;
  }

  void push(uint32_t number, Slot* slot) {
    uint64_t top = top_.load(std::memory_order_relaxed);
    do {
      slot->next.store(numberOf(top), std::memory_order_relaxed);
    } while (!top_.compare_exchange_weak(top, makeTop(number, top), std::memory_order_acq_rel,
                                         std::memory_order_relaxed));
  }

  // Adds the next slab, unless another thread has just done so. False: no memory, or the limit.
  bool grow() {
    for (size_t slab = 0; slab < kSlabs; ++slab) {
      if (slabs_[slab].load(std::memory_order_acquire)) continue;
      uint32_t count = kFirstSlab << slab;
      std::unique_ptr<Slot[]> fresh(new (std::nothrow) Slot[count]);
      if (!fresh) return false;
      for (uint32_t i = 0; i < count; ++i) fresh[i].number = slabStart(slab) + i;
      Slot* none = nullptr;
      if (!slabs_[slab].compare_exchange_strong(none, fresh.get(), std::memory_order_acq_rel))
        return true;
      Slot* slots = fresh.release();
      capacity_.fetch_add(count, std::memory_order_relaxed);
      for (uint32_t i = 0; i < count; ++i) push(slots[i].number, &slots[i]);
      return true;
    }
    return false;
  }

  std::atomic<uint64_t> top_{0};
  std::atomic<size_t> capacity_{0};
  std::array<std::atomic<Slot*>, kSlabs> slabs_{};
};

}  // namespace Qv::LockFree

namespace Qv {

// PooledObject: gives T's objects memory from one pool of their own.
template <typename T>
class PooledObject {
public:
  static void* operator new(size_t bytes) {
    if (void* memory = bytes <= sizeof(T) ? pool().take() : nullptr) return memory;
    throw std::bad_alloc();
  }
  static void operator delete(void* memory) {
    if (memory) pool().give(memory);
  }
  static size_t pooledCapacity() { return pool().capacity(); }

private:
  // Never destroyed: objects may be given back while the process ends.
  static auto& pool() {
    using Pool = LockFree::Stack<sizeof(T), alignof(T)>;
    alignas(Pool) static unsigned char room[sizeof(Pool)];
    static Pool* pool = new (room) Pool;
    return *pool;
  }
};

}  // namespace Qv
