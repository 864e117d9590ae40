#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "fsys/MediaDrive.h"
#include "platform/Vector.h"

// VolumeSnapshot: the registry's list of drives as readers see it: a list that never changes, and
// is replaced whole.
// Threads    reading: any, no lock. replace: one at a time.
// Ownership  a replaced list is freed by a later change that finds no reader inside.
// Errors     replace needs memory for a list that is not empty, and throws std::bad_alloc with
//            nothing changed; emptying needs none.
class VolumeSnapshot {
public:
  using Drives = Vector<Qv::Ptr<MediaDrive>>;

  VolumeSnapshot() = default;
  ~VolumeSnapshot();
  VolumeSnapshot(const VolumeSnapshot&) = delete;
  VolumeSnapshot& operator=(const VolumeSnapshot&) = delete;

  // Calls `look(drives)` with the list as it is now, and answers what that answers. Of an empty
  // list it answers `Answer()`.
  template <typename Answer, typename Look>
  Answer read(const Look& look) const {
    // Empty is the common case while media is streamed: it costs one load.
    if (!current_.load(std::memory_order_relaxed)) return Answer();
    Inside inside(readers_);
    const List* list = current_.load(std::memory_order_seq_cst);
    return list ? look(list->drives) : Answer();
  }
  // The first drive for which `matches` holds; null when there is none.
  template <typename Match>
  Qv::Ptr<MediaDrive> find(const Match& matches) const {
    return read<Qv::Ptr<MediaDrive>>([&matches](const Drives& drives) {
      for (const Qv::Ptr<MediaDrive>& drive : drives)
        if (matches(*drive)) return drive;
      return Qv::Ptr<MediaDrive>();
    });
  }

  // A copy of the list, for a walk that may change it.
  Drives copy() const;
  void replace(Drives drives);

private:
  struct List {
    Drives drives;
    List* older;  // of the retired ones
  };
  // Counted also when the look throws.
  class Inside {
  public:
    explicit Inside(std::atomic<int32_t>& readers) : readers_(readers) {
      readers_.fetch_add(1, std::memory_order_seq_cst);
    }
    ~Inside() { readers_.fetch_sub(1, std::memory_order_seq_cst); }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

  private:
    std::atomic<int32_t>& readers_;
  };

  void freeRetired();

  std::atomic<List*> current_{nullptr};
  mutable std::atomic<int32_t> readers_{0};
  List* retired_ = nullptr;  // the changer's alone
};
