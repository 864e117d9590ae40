#include "fsys/VolumeSnapshot.h"

VolumeSnapshot::~VolumeSnapshot() {
  delete current_.load();
  freeRetired();
}

VolumeSnapshot::Drives VolumeSnapshot::copy() const {
  return read<Drives>([](const Drives& drives) { return drives; });
}

void VolumeSnapshot::replace(Drives drives) {
  List* next = drives.empty() ? nullptr : new List{std::move(drives), nullptr};
  if (List* last = current_.exchange(next, std::memory_order_seq_cst)) {
    last->older = retired_;
    retired_ = last;
  }
  // A reader that enters from now on finds the new list; one that is inside may hold any old one.
  if (readers_.load(std::memory_order_seq_cst) == 0) freeRetired();
}

void VolumeSnapshot::freeRetired() {
  // What a drive lets go of as it is destroyed may come back here.
  while (List* list = retired_) {
    retired_ = list->older;
    delete list;
  }
}
