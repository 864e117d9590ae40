#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "platform/PlatformExport.h"

namespace Qv {

// InternalRefCount: the intrusive count of a shared object. Classes derive from it virtually, so
// that an object has one count however many interfaces it implements.
// Threads    the count is atomic: the last reference may be dropped on any thread, and the object
//            is destroyed there.
class PLATFORM_EXPORT InternalRefCount {
public:
  InternalRefCount() = default;
  // A copy is a new object: nobody refers to it yet.
  InternalRefCount(const InternalRefCount&) {}
  InternalRefCount& operator=(const InternalRefCount&) { return *this; }
  virtual ~InternalRefCount();

  void addRef() const { count_.fetch_add(1, std::memory_order_relaxed); }
  // Returns the new count; at 0 the caller destroys the object.
  int32_t decRef() const { return count_.fetch_sub(1, std::memory_order_acq_rel) - 1; }
  int32_t refCount() const { return count_.load(std::memory_order_relaxed); }

private:
  mutable std::atomic<int32_t> count_{0};
};

// Counts inside the object.
struct InternalCounting {
  // What a Ptr does with the count.
  template <typename T>
  struct Handle {
    static void add(T* object) { object->addRef(); }
    static void release(T* object) {
      if (object->decRef() == 0) delete object;
    }
  };
};

// Counts outside the object.
struct ExternalCounting {};

// Which of both it is for T: specialise with `type = ExternalCounting`, before the first use of
// Ptr<T>, what is counted from outside.
template <typename T>
struct CountingOf {
  using type = InternalCounting;
};

// Ptr: a shared reference. Copying shares; the last one to go deletes the object.
// Threads    one Ptr is used by one thread at a time; Ptrs to one object may live on many threads.
template <typename T, typename Counting = typename CountingOf<T>::type>
class Ptr {
public:
  Ptr() = default;
  Ptr(std::nullptr_t) {}
  Ptr(T* object) : object_(object) {
    if (object_) object_->addRef();
  }
  Ptr(const Ptr& other) : Ptr(other.object_) {}
  Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <typename U>
  Ptr(const Ptr<U>& other) : Ptr(static_cast<T*>(other.get())) {}
  ~Ptr() { reset(); }

  Ptr& operator=(const Ptr& other) {
    Ptr(other).swap(*this);
    return *this;
  }
  Ptr& operator=(Ptr&& other) noexcept {
    Ptr(std::move(other)).swap(*this);
    return *this;
  }

  void reset() {
    if (T* object = std::exchange(object_, nullptr)) Counting::template Handle<T>::release(object);
  }
  void swap(Ptr& other) noexcept { std::swap(object_, other.object_); }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }

  friend bool operator==(const Ptr& a, const Ptr& b) { return a.object_ == b.object_; }
  friend bool operator==(const Ptr& a, const T* b) { return a.object_ == b; }

private:
  T* object_ = nullptr;
};

// The same for an object that knows nothing of its references.
template <typename T>
class Ptr<T, ExternalCounting> {
public:
  Ptr() = default;
  // Owns the object from here on, also when there is no memory to count it: then it is deleted.
  explicit Ptr(T* object) : shared_(share(object)) {}
  Ptr(const Ptr& other) : shared_(other.shared_) {
    if (shared_) shared_->count.fetch_add(1, std::memory_order_relaxed);
  }
  Ptr(Ptr&& other) noexcept : shared_(std::exchange(other.shared_, nullptr)) {}
  ~Ptr() { reset(); }
  Ptr& operator=(Ptr other) noexcept {
    std::swap(shared_, other.shared_);
    return *this;
  }

  void reset() {
    Shared* shared = std::exchange(shared_, nullptr);
    if (!shared || shared->count.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    delete shared->object;
    delete shared;
  }

  T* get() const { return shared_ ? shared_->object : nullptr; }
  T* operator->() const { return get(); }
  explicit operator bool() const { return shared_ != nullptr; }

private:
  struct Shared {
    T* object;
    std::atomic<int32_t> count;
  };
  static Shared* share(T* object) {
    std::unique_ptr<T> owned(object);
    Shared* shared = object ? new Shared{object, {1}} : nullptr;
    owned.release();
    return shared;
  }

  Shared* shared_ = nullptr;
};

// The object as another type, or null when it is none.
template <typename U, typename T>
Ptr<U> dynamicCast(const Ptr<T>& from) {
  return Ptr<U>(dynamic_cast<U*>(from.get()));
}

}  // namespace Qv
