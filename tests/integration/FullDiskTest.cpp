#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/OS.h"
#include "tests/support/MountedFolder.h"
#include "tests/support/StreamedFile.h"

namespace {

using Text = LightweightString<wchar_t>;

// Reads the pieces of 1 MiB of those numbers back. Empty when every byte is right.
std::string whyNotThere(const Text& path, const std::vector<int>& pieces) {
  FsysFile* file = nullptr;
  if (FsysOpen(&file, path, 0, 1, nullptr) != 1) return "cannot be opened";
  Qv::Ptr<Recorder> recorder(new Recorder);
  size_t taken = 0;
  for (int piece : pieces) {
    Qv::Ptr<iObject> context = recorder->ticket(piece);
    long position = long{piece} << 20;
    taken += file->DirectRead(position, 1 << 20, false, &Recorder::told, context) == 1;
  }
  std::string wrong = taken == pieces.size() ? "" : "a read was not taken";
  if (!recorder->waitFor(taken)) wrong = "a read was not answered";
  FsysClose(file, nullptr);
  for (const Recorder::Call& call : recorder->calls()) {
    if (!wrong.empty()) break;
    wrong = call.status == eRequestSucceeded && call.bytes.size() == 1u << 20
                ? whyNotPattern(call.bytes, static_cast<uint64_t>(call.ticket) << 20)
                : "a read failed";
  }
  return wrong;
}

// Writes pieces of that size, each when the one before was told, until one fails.
int piecesThatFit(const Text& path, uint32_t piece_bytes) {
  FsysFile* file = nullptr;
  if (FsysOpen(&file, path, 0, 2, nullptr) != 1) return -1;
  Qv::Ptr<Recorder> recorder(new Recorder);
  int good = 0;
  for (bool fits = true; fits; good += fits) {
    Qv::Ptr<iObject> context = recorder->context();
    uint64_t at = uint64_t(good) * piece_bytes;
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(piece_bytes, at);
    fits = file->DirectWrite(data, false, &Recorder::told, context, true) == 1 &&
           recorder->waitFor(static_cast<size_t>(good) + 1) &&
           recorder->at(static_cast<size_t>(good)).status == eRequestSucceeded;
  }
  return FsysClose(file, nullptr) == 1 ? good : -1;
}

TEST(FullDiskTest, ExactlyTheRequestThatDoesNotFitIsToldAndAllBeforeItIsThere) {
  for (uint32_t piece_bytes : {65536u, 262144u, 102400u, 4096u}) {
    MountedFolder folder(MountedFolder::eMemory, 1);
    if (folder.path().empty()) GTEST_SKIP() << folder.why();
    ASSERT_EQ(FsysInitialize(), 1u);
    const int fitting = (1 << 20) / static_cast<int>(piece_bytes);
    EXPECT_EQ(piecesThatFit(folder / "a", piece_bytes), fitting) << piece_bytes;
    EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNoSpace});
    EXPECT_EQ(whyNotStreamedBack(folder / "a", uint64_t(fitting) * piece_bytes, piece_bytes), "");
    FsysUninitialize(Shutdown::eNormal);
  }
}

TEST(FullDiskTest, AFullDiskIsToldToTheCallerAndWhatWasWrittenBeforeStays) {
  MountedFolder folder(MountedFolder::eMemory, 4);
  if (folder.path().empty()) GTEST_SKIP() << folder.why();
  ASSERT_EQ(FsysInitialize(), 1u);
  FsysFile* file = nullptr;
  ASSERT_EQ(FsysOpen(&file, folder / "a", 0, 2, nullptr), 1u);
  Qv::Ptr<Recorder> recorder(new Recorder);
  for (uint64_t at = 0; at < 8u << 20; at += 1 << 20) {
    Qv::Ptr<iObject> context = recorder->ticket(static_cast<int>(at >> 20));
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(1 << 20, at);
    ASSERT_EQ(file->DirectWrite(data, false, &Recorder::told, context, false), 1u);
  }
  ASSERT_TRUE(recorder->waitFor(8));
  std::vector<int> good;
  for (const Recorder::Call& call : recorder->calls())
    if (call.status == eRequestSucceeded) good.push_back(call.ticket);
  EXPECT_GE(good.size(), 3u);
  EXPECT_LE(good.size(), 4u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNoSpace});
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(whyNotThere(folder / "a", good), "");
  FsysUninitialize(Shutdown::eNormal);
}

}  // namespace
