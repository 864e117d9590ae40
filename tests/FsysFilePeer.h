#pragma once

#include "fsys/FileRequest.h"
#include "fsys/FsysFile.h"

// Looks into a file.
struct FsysFilePeer {
  static FsysFile::RequestList& readRequests(FsysFile& file) { return *file.readRequests_; }
  static FsysFile::RequestList& writeRequests(FsysFile& file) { return *file.writeRequests_; }
  static CriticalSection& lock(FsysFile& file) { return *file.lock_; }
  static iDiskDrive::eType driveType(const FsysFile& file) { return file.driveType_; }
  static iThreadEvent& drainEvent(FsysFile& file) { return *file.drainEvent_; }
  static bool closing(const FsysFile& file) { return file.closing_; }
  static void setClosing(FsysFile& file) { file.closing_.set(true); }
  static void setWritersInside(FsysFile& file, uint32_t calls) { file.writersInside_ = calls; }
  // As a closer that has come so far.
  static bool claimAsCloser(FsysFile& file) { return file.claimLastFlush(FsysFile::eCloser); }
  static void setHeldIsSent(FsysFile& file) { file.heldIsSent_.set(true); }
  static void setWroteBehind(FsysFile& file) { file.wroteBehind_.set(true); }
  static void settleWrites(FsysFile& file) { file.settleWrites(); }
  static void setPosition(FsysFile& file, uint64_t position) { file.position_.set(position); }
  static uint32_t deferred(const FsysFile& file) { return file.deferredCount_.get(); }
  static void setDeferred(FsysFile& file, uint32_t count) { file.deferredCount_.set(count); }

  // Gives the file a write segment of which the first bytes are pending.
  static void giveSegment(FsysFile& file, const Qv::Ptr<iMemHolder>& segment, uint32_t pending) {
    file.writeSegment_ = segment;
    file.pendingSegmentBytes_ = pending;
  }
  static bool hasSegment(const FsysFile& file) { return static_cast<bool>(file.writeSegment_); }
  static uint32_t pendingSegmentBytes(const FsysFile& file) { return file.pendingSegmentBytes_; }

  static uint32_t cachedBytes(const FsysFile& file) { return file.cachedBytes(); }
  static uint64_t cachePosition(const FsysFile& file) { return file.writeCachePosition_; }
  static iMemHolder* writeCache(const FsysFile& file) { return file.writeCache_.get(); }
  static bool cacheDisabled(const FsysFile& file) { return file.cacheDisabled_; }

  static uint32_t coalesceLength(const FsysFile& file) { return file.coalesceLength_.get(); }
  static void addReadBytes(FsysFile& file, int64_t bytes) { file.countOutstanding(true, bytes); }
  static void addWriteBytes(FsysFile& file, int64_t bytes) { file.countOutstanding(false, bytes); }
};
