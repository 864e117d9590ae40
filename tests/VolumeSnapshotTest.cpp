#include "fsys/VolumeSnapshot.h"

#include <gtest/gtest.h>

#include "platform/fake/FakeOSScope.h"

namespace {

using Text = LightweightString<wchar_t>;

class VolumeSnapshotTest : public testing::Test {
protected:
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

TEST_F(VolumeSnapshotTest, TheFirstDriveThatMatchesIsFound) {
  Qv::Ptr<MediaDrive> first(new MediaDrive(Text(L"/m")));
  Qv::Ptr<MediaDrive> second(new MediaDrive(Text(L"/m/")));
  add(first);
  add(second);
  EXPECT_EQ(find(L"/m/").get(), first.get());
}

TEST_F(VolumeSnapshotTest, ADriveThatWasFoundOutlivesItsRemoval) {
  add(Qv::Ptr<MediaDrive>(new MediaDrive(Text(L"/m"))));
  Qv::Ptr<MediaDrive> held = find(L"/m/");
  snapshot_.replace({});
  EXPECT_FALSE(find(L"/m/"));
  EXPECT_EQ(held->getRootLocation(), Text(L"/m/"));
  EXPECT_EQ(held->refCount(), 1) << "the replaced list is gone when nobody reads it";
}

TEST_F(VolumeSnapshotTest, AListThatIsReadWhileItIsReplacedGoesWithALaterChange) {
  Qv::Ptr<MediaDrive> drive(new MediaDrive(Text(L"/m")));
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
  Qv::Ptr<MediaDrive> drive(new MediaDrive(Text(L"/m")));
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

TEST_F(VolumeSnapshotTest, ADriveWithoutAPathLiesAtTheRoot) {
  EXPECT_EQ(MediaDrive(Text()).getRootLocation(), Text(L"/"));
}

}  // namespace
