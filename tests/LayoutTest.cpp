// The declared orders: fields by their addresses, virtual operations by their slots.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <vector>

#include "fsys/CompletionInfo.h"
#include "fsys/DecodeFormat.h"
#include "fsys/FileRequest.h"
#include "fsys/Fsys.h"
#include "fsys/FsysBuf.h"
#include "fsys/FsysDirectoryEntry.h"
#include "fsys/FsysFile.h"
#include "fsys/FsysPoll.h"
#include "fsys/IoCompletion.h"
#include "fsys/MaterialFilename.h"
#include "fsys/MediaDrive.h"
#include "fsys/MediaFileInfo.h"
#include "fsys/MediaLocationInfo.h"
#include "fsys/MemBlock.h"
#include "fsys/MemRef.h"
#include "fsys/VolumeInfo.h"
#include "fsys/WriteMemRef.h"
#include "platform/fake/FakeOSScope.h"

// Sees the private fields.
struct LayoutPeer {
  using Addresses = std::vector<const void*>;

  static Addresses of(const Fsys& x) {
    return {&x.readBytesOutstanding_,
            &x.writeBytesOutstanding_,
            &x.readPoll_,
            &x.writePoll_,
            &x.readFiles_,
            &x.writeFiles_,
            &x.readFilesLock_,
            &x.writeFilesLock_,
            &x.receiver_};
  }
  static Addresses of(const FileRequest& x) {
    return {&x.is_read_,      &x.synchronous_, &x.Status_,       &x.offset_,    &x.startAdjust_,
            &x.ByteCount_,    &x.deferrable_,  &x.lengthAdjust_, &x.bytesDone_, &x.buffer_,
            &x.asyncContext_, &x.completions_, &x.startTime_ms_, &x.file_,      &x.startRetries_,
            &x.lastUse_,      &x.waiter_};
  }
  static Addresses of(const FsysFile& x) {
    return {&x.driveType_,
            &x.sectorSize_,
            &x.poll_,
            &x.file_,
            &x.probe_,
            &x.name_,
            &x.readRequests_,
            &x.writeRequests_,
            &x.lock_,
            &x.closing_,
            &x.drainEvent_,
            &x.deferredCount_,
            &x.position_,
            &x.writeSegment_,
            &x.pendingSegmentBytes_,
            &x.writeCache_,
            &x.writeCacheFill_,
            &x.writeCachePosition_,
            &x.cacheDisabled_,
            &x.flags_,
            &x.coalesceLength_,
            &x.writeBytesOutstanding_,
            &x.readBytesOutstanding_};
  }
  static Addresses of(const MemRef& x) { return {&x.underlying_, &x.start_, &x.size_, &x.used_}; }
  static Addresses of(const MemBlock& x) { return {&x.memory_, &x.size_, &x.offset_}; }
  static Addresses of(const FsysBuf& x) { return {&x.pendingBytes_, &x.secondCount_}; }
  static Addresses of(const CompletionInfo& x) {
    return {&x.callback_, &x.context_, &x.offset_, &x.length_, &x.bufferPosition_};
  }
  static Addresses of(const FsysPoll& x) {
    return {&x.delay_ms_,  &x.threadId_, &x.wake_,    &x.files_,
            &x.filesLock_, &x.spare_,    &x.running_, &x.reads_};
  }
  static Addresses of(const IOCompletionReceiver& x) { return {&x.readHandler_, &x.writeHandler_}; }
  static Addresses of(const MediaDrive& x) NO_THREAD_SAFETY_ANALYSIS {
    return {&x.id_,      &x.userName_,       &x.spaceMB_,       &x.capacityMB_,
            &x.type_,    &x.sectorSize_,     &x.reportedFlag_,  &x.localName_,
            &x.uncName_, &x.localShareName_, &x.autoDiscovered_};
  }
  static Addresses of(const FsysDirectoryEntry& x) NO_THREAD_SAFETY_ANALYSIS {
    return {&x.highResFile_, &x.proxyFiles_};
  }
  static Addresses of(const MaterialFilename& x) { return {&x.drive_, &x.path_}; }
  static Addresses of(const Qv::Image::Core::Data& x) {
    return {&x.width_, &x.height_, &x.format_, &x.bitsPerComponent_, &x.bitsPerPixel_, &x.isSet_};
  }
  static Addresses of(const DecodeFormat& x) { return {&x.proxyLevel_, &x.flag_}; }
  static Addresses of(const MediaFileInfo& x) {
    return {&x.name_, &x.linkState_, &x.linked_, &x.proxyHeight_, &x.proxyAudioChannels_,
            &x.size_, &x.spare_};
  }
  static Addresses of(const MediaLocationInfo& x) {
    return {&x.mediaStatus_, &x.proxyStatus_, &x.primaryLocations_, &x.linkedLocations_};
  }
  static Addresses of(const VolumeInfo& x) {
    return {&x.freeBytes, &x.totalBytes, &x.isFixedDrive, &x.reportedFlag};
  }
  static bool& flag(DecodeFormat& x) { return x.flag_; }
  static void beKept(const MediaFileInfo& x) { x.linkState_ = MediaFileInfo::eBeingKept; }
  static uint32_t linkState(const MediaFileInfo& x) { return x.linkState_; }
  static uint64_t spare(const MediaFileInfo& x) { return x.spare_; }
  static uint32_t secondCount(const FsysBuf& x) { return x.secondCount_; }
  static uint32_t blockOffset(const MemBlock& x) { return x.offset_; }
};

