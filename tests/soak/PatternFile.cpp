#include "tests/soak/PatternFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "fsys/Fsys.h"
#include "fsys/FsysFile.h"
#include "tests/soak/PictureSizes.h"
#include "tests/support/Pattern.h"

namespace {

constexpr uint64_t kBlock = 1 << 20;
constexpr uint32_t kPiece = 900 << 10;
constexpr unsigned kOnTheWay = 4;
constexpr std::chrono::seconds kPatience(60);

// ReadBack: a file that is read and compared. The context of each piece knows its place.
class ReadBack {
public:
  ReadBack(uint64_t bytes, uint64_t seed) : bytes_(bytes), seed_(seed) {}

  std::string whyNot(FsysFile* file) {
    for (uint64_t at = 0; at < bytes_; at += lengthAt(at)) {
      if (!waitUntil(kOnTheWay - 1)) return "a read was not answered";
      if (std::string why = ask(file, at); !why.empty()) return why;
    }
    if (!waitUntil(0)) return "a read was not answered";
    std::lock_guard lock(lock_);
    return wrong_;
  }

private:
  struct Piece final : iObject {
    Piece(ReadBack& reader, uint64_t offset) : owner(reader), at(offset) {}
    ReadBack& owner;
    const uint64_t at;
  };

  static void told(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
    const auto& piece = static_cast<const Piece&>(*context);
    piece.owner.note(piece.at, status == eRequestSucceeded ? data.get() : nullptr);
  }
  uint32_t lengthAt(uint64_t at) const {
    const uint64_t most = std::min<uint64_t>(kPiece, bytes_ - at);
    return PictureSizes::notAPicture(static_cast<uint32_t>(most));
  }
  std::string ask(FsysFile* file, uint64_t at) {
    {
      std::lock_guard lock(lock_);
      ++onTheWay_;
    }
    Qv::Ptr<iObject> context(new Piece(*this, at));
    if (file->DirectRead(static_cast<long>(at), lengthAt(at), false, &told, context) == 1)
      return "";
    std::lock_guard lock(lock_);
    --onTheWay_;
    return "a read was refused";
  }
  void note(uint64_t at, const iMemHolder* data) {
    const std::string why =
        data ? whyNotPattern(data->getBuffer(), lengthAt(at), at, seed_) : "a read failed";
    std::lock_guard lock(lock_);
    if (wrong_.empty()) wrong_ = why;
    --onTheWay_;
    changed_.notify_all();
  }
  bool waitUntil(unsigned onTheWay) {
    std::unique_lock lock(lock_);
    return changed_.wait_for(lock, kPatience, [&] { return onTheWay_ <= onTheWay; });
  }

  const uint64_t bytes_;
  const uint64_t seed_;
  std::mutex lock_;  // guards what follows
  std::condition_variable changed_;
  unsigned onTheWay_ = 0;
  std::string wrong_;
};

}  // namespace

bool makePatternFile(const std::string& path, uint64_t bytes, uint64_t seed) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  bool isMade = file >= 0;
  std::vector<unsigned char> block(kBlock);
  for (uint64_t at = 0; isMade && at < bytes; at += kBlock) {
    const auto length = static_cast<size_t>(std::min(kBlock, bytes - at));
    fillPattern(block.data(), length, at, seed);
    isMade = write(file, block.data(), length) == static_cast<ssize_t>(length);
  }
  isMade = isMade && fdatasync(file) == 0;
  return file >= 0 && close(file) == 0 && isMade;
}

std::string whyNotReadBack(const LightweightString<wchar_t>& path, uint64_t bytes, uint64_t seed) {
  FsysFile* file = nullptr;
  if (FsysOpen(&file, path, 0, 1, nullptr) != 1) return "cannot be opened";
  ReadBack reader(bytes, seed);
  std::string wrong = reader.whyNot(file);
  if (FsysClose(file, nullptr) != 1 && wrong.empty()) wrong = "cannot be closed";
  return wrong;
}
