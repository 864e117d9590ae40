#pragma once

#include <atomic>
#include <cstdint>

#include "platform/QvPtr.h"
#include "platform/linux/SlowClose.h"

// OpenDescriptors: the system's side of one open file: a descriptor that goes through the page
// cache, and perhaps a second one of the same file that goes past it.
// Story      Made when a file is opened. The file shares it with its transfers, so that closing the
//            file leaves the transfers in flight their descriptors. The first direct transfer that
//            the system refuses turns the file to the page cache for good.
// Threads    any; fixed after construction, save the mark above, which is atomic.
// Ownership  owns both descriptors; closes them with the last reference, and on a thread of their
//            own where that can take its time.
// Units      bytes.
class OpenDescriptors : public virtual Qv::InternalRefCount {
public:
  // What direct transfers of one file must meet.
  struct Alignment {
    uint32_t address = 4096;
    uint32_t offset = 4096;  // and the length
  };

  OpenDescriptors(int cached, bool readable, bool writable);
  ~OpenDescriptors() override;
  OpenDescriptors(const OpenDescriptors&) = delete;
  OpenDescriptors& operator=(const OpenDescriptors&) = delete;

  // Opens the second descriptor. Without one, or where the system gives none, all transfers go
  // through the page cache. Before the object is shared.
  void openDirect();
  // Finds out what kind of file system the file is on. Before the object is shared.
  void askFileSystem();

  int cached() const { return cached_; }
  int direct() const { return direct_; }
  bool readable() const { return readable_; }
  bool writable() const { return writable_; }
  // Whether a transfer can go past the page cache.
  bool takesDirect(const void* address, uint64_t offset, uint32_t bytes) const;
  // A direct transfer was refused: from now on none is tried.
  void giveUpDirect() { usesDirect_.store(false, std::memory_order_relaxed); }
  bool usesDirect() const { return usesDirect_.load(std::memory_order_relaxed); }
  const Alignment& alignment() const { return alignment_; }
  // Whether a transfer that is only to be started may have to wait for a server or a program: only
  // the file systems of local disks and memory are known to start transfers and return.
  bool startingWaits() const { return startingWaits_; }
  // Whether a ring would put bytes where they do not belong. When a file system that is a program's
  // moves less than it was asked to, the kernel tries the rest again by itself, and on its rings it
  // does so from where the transfer began: a read that reaches past the end has bytes twice, a
  // short write writes over what it wrote. A thread that asks for the rest itself does not.
  bool ringsMisplace() const { return ringsMisplace_; }
  // How the close can be waited for where it can take its time; otherwise null.
  const Qv::Ptr<SlowClose>& closing() const { return closing_; }

private:
  const int cached_;
  int direct_ = -1;
  const bool readable_;
  const bool writable_;
  Alignment alignment_;
  Qv::Ptr<SlowClose> closing_;
  bool startingWaits_ = true;
  bool ringsMisplace_ = true;
  std::atomic<bool> usesDirect_{false};
};
