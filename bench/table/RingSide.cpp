#include "bench/table/RingSide.h"

#include <fcntl.h>
#include <liburing.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "bench/table/Descriptor.h"
#include "bench/table/HugeBuffers.h"
#include "bench/table/OpenFile.h"
#include "bench/table/Ring.h"
#include "bench/table/Stamp.h"
#include "bench/table/Streams.h"
#include "bench/table/Trips.h"

namespace {

// Slots: the blocks under way. Each has its buffer, and a file whose next block it takes.
class Slots {
public:
  enum Direction { eRead, eWrite };

  // `apart`: bytes between one buffer and the next.
  Slots(const Workload& work, const std::vector<Descriptor>& files, Direction direction,
        uint32_t apart = 0)
      : work_(work),
        files_(files),
        direction_(direction),
        stride_(size_t{work.block} + apart),
        buffers_(stride_ * work.inFlight * work.files.size()),
        ring_(static_cast<unsigned>(work.inFlight * work.files.size())),
        next_(work.files.size(), 0),
        offsets_(work.inFlight * work.files.size(), 0) {}

  void run(Round& round) {
    Streams streams(work_);
    for (size_t slot = 0; slot < offsets_.size(); ++slot) start(slot);
    while (underWay_ > 0) {
      io_uring_submit_and_wait(ring_.get(), 1);
      io_uring_cqe* ended = nullptr;
      while (io_uring_peek_cqe(ring_.get(), &ended) == 0) {
        size_t slot = io_uring_cqe_get_data64(ended);
        int result = ended->res;
        io_uring_cqe_seen(ring_.get(), ended);
        --underWay_;
        take(slot, result, round);
        streams.came(fileOf(slot));
        start(slot);
      }
    }
    streams.tell(round);
  }

private:
  size_t fileOf(size_t slot) const { return slot % files_.size(); }
  unsigned char* bufferOf(size_t slot) const { return buffers_.at(slot * stride_); }

  void start(size_t slot) {
    size_t file = fileOf(slot);
    if (next_[file] >= work_.bytesPerFile) return;
    offsets_[slot] = next_[file];
    next_[file] += work_.block;
    io_uring_sqe* entry = io_uring_get_sqe(ring_.get());
    if (direction_ == eRead) {
      io_uring_prep_read(entry, files_[file].get(), bufferOf(slot), work_.block, offsets_[slot]);
    } else {
      Stamp::putEnds(bufferOf(slot), offsets_[slot], work_.block, work_.files[file].number);
      io_uring_prep_write(entry, files_[file].get(), bufferOf(slot), work_.block, offsets_[slot]);
    }
    io_uring_sqe_set_data64(entry, slot);
    ++underWay_;
  }

  void take(size_t slot, int result, Round& round) {
    bool right = result == static_cast<int>(work_.block);
    if (right && direction_ == eRead)
      right = Stamp::endsAreRight(bufferOf(slot), offsets_[slot], work_.block,
                                  work_.files[fileOf(slot)].number);
    if (!right) ++round.wrong;
    if (result > 0) round.bytes += static_cast<uint64_t>(result);
  }

  const Workload& work_;
  const std::vector<Descriptor>& files_;
  Direction direction_;
  const size_t stride_;
  HugeBuffers buffers_;
  Ring ring_;
  std::vector<uint64_t> next_;  // a file's next offset
  std::vector<uint64_t> offsets_;
  size_t underWay_ = 0;
};

void makeDurable(const Descriptor& file, Round& round) {
  if (fsync(file.get()) != 0) ++round.wrong;
}

}  // namespace

Round RingSide::read(const Workload& work) { return readApart(work, 0); }

Round RingSide::readApart(const Workload& work, uint32_t apart) {
  std::vector<Descriptor> files;
  for (const Workload::File& file : work.files)
    files.push_back(OpenFile::direct(file.path, O_RDONLY));
  Slots slots(work, files, Slots::eRead, apart);
  Round round;
  Meter meter;
  slots.run(round);
  meter.stop(round);
  return round;
}

Round RingSide::write(const Workload& work, eSpace space) {
  std::vector<Descriptor> files;
  files.push_back(OpenFile::direct(work.files[0].path, O_WRONLY | O_CREAT));
  Slots slots(work, files, Slots::eWrite);
  const auto size = static_cast<off_t>(work.bytesPerFile);
  Round round;
  Meter meter;
  const int mode = space == eReserved ? FALLOC_FL_KEEP_SIZE : 0;
  if (space != eAsItComes && fallocate(files[0].get(), mode, 0, size) != 0) ++round.wrong;
  slots.run(round);
  if (space != eAsItComes && ftruncate(files[0].get(), size) != 0) ++round.wrong;
  makeDurable(files[0], round);
  files[0].close();
  meter.stop(round);
  return round;
}

Round RingSide::writeGathered(const Workload& work, uint32_t gathered) {
  const std::string& path = work.files[0].path;
  Descriptor file = OpenFile::direct(path, O_WRONLY | O_CREAT);
  HugeBuffers buffer(gathered);
  std::vector<unsigned char> piece(work.block, 0x5A);
  Ring ring(1);
  Round round;
  uint64_t written = 0;
  uint32_t held = 0;
  auto add = [&](const unsigned char* bytes, uint32_t count) {
    uint32_t fits = std::min(count, gathered - held);
    std::memcpy(buffer.at(held), bytes, fits);
    held += fits;
    if (held < gathered) return;
    io_uring_prep_write(io_uring_get_sqe(ring.get()), file.get(), buffer.at(0), held, written);
    if (ring.finishOne() != static_cast<int>(held)) ++round.wrong;
    written += held;
    held = count - fits;
    std::memcpy(buffer.at(0), bytes + fits, held);
  };
  Meter meter;
  add(piece.data(), 1);
  for (uint64_t done = 0; done < work.bytesPerFile; done += work.block) {
    Stamp::put(piece.data(), done, work.files[0].number);
    add(piece.data(), work.block);
  }
  // What is left is no whole sector: it goes through the page cache.
  Descriptor rest = OpenFile::cached(path, O_WRONLY);
  if (held > 0 && pwrite(rest.get(), buffer.at(0), held, static_cast<off_t>(written)) != held)
    ++round.wrong;
  makeDurable(rest, round);
  file.close();
  meter.stop(round);
  round.bytes = written + held;
  return round;
}

Round RingSide::roundTrips(const Workload& work, const std::vector<uint64_t>& offsets) {
  Descriptor file = OpenFile::direct(work.files[0].path, O_RDONLY);
  HugeBuffers buffer(work.block);
  Ring ring(1);
  return makeTrips(work, offsets, [&](uint64_t offset) {
    io_uring_prep_read(io_uring_get_sqe(ring.get()), file.get(), buffer.at(0), work.block, offset);
    return ring.finishOne() == static_cast<int>(work.block) &&
           Stamp::endsAreRight(buffer.at(0), offset, work.block, work.files[0].number);
  });
}

bool RingSide::isDirect(const std::string& path) {
  Descriptor file(open(path.c_str(), O_RDONLY | O_DIRECT | O_CLOEXEC));
  return file.isOpen();
}