namespace {

bool ascend(const LayoutPeer::Addresses& addresses) {
  return std::is_sorted(addresses.begin(), addresses.end(), std::less_equal<const void*>()) &&
         std::adjacent_find(addresses.begin(), addresses.end()) == addresses.end();
}

// The slot of a virtual operation: its pointer holds the slot's offset in the table, and one. The
// destructors stand in slots 0 and 1.
template <typename Operation>
size_t slotOf(Operation operation) {
  uintptr_t word;
  std::memcpy(&word, &operation, sizeof word);
  return (word - 1) / sizeof(void*);
}

class LayoutTest : public testing::Test {
protected:
  FakeOSScope scope_;
};

TEST_F(LayoutTest, FieldsStandInTheirDeclaredOrder) {
  Qv::Ptr<MemBlock> block(new MemBlock(10));
  Qv::Ptr<MemRef> slice(new MemRef(block, 0, 5));
  FsysBuf pool;
  CompletionInfo entry(nullptr, nullptr, 0, 0);
  FsysFile file(LightweightString<wchar_t>(L"/a"), nullptr, 512, iDiskDrive::eFixed, 1, 0);
  FileRequest request(true, 1, 0, false, false, nullptr, &file, nullptr, nullptr);
  Fsys engine;
  Vector<FsysFile*> files;
  CriticalSection lock;
  FsysPoll poll(&files, &lock, true, 50, 50);
  IOCompletionReceiver receiver;

  EXPECT_TRUE(ascend(LayoutPeer::of(*block)));
  EXPECT_TRUE(ascend(LayoutPeer::of(*slice)));
  EXPECT_TRUE(ascend(LayoutPeer::of(pool)));
  EXPECT_TRUE(ascend(LayoutPeer::of(entry)));
  EXPECT_TRUE(ascend(LayoutPeer::of(file)));
  EXPECT_TRUE(ascend(LayoutPeer::of(request)));
  EXPECT_TRUE(ascend(LayoutPeer::of(engine)));
  EXPECT_TRUE(ascend(LayoutPeer::of(poll)));
  EXPECT_TRUE(ascend(LayoutPeer::of(receiver)));
}

TEST_F(LayoutTest, FieldsOfADriveOfAFilesNameAndOfASpaceStandInTheirDeclaredOrder) {
  const MediaDrive drive(DriveId('1'), L"/media/", iDiskDrive::eFixed);
  EXPECT_TRUE(ascend(LayoutPeer::of(drive)));
  EXPECT_TRUE(ascend(LayoutPeer::of(MaterialFilename())));
  EXPECT_TRUE(ascend(LayoutPeer::of(VolumeInfo())));
  EXPECT_EQ(sizeof(DriveId), 1u);
  EXPECT_EQ(sizeof(iDiskDrive::eType), 4u);
}

TEST_F(LayoutTest, FieldsOfTheCataloguesClassesStandInTheirDeclaredOrder) {
  EXPECT_TRUE(ascend(LayoutPeer::of(Qv::Image::Core::Data())));
  EXPECT_TRUE(ascend(LayoutPeer::of(DecodeFormat())));
  EXPECT_TRUE(ascend(LayoutPeer::of(MediaFileInfo())));
  EXPECT_TRUE(ascend(LayoutPeer::of(MediaLocationInfo())));
}

TEST_F(LayoutTest, AnEntrysFileOfHighResolutionStandsBeforeItsProxies) {
  EXPECT_TRUE(ascend(LayoutPeer::of(FsysDirectoryEntry())));
}

// The flag, which nothing reads.
TEST_F(LayoutTest, AFormatsFlagIsFalseAndGoesWithItsCopies) {
  DecodeFormat format;
  DecodeFormat ofALevel(eProxy);
  DecodeFormat ofData{Qv::Image::Core::Data()};
  for (DecodeFormat* made : {&format, &ofALevel, &ofData, &DecodeFormat::getDefault()})
    EXPECT_FALSE(LayoutPeer::flag(*made));
  const DecodeFormat before(DecodeFormat::getDefault());
  LayoutPeer::flag(format) = true;
  DecodeFormat copy(format);
  EXPECT_TRUE(LayoutPeer::flag(copy));
  DecodeFormat::setDefault(format);
  EXPECT_TRUE(LayoutPeer::flag(DecodeFormat::getDefault()));
  DecodeFormat::setDefault(before);
  EXPECT_FALSE(LayoutPeer::flag(DecodeFormat::getDefault()));
}

TEST_F(LayoutTest, ACopyMadeWhileALinksNameIsBeingKeptCountsAsNotRead) {
  const MediaFileInfo known(MaterialFilename(DriveId('1'), L"/a.mov"), L"/far", 512);
  EXPECT_EQ(LayoutPeer::linkState(known), 0u);
  EXPECT_EQ(LayoutPeer::linkState(MediaFileInfo(known)), 0u);
  LayoutPeer::beKept(known);
  const MediaFileInfo copy(known);
  MediaFileInfo assigned(MaterialFilename(DriveId('1'), L"/b.mov"), L"/old", 512);
  assigned = known;
  EXPECT_EQ(LayoutPeer::linkState(copy), 1u);
  EXPECT_EQ(LayoutPeer::linkState(assigned), 1u);
}

TEST_F(LayoutTest, EveryInfoIsMadeWithItsSpareWord0) {
  const MaterialFilename name(DriveId('1'), L"/a.mov");
  alignas(MediaFileInfo) unsigned char room[sizeof(MediaFileInfo)];
  auto isZeroed = [&room](auto... arguments) {
    std::memset(room, 0xFF, sizeof room);
    MediaFileInfo* info = new (room) MediaFileInfo(arguments...);
    const uint64_t spare = LayoutPeer::spare(*info);
    info->~MediaFileInfo();
    return spare == 0;
  };
  EXPECT_TRUE(isZeroed());
  EXPECT_TRUE(isZeroed(name, 512ul));
  EXPECT_TRUE(isZeroed(name, LightweightString<wchar_t>(L"/far"), 512ul));
}

TEST_F(LayoutTest, AnOrderThatIsNotKeptIsSeen) {
  int pair[2] = {0, 0};
  EXPECT_FALSE(ascend({&pair[1], &pair[0]}));
  EXPECT_FALSE(ascend({&pair[0], &pair[0]}));
}

TEST_F(LayoutTest, AFilesVirtualOperationsStandInTheirSlots) {
  EXPECT_EQ(slotOf(&FsysFile::LowLevelOpen), 2u);
  EXPECT_EQ(slotOf(&FsysFile::LowLevelClose), 3u);
  EXPECT_EQ(slotOf(&FsysFile::LowLevelAsyncRead), 4u);
  EXPECT_EQ(slotOf(&FsysFile::LowLevelAsyncWrite), 5u);
  EXPECT_EQ(slotOf(&FsysFile::LowLevelRead), 6u);
  EXPECT_EQ(slotOf(&FsysFile::LowLevelWrite), 7u);
  EXPECT_EQ(slotOf(&FsysFile::LowLevelGetInfo), 8u);
  EXPECT_EQ(slotOf(&FsysFile::SetUpIoCompletionNotify), 9u);
}

template <typename Holder>
void expectHolderSlots() {
  EXPECT_EQ(slotOf(&Holder::getBuffer), 2u);
  EXPECT_EQ(slotOf(&Holder::getSize), 3u);
  EXPECT_EQ(slotOf(&Holder::getUsed), 4u);
  EXPECT_EQ(slotOf(&Holder::setUsed), 5u);
}

TEST_F(LayoutTest, EveryHoldersVirtualOperationsStandInTheirSlots) {
  expectHolderSlots<iMemHolder>();
  expectHolderSlots<MemRef>();
  expectHolderSlots<MemBlock>();
  expectHolderSlots<WriteMemRef>();
}

TEST_F(LayoutTest, TheReceiversCommandStandsBehindItsDestructors) {
  EXPECT_EQ(slotOf(&IOCompletionReceiver::executeCommand), 2u);
}

// Its first virtual operation stands in the slot behind all of the base's.
template <typename Base>
struct OneMore : Base {
  using Base::Base;
  virtual void more() {}
};

TEST_F(LayoutTest, ClassesWithOnlyAVirtualDestructorHaveNoFurtherSlots) {
  EXPECT_EQ(slotOf(&OneMore<FsysBuf>::more), 2u);
  EXPECT_EQ(slotOf(&OneMore<Fsys>::more), 2u);
  EXPECT_EQ(slotOf(&OneMore<FsysPoll>::more), 2u);
  EXPECT_EQ(slotOf(&OneMore<MediaDrive>::more), 2u);
}

// A table pointer, and then the first field.
TEST_F(LayoutTest, ClassesWithOnlyAVirtualDestructorBeginWithTheirTable) {
  FsysBuf pool;
  Fsys engine;
  Vector<FsysFile*> files;
  CriticalSection lock;
  FsysPoll poll(&files, &lock, true, 50, 50);
  auto offsetIn = [](const void* object, const void* field) {
    return static_cast<const char*>(field) - static_cast<const char*>(object);
  };
  EXPECT_EQ(offsetIn(&pool, LayoutPeer::of(pool).front()), ptrdiff_t{sizeof(void*)});
  EXPECT_EQ(offsetIn(&engine, LayoutPeer::of(engine).front()), ptrdiff_t{sizeof(void*)});
  EXPECT_EQ(offsetIn(&poll, LayoutPeer::of(poll).front()), ptrdiff_t{sizeof(void*)});
}

TEST_F(LayoutTest, ThePoolsSecondCountIsZeroAndABlocksOffsetToo) {
  FsysBuf pool;
  EXPECT_EQ(LayoutPeer::secondCount(pool), 0u);
  Qv::Ptr<MemBlock> block(new MemBlock(10));
  EXPECT_EQ(LayoutPeer::blockOffset(*block), 0u);
}

TEST_F(LayoutTest, TheRequestStatesHaveTheirFixedNumbers) {
  EXPECT_EQ(FileRequest::CONSTRUCTED, 0);
  EXPECT_EQ(FileRequest::QUEUED, 1);
  EXPECT_EQ(FileRequest::STARTED, 2);
  EXPECT_EQ(FileRequest::COMPLETED, 3);
  EXPECT_EQ(FileRequest::SUCCEEDED, 4);
  EXPECT_EQ(FileRequest::FAILED, 5);
  EXPECT_EQ(FileRequest::TOO_SLOW, 6);
  EXPECT_EQ(eRequestSucceeded, 2);
  EXPECT_EQ(eRequestFailed, 3);
}

}  // namespace
