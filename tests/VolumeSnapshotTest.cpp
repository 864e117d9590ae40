#include "fsys/VolumeSnapshot.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <utility>

#include "platform/fake/FakeOSScope.h"
#include "tests/support/FailingHeap.h"

namespace {

using Text = LightweightString<wchar_t>;

class VolumeSnapshotTest : public testing::Test {
protected:
  static Qv::Ptr<MediaDrive> driveAt(const Text& root) {
    return Qv::Ptr<MediaDrive>(new MediaDrive(DriveId('1'), root, iDiskDrive::eFixed));
  }
  Qv::Ptr<MediaDrive> find(const Text& location) const {
    return snapshot_.find(
        [&location](const MediaDrive& drive) { return drive.getRootLocation() == location; });
  }
  void add(const Qv::Ptr<MediaDrive>& drive) {
    VolumeSnapshot::Drives drives = snapshot_.copy();
    drives.add(drive);
    snapshot_.replace(std::move(drives));
  }

  FakeOSScope scope_;
  VolumeSnapshot snapshot_;
};

TEST_F(VolumeSnapshotTest, AnEmptyOneFindsNothing) { EXPECT_FALSE(find(L"/m/")); }

TEST_F(VolumeSnapshotTest, OfAnEmptyOneTheAnswerIsTheOneOfItsType) {
  EXPECT_EQ(snapshot_.read<size_t>([](const auto&) { return 7u; }), 0u);
  EXPECT_TRUE(snapshot_.copy().empty());
}

TEST_F(VolumeSnapshotTest, TheFirstDriveThatMatchesIsFound) {
  Qv::Ptr<MediaDrive> first = driveAt(L"/m");
  Qv::Ptr<MediaDrive> second = driveAt(L"/m/");
  add(first);
  add(second);
  EXPECT_EQ(find(L"/m/").get(), first.get());
}

TEST_F(VolumeSnapshotTest, TheListKeepsItsOrder) {
  for (const wchar_t* root : {L"/c", L"/a", L"/b"}) add(driveAt(root));
  std::wstring order = snapshot_.read<std::wstring>([](const VolumeSnapshot::Drives& drives) {
    std::wstring all;
    for (const Qv::Ptr<MediaDrive>& drive : drives) all += drive->getRootLocation().view();
    return all;
  });
  EXPECT_EQ(order, L"/c//a//b/");
}

TEST_F(VolumeSnapshotTest, ACopyIsNotChangedByWhatComesAfter) {
  add(driveAt(L"/m"));
  VolumeSnapshot::Drives before = snapshot_.copy();
  add(driveAt(L"/n"));
  snapshot_.replace({});
  EXPECT_EQ(before.size(), 1u);
  EXPECT_EQ(before[0]->getRootLocation(), L"/m/");
}

TEST_F(VolumeSnapshotTest, ADriveThatWasFoundOutlivesItsRemoval) {
  add(driveAt(L"/m"));
  Qv::Ptr<MediaDrive> held = find(L"/m/");
  snapshot_.replace({});
  EXPECT_FALSE(find(L"/m/"));
  EXPECT_EQ(held->getRootLocation(), Text(L"/m/"));
  EXPECT_EQ(held->refCount(), 1) << "the replaced list is gone when nobody reads it";
}

TEST_F(VolumeSnapshotTest, AListThatIsReadWhileItIsReplacedGoesWithALaterChange) {
  Qv::Ptr<MediaDrive> drive = driveAt(L"/m");
  add(drive);
  snapshot_.find([this](const MediaDrive&) {
    snapshot_.replace({});
    return false;
  });
  EXPECT_EQ(drive->refCount(), 2) << "the reader was inside: its list stayed";
  snapshot_.replace({});
  EXPECT_EQ(drive->refCount(), 1);
}

TEST_F(VolumeSnapshotTest, AListThatWasReplacedUnderAReaderGoesAtLastWithTheSnapshot) {
  Qv::Ptr<MediaDrive> drive = driveAt(L"/m");
  {
    VolumeSnapshot snapshot;
    VolumeSnapshot::Drives drives;
    drives.add(drive);
    snapshot.replace(drives);
    drives.clear();
    snapshot.find([&snapshot](const MediaDrive&) {
      snapshot.replace({});
      return false;
    });
    EXPECT_EQ(drive->refCount(), 2);
  }
  EXPECT_EQ(drive->refCount(), 1);
}

TEST_F(VolumeSnapshotTest, AReaderThatThrowsIsCountedOut) {
  Qv::Ptr<MediaDrive> drive = driveAt(L"/m");
  add(drive);
  EXPECT_THROW(snapshot_.find([](const MediaDrive&) -> bool { throw std::bad_alloc(); }),
               std::bad_alloc);
  snapshot_.replace({});
  EXPECT_EQ(drive->refCount(), 1);
}

TEST_F(VolumeSnapshotTest, ARefusedReplacementChangesNothingAndEmptyingNeedsNoMemory) {
  Qv::Ptr<MediaDrive> drive = driveAt(L"/m");
  add(drive);
  VolumeSnapshot::Drives two = snapshot_.copy();
  two.add(drive);
  {
    FailingHeap heap;
    if (!heap.isAsked())
      GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
    heap.refuse(0, false);
    EXPECT_THROW(snapshot_.replace(std::move(two)), std::bad_alloc);
    heap.letBe();
    EXPECT_EQ(snapshot_.copy().size(), 1u);
    heap.refuse(0, false);
    snapshot_.replace({});
    EXPECT_FALSE(heap.letBe());
  }
  EXPECT_TRUE(snapshot_.copy().empty());
}

}  // namespace
