// Links and what is served: a link is a file on a disk.
#include <string>

#include "fsys/MaterialLink.h"
#include "tests/StorageFixture.h"

namespace {

class MaterialLinkServedTest : public StorageFixture {
protected:
  static std::string bytesOfLink() {
    std::string bytes = "/far/clip.mov";
    bytes.resize(MaterialLink::kBytes);
    return bytes;
  }

  const Text kServed = L"mem:clip.mov";
  const Text kTarget = L"/far/clip.mov";
};

TEST_F(MaterialLinkServedTest, UnderANameThatIsServedNoLinkIsMade) {
  for (bool isThere : {false, true}) {
    Qv::Ptr<iFile> there;
    if (isThere) there = files().openServed(kServed, iFileManager::eFlagWrite, true);
    for (bool replace : {false, true}) {
      os_->errors().setLastError(0);
      EXPECT_EQ(MaterialLink::createLink(kServed, kTarget, replace), 0u);
      EXPECT_EQ(os_->errors().getLastError(), uint32_t{eOsNotSupported});
      EXPECT_FALSE(files().hasFile(kServed)) << "in the folder where the process is";
      EXPECT_EQ(files().exists(kServed), isThere);
    }
  }
  for (const FakeOpen& open : files().opens()) EXPECT_EQ(open.door, FakeOpen::eServed);
}

TEST_F(MaterialLinkServedTest, AFileThatIsServedIsNeverALink) {
  const std::string bytes = bytesOfLink();
  uint32_t done = 0;
  Qv::Ptr<iFile> file = files().openServed(kServed, iFileManager::eFlagWrite, true);
  ASSERT_EQ(file->write(bytes.data(), MaterialLink::kBytes, &done), 1u);
  for (bool isOnDisk : {false, true}) {
    if (isOnDisk) write(kServed, bytes);  // a file of that name in the folder where the process is
    Text result;
    EXPECT_FALSE(MaterialLink::isLink(kServed));
    EXPECT_FALSE(MaterialLink::getLinkedFilename(kServed, result));
    EXPECT_EQ(result, kServed) << "what is opened is the file itself";
    EXPECT_FALSE(MaterialLink::linkedFileExists(MaterialFilename(DriveId(), kServed)));
  }
}

}  // namespace
