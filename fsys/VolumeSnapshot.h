#pragma once

#include <atomic>
#include <cstdint>

#include "fsys/MediaDrive.h"
#include "platform/Vector.h"

// VolumeSnapshot: the registry's list of drives as readers see it: a list that never changes, and
// is replaced whole.
// Threads    read: any, no lock. replace: one at a time.
// Ownership  a replaced list is freed by a later change that finds no reader inside.
class VolumeSnapshot {
public:
  using Drives = Vector<Qv::Ptr<MediaDrive>>;

  VolumeSnapshot() = default;
  ~VolumeSnapshot();
  VolumeSnapshot(const VolumeSnapshot&) = delete;
  VolumeSnapshot& operator=(const VolumeSnapshot&) = delete;

  // The first drive for which `matches` holds; null when there is none.
  template <typename Match>
  Qv::Ptr<MediaDrive> find(const Match& matches) const {
    // Empty is the common case while media is streamed: it costs one load.
    if (!current_.load(std::memory_order_relaxed)) return nullptr;
    readers_.fetch_add(1, std::memory_order_seq_cst);
    Qv::Ptr<MediaDrive> found;
    if (const Drives* drives = current_.load(std::memory_order_seq_cst)) {
      for (const Qv::Ptr<MediaDrive>& drive : *drives) {
        if (!matches(*drive)) continue;
        found = drive;
        break;
      }
    }
    readers_.fetch_sub(1, std::memory_order_seq_cst);
    return found;
  }

  // A copy of the list, for who will replace it.
  Drives copy() const;
  void replace(Drives drives);

private:
  std::atomic<const Drives*> current_{nullptr};
  mutable std::atomic<int32_t> readers_{0};
  Vector<const Drives*> retired_;  // the changer's alone
};
