#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "fsys/CookieBlock.h"
#include "fsys/FsysDirectoryEntry.h"

// CookieMap: the entries of the catalogue in their cookies' order.
// Story      Blocks of neighbours, and a list of the first cookie of each: a look-up among a
//            million meets that list, which a processor keeps at hand, and one block. A full block
//            becomes two; behind the last one a new one begins, so that what comes in order fills
//            them.
// Threads    guarded by its owner; find only reads.
// Ownership  shares its entries. What leaves the map is given to the caller and never goes within:
//            whoever it calls as it ends sees a whole map.
// Errors     std::bad_alloc, and nothing has changed.
class CookieMap {
public:
  using Entry = CookieBlock::Entry;

  size_t size() const { return size_; }
  // Null when there is none.
  Entry find(const Cookie& cookie) const {
    const Place place = placeOf(cookie);
    return holds(place, cookie) ? blocks_[place.block].block->entry(place.index) : Entry();
  }
  // Returns what stood there.
  Entry put(const Cookie& cookie, Entry entry) {
    Place place = placeOf(cookie);
    if (holds(place, cookie)) {
      ++changes_;
      blocks_[place.block].block->entry(place.index).swap(entry);
      return entry;
    }
    place = withRoom(place, cookie);
    Block& holder = blocks_[place.block];
    holder.block->insert(place.index, cookie, std::move(entry));
    holder.first = holder.block->cookie(0);
    ++size_;
    ++changes_;
    return {};
  }
  Entry remove(const Cookie& cookie) {
    const Place place = placeOf(cookie);
    if (!holds(place, cookie)) return {};
    Block& holder = blocks_[place.block];
    Entry entry = holder.block->take(place.index);
    --size_;
    ++changes_;
    if (holder.block->size() != 0)
      holder.first = holder.block->cookie(0);
    else
      blocks_.erase(blocks_.begin() + static_cast<std::ptrdiff_t>(place.block));
    return entry;
  }
  // Those for which `matches` holds.
  template <typename Matches>
  std::vector<Entry> removeIf(const Matches& matches) {
    std::vector<Entry> removed;
    removed.reserve(size_);
    for (const Block& holder : blocks_)
      for (size_t i = holder.block->size(); i-- > 0;)
        if (matches(*holder.block->entry(i))) removed.push_back(holder.block->take(i));
    std::erase_if(blocks_, [](const Block& holder) { return holder.block->size() == 0; });
    for (Block& holder : blocks_) holder.first = holder.block->cookie(0);
    size_ -= removed.size();
    ++changes_;
    return removed;
  }
  void swap(CookieMap& other) noexcept {
    blocks_.swap(other.blocks_);
    std::swap(size_, other.size_);
    ++changes_;
    ++other.changes_;
  }
  // Until `visit` answers false. It may change the map: the walk goes on behind the last cookie.
  template <typename Visit>
  void walk(const Visit& visit) const {
    for (Place place; place.block < blocks_.size();) {
      const CookieBlock& block = *blocks_[place.block].block;
      const Cookie cookie = block.cookie(place.index);
      const uint64_t changes = changes_;
      if (!visit(cookie, Entry(block.entry(place.index)))) return;
      if (changes_ != changes) place = placeOf(cookie);
      place = behind(place, cookie);
    }
  }

private:
  struct Block {
    Cookie first;
    std::unique_ptr<CookieBlock> block;
  };
  struct Place {
    size_t block = 0;
    size_t index = 0;
  };

  // Where it is, or would stand.
  Place placeOf(const Cookie& cookie) const {
    auto above = std::upper_bound(
        blocks_.begin(), blocks_.end(), cookie,
        [](const Cookie& wanted, const Block& block) { return wanted < block.first; });
    if (above == blocks_.begin()) return {};
    const size_t block = static_cast<size_t>(above - blocks_.begin()) - 1;
    return {block, blocks_[block].block->placeOf(cookie)};
  }
  bool holds(const Place& place, const Cookie& cookie) const {
    if (place.block == blocks_.size()) return false;
    const CookieBlock& block = *blocks_[place.block].block;
    return place.index < block.size() && block.cookie(place.index) == cookie;
  }
  // The place of what stands behind the cookie, which is at or would stand at `place`.
  Place behind(Place place, const Cookie& cookie) const {
    if (holds(place, cookie)) ++place.index;
    const bool isInside =
        place.block < blocks_.size() && place.index < blocks_[place.block].block->size();
    return isInside || place.block == blocks_.size() ? place : Place{place.block + 1, 0};
  }
  // Where it is to be inserted once there is room for it.
  Place withRoom(const Place& place, const Cookie& cookie) {
    if (blocks_.empty()) {
      beginBlock(0, cookie);
      return {};
    }
    CookieBlock& block = *blocks_[place.block].block;
    if (!block.isFull()) return place;
    const bool isBehindAll = place.block + 1 == blocks_.size() && place.index == block.size();
    const size_t half = isBehindAll ? block.size() : block.size() / 2;
    CookieBlock& added = beginBlock(place.block + 1, isBehindAll ? cookie : block.cookie(half));
    block.moveTail(half, added);
    return place.index < half || (place.index == half && !isBehindAll)
               ? place
               : Place{place.block + 1, place.index - half};
  }
  CookieBlock& beginBlock(size_t at, const Cookie& first) {
    Block added{first, std::make_unique<CookieBlock>()};
    return *blocks_.insert(blocks_.begin() + static_cast<std::ptrdiff_t>(at), std::move(added))
                ->block;
  }
  std::vector<Block> blocks_;  // none is empty
  size_t size_ = 0;
  uint64_t changes_ = 0;  // how often it was changed
};
