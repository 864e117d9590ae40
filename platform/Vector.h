#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "platform/ArrayMemory.h"

// Vector: a growable array that keeps its order. A few small entries cost no allocation.
// Threads    guarded by its owner.
// Units      indices count entries from 0; `npos` is "not there".
template <typename T>
class Vector {
public:
  static constexpr size_t npos = static_cast<size_t>(-1);

  Vector() = default;
  explicit Vector(size_t room) { items_.reserve(room); }

  size_t size() const { return items_.size(); }
  bool empty() const { return items_.empty(); }
  void reserve(size_t room) { items_.reserve(room); }
  T& operator[](size_t index) { return items_[index]; }
  const T& operator[](size_t index) const { return items_[index]; }

  void add(T item) { items_.push_back(std::move(item)); }
  // Before the entry at `index`; an index past the end appends.
  void insert(size_t index, T item) {
    items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(std::min(index, size())),
                  std::move(item));
  }
  // The first entry that equals `item`, or npos.
  size_t locate(const T& item) const {
    for (size_t i = 0; i < items_.size(); ++i)
      if (items_[i] == item) return i;
    return npos;
  }
  // Removes the first entry that equals `item`; false when there is none.
  bool remove(const T& item) {
    size_t index = locate(item);
    if (index == npos) return false;
    removeIdx(index);
    return true;
  }
  void removeIdx(size_t index) {
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
  }
  void clear() { items_.clear(); }
  // Takes all entries of `other`, which is empty afterwards.
  void consume(Vector& other) {
    if (items_.empty()) {
      items_.swap(other.items_);
      return;
    }
    for (T& item : other.items_) items_.push_back(std::move(item));
    other.items_.clear();
  }
  void swap(Vector& other) noexcept { items_.swap(other.items_); }

  auto begin() { return items_.begin(); }
  auto end() { return items_.end(); }
  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }

private:
  std::vector<T, ArrayMemory<T>> items_;
};
