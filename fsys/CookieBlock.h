#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "fsys/FsysDirectoryEntry.h"
#include "platform/Cookie.h"
#include "platform/QvPtr.h"

// CookieBlock: some neighbours of the catalogue, in their cookies' order.
// Story      The cookies lie apart from their entries, close together: whoever looks for one meets
//            few lines of memory.
// Threads    guarded by its owner.
// Ownership  shares its entries.
class CookieBlock {
public:
  using Entry = Qv::Ptr<FsysDirectoryEntry>;
  static constexpr size_t kMost = 128;

  size_t size() const { return size_; }
  bool isFull() const { return size_ == kMost; }
  const Cookie& cookie(size_t index) const { return cookies_[index]; }
  Entry& entry(size_t index) { return entries_[index]; }
  const Entry& entry(size_t index) const { return entries_[index]; }
  // The index of the first cookie that is not below.
  size_t placeOf(const Cookie& cookie) const {
    const Cookie* first = cookies_.data();
    return static_cast<size_t>(std::lower_bound(first, first + size_, cookie) - first);
  }

  // There is room.
  void insert(size_t index, const Cookie& cookie, Entry entry) {
    Cookie* const cookies = cookies_.data();
    Entry* const entries = entries_.data();
    std::move_backward(cookies + index, cookies + size_, cookies + size_ + 1);
    std::move_backward(entries + index, entries + size_, entries + size_ + 1);
    cookies[index] = cookie;
    entries[index] = std::move(entry);
    ++size_;
  }
  Entry take(size_t index) {
    Cookie* const cookies = cookies_.data();
    Entry* const entries = entries_.data();
    Entry entry = std::move(entries[index]);
    std::move(cookies + index + 1, cookies + size_, cookies + index);
    std::move(entries + index + 1, entries + size_, entries + index);
    --size_;
    return entry;
  }
  // What stands from there on goes to the start of `other`, which is empty.
  void moveTail(size_t index, CookieBlock& other) {
    std::move(cookies_.data() + index, cookies_.data() + size_, other.cookies_.data());
    std::move(entries_.data() + index, entries_.data() + size_, other.entries_.data());
    other.size_ = size_ - index;
    size_ = index;
  }

private:
  size_t size_ = 0;
  std::array<Cookie, kMost> cookies_;
  std::array<Entry, kMost> entries_;
};
