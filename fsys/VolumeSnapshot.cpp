#include "fsys/VolumeSnapshot.h"

VolumeSnapshot::~VolumeSnapshot() {
  delete current_.load();
  for (const Drives* list : retired_) delete list;
}

VolumeSnapshot::Drives VolumeSnapshot::copy() const {
  const Drives* drives = current_.load(std::memory_order_acquire);
  return drives ? *drives : Drives();
}

void VolumeSnapshot::replace(Drives drives) {
  const Drives* next = drives.empty() ? nullptr : new Drives(std::move(drives));
  if (const Drives* last = current_.exchange(next, std::memory_order_seq_cst)) retired_.add(last);
  // A reader that enters from now on finds the new list; one that is inside may hold any old one.
  if (readers_.load(std::memory_order_seq_cst) != 0) return;
  for (const Drives* list : retired_) delete list;
  retired_.clear();
}
