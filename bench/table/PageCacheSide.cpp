#include "bench/table/PageCacheSide.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

#include "bench/table/HugeBuffers.h"
#include "bench/table/OpenFile.h"
#include "bench/table/Stamp.h"
#include "bench/table/Streams.h"
#include "bench/table/Trips.h"

namespace {

std::vector<Descriptor> openAll(const Workload& work) {
  std::vector<Descriptor> files;
  for (const Workload::File& file : work.files)
    files.push_back(OpenFile::cached(file.path, O_RDONLY));
  return files;
}

// Reads a block; false when it is not what it should be.
bool readBlock(const Workload& work, const Descriptor& file, uint64_t number, uint64_t offset,
               unsigned char* buffer) {
  ssize_t count = pread(file.get(), buffer, work.block, static_cast<off_t>(offset));
  return count == static_cast<ssize_t>(work.block) &&
         Stamp::endsAreRight(buffer, offset, work.block, number);
}

void writePiece(int file, const unsigned char* bytes, size_t count, Round& round) {
  if (::write(file, bytes, count) != static_cast<ssize_t>(count)) ++round.wrong;
  round.bytes += count;
}

void makeDurable(const Descriptor& file, Round& round) {
  if (fsync(file.get()) != 0) ++round.wrong;
}

// Pool: threads that wait for the start and then read until their files have no block left.
class Pool {
public:
  explicit Pool(const Workload& work)
      : work_(work),
        files_(openAll(work)),
        buffers_(size_t{work.block} * work.inFlight * files_.size()),
        next_(std::make_unique<std::atomic<uint64_t>[]>(files_.size())) {
    for (unsigned i = 0; i < work.inFlight * files_.size(); ++i)
      threads_.emplace_back([this, i] { readAll(i); });
  }

  void run(Round& round) {
    Meter meter;
    streams_ = std::make_unique<Streams>(work_);
    start_.count_down();
    for (std::thread& thread : threads_) thread.join();
    meter.stop(round);
    round.bytes = work_.bytes();
    round.wrong = wrong_;
    streams_->tell(round);
  }

private:
  void readAll(unsigned slot) {
    start_.wait();
    size_t file = slot % files_.size();
    unsigned char* buffer = buffers_.at(size_t{slot} * work_.block);
    for (;;) {
      uint64_t offset = next_[file].fetch_add(work_.block);
      if (offset >= work_.bytesPerFile) return;
      wrong_ += !readBlock(work_, files_[file], work_.files[file].number, offset, buffer);
      streams_->came(file);
    }
  }

  const Workload& work_;
  const std::vector<Descriptor> files_;
  HugeBuffers buffers_;
  std::unique_ptr<std::atomic<uint64_t>[]> next_;  // a file's next offset
  std::unique_ptr<Streams> streams_;
  std::atomic<uint64_t> wrong_{0};
  std::latch start_{1};
  std::vector<std::thread> threads_;
};

}  // namespace

Round PageCacheSide::readInLoop(const Workload& work, eAdvice advice) {
  std::vector<Descriptor> files = openAll(work);
  HugeBuffers buffer(work.block);
  Round round;
  Meter meter;
  Streams streams(work);
  if (advice == eSequential)
    for (Descriptor& file : files)
      if (posix_fadvise(file.get(), 0, 0, POSIX_FADV_SEQUENTIAL) != 0) ++round.wrong;
  for (uint64_t offset = 0; offset < work.bytesPerFile; offset += work.block) {
    for (size_t i = 0; i < files.size(); ++i) {
      round.wrong += !readBlock(work, files[i], work.files[i].number, offset, buffer.at(0));
      streams.came(i);
    }
  }
  meter.stop(round);
  round.bytes = work.bytes();
  streams.tell(round);
  return round;
}

Round PageCacheSide::openings(const Workload& work, const std::vector<uint64_t>& offsets) {
  HugeBuffers buffer(work.block);
  return makeTrips(work, offsets, [&](uint64_t offset) {
    std::vector<Descriptor> files = openAll(work);
    return readBlock(work, files[0], work.files[0].number, offset, buffer.at(0));
  });
}

Round PageCacheSide::readInPool(const Workload& work) {
  Round round;
  Pool(work).run(round);
  return round;
}

Round PageCacheSide::write(const Workload& work) {
  Descriptor file = OpenFile::cached(work.files[0].path, O_WRONLY | O_CREAT);
  HugeBuffers buffer(work.block);
  Round round;
  Meter meter;
  for (uint64_t offset = 0; offset < work.bytesPerFile; offset += work.block) {
    Stamp::putEnds(buffer.at(0), offset, work.block, work.files[0].number);
    writePiece(file.get(), buffer.at(0), work.block, round);
  }
  makeDurable(file, round);
  file.close();
  meter.stop(round);
  return round;
}

Round PageCacheSide::writeBehindAByte(const Workload& work) {
  Descriptor file = OpenFile::cached(work.files[0].path, O_WRONLY | O_CREAT);
  std::vector<unsigned char> piece(work.block, 0x5A);
  Round round;
  Meter meter;
  writePiece(file.get(), piece.data(), 1, round);
  for (uint64_t done = 0; done < work.bytesPerFile; done += work.block) {
    Stamp::put(piece.data(), done, work.files[0].number);
    writePiece(file.get(), piece.data(), work.block, round);
  }
  makeDurable(file, round);
  file.close();
  meter.stop(round);
  return round;
}
