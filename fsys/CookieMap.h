#pragma once

#include <absl/container/btree_map.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "fsys/FsysDirectoryEntry.h"
#include "platform/Cookie.h"
#include "platform/QvPtr.h"

// CookieMap: the entries of the catalogue, in the order of their cookies.
// Story      A tree of broad nodes: a look-up among a million meets a few of them, and an entry
//            costs little beside itself.
// Threads    guarded by its owner; find only reads.
// Ownership  shares its entries. What leaves the map is given to the caller and never goes within:
//            whoever it calls as it ends sees a whole map.
// Errors     std::bad_alloc, and nothing has changed.
class CookieMap {
public:
  using Entry = Qv::Ptr<FsysDirectoryEntry>;

  size_t size() const { return entries_.size(); }
  // Null when there is none.
  Entry find(const Cookie& cookie) const {
    auto place = entries_.find(cookie);
    return place == entries_.end() ? Entry() : place->second;
  }
  // Returns what stood there.
  Entry put(const Cookie& cookie, Entry entry) {
    ++changes_;
    auto place = entries_.lower_bound(cookie);
    if (place == entries_.end() || place->first != cookie) {
      entries_.emplace_hint(place, cookie, std::move(entry));
      return {};
    }
    place->second.swap(entry);
    return entry;
  }
  Entry remove(const Cookie& cookie) {
    auto place = entries_.find(cookie);
    if (place == entries_.end()) return {};
    Entry entry = std::move(place->second);
    entries_.erase(place);
    ++changes_;
    return entry;
  }
  // Those for which `matches` holds.
  template <typename Matches>
  std::vector<Entry> removeIf(const Matches& matches) {
    std::vector<Entry> removed;
    removed.reserve(entries_.size());
    ++changes_;
    for (auto place = entries_.begin(); place != entries_.end();) {
      if (!matches(*place->second)) {
        ++place;
        continue;
      }
      removed.push_back(std::move(place->second));
      place = entries_.erase(place);
    }
    return removed;
  }
  void swap(CookieMap& other) noexcept {
    entries_.swap(other.entries_);
    ++changes_;
  }
  // Until `visit` answers false. It may change the map: the walk goes on behind the last cookie.
  template <typename Visit>
  void walk(const Visit& visit) const {
    for (auto place = entries_.begin(); place != entries_.end();) {
      const Cookie cookie = place->first;
      const uint64_t changes = changes_;
      if (!visit(cookie, Entry(place->second))) return;
      place = changes_ == changes ? std::next(place) : entries_.upper_bound(cookie);
    }
  }

private:
  absl::btree_map<Cookie, Entry> entries_;
  uint64_t changes_ = 0;  // how often it was changed
};
