#pragma once

#include <atomic>
#include <cstdint>

// OsAtomics: the atomic operations that the library uses on counters, flags and published words.
// Threads    all operations: any thread, no lock, no wait.
// Units      the counters wrap at 32 (64) bits; adding a negative delta subtracts.
namespace OsAtomics {

// Adds `delta` to `value` and returns the new value. Relaxed: for counters that guard nothing.
inline uint32_t add(uint32_t& value, int32_t delta) {
  return std::atomic_ref<uint32_t>(value).fetch_add(static_cast<uint32_t>(delta),
                                                    std::memory_order_relaxed) +
         static_cast<uint32_t>(delta);
}

// Stores `value` and returns what stood there. Everything written before is seen by a thread that
// loads the new value.
inline uint32_t exchange(uint32_t& target, uint32_t value) {
  return std::atomic_ref<uint32_t>(target).exchange(value, std::memory_order_acq_rel);
}

// For plain exported globals that several threads touch.
template <typename T>
T load(const T& target) {
  return std::atomic_ref<T>(const_cast<T&>(target)).load(std::memory_order_relaxed);
}

// The same, changed.
template <typename T>
void store(T& target, T value) {
  std::atomic_ref<T>(target).store(value, std::memory_order_relaxed);
}

}  // namespace OsAtomics

// OsCounter: a counter that several threads change and read, and that orders nothing else.
// It is as large as T and may stand where a T is declared.
template <typename T>
class OsCounter {
public:
  constexpr OsCounter(T value = T()) : value_(value) {}
  OsCounter(const OsCounter&) = delete;
  OsCounter& operator=(const OsCounter&) = delete;

  T get() const { return value_.load(std::memory_order_relaxed); }
  void set(T value) { value_.store(value, std::memory_order_relaxed); }
  // Returns the new value.
  T add(T delta) { return value_.fetch_add(delta, std::memory_order_relaxed) + delta; }
  T subtract(T delta) { return value_.fetch_sub(delta, std::memory_order_relaxed) - delta; }

private:
  std::atomic<T> value_;
};

// OsWord: a word that publishes what was written before it: store releases, load acquires.
template <typename T>
class OsWord {
public:
  constexpr OsWord(T value = T()) : value_(value) {}
  OsWord(const OsWord&) = delete;
  OsWord& operator=(const OsWord&) = delete;

  operator T() const { return get(); }
  T get() const { return value_.load(std::memory_order_acquire); }
  void set(T value) { value_.store(value, std::memory_order_release); }
  T exchange(T value) { return value_.exchange(value, std::memory_order_acq_rel); }

private:
  std::atomic<T> value_;
};

// OsShares: how many hold an object that is destroyed by the last of them.
class OsShares {
public:
  constexpr explicit OsShares(int32_t shares) : shares_(shares) {}
  OsShares(const OsShares&) = delete;
  OsShares& operator=(const OsShares&) = delete;

  void add() { shares_.fetch_add(1, std::memory_order_relaxed); }
  // True for the last: what every other holder did is seen by it.
  bool drop() { return shares_.fetch_sub(1, std::memory_order_acq_rel) == 1; }

private:
  std::atomic<int32_t> shares_;
};
