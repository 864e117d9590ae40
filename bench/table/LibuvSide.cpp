// The page cache read by libuv.

#include <fcntl.h>
#include <stdlib.h>
#include <uv.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "bench/table/HugeBuffers.h"
#include "bench/table/OpenFile.h"
#include "bench/table/PageCacheSide.h"
#include "bench/table/Stamp.h"
#include "bench/table/Streams.h"

namespace {

// LibuvReads: reads every block of a workload's files; each slot asks for its file's next block
// when its last one has come. All on one thread, but for libuv's own.
class LibuvReads {
public:
  explicit LibuvReads(const Workload& work)
      : work_(work),
        buffers_(size_t{work.block} * work.inFlight * work.files.size()),
        next_(work.files.size(), 0),
        slots_(work.inFlight * work.files.size()) {
    if (uv_loop_init(&loop_) != 0) throw std::runtime_error("libuv gives no loop");
    for (const Workload::File& file : work.files)
      files_.push_back(OpenFile::cached(file.path, O_RDONLY));
    for (size_t i = 0; i < slots_.size(); ++i) {
      slots_[i].reads = this;
      slots_[i].request.data = &slots_[i];
      slots_[i].file = i % files_.size();
      slots_[i].buffer = buffers_.at(i * work.block);
    }
  }
  ~LibuvReads() { uv_loop_close(&loop_); }
  LibuvReads(const LibuvReads&) = delete;
  LibuvReads& operator=(const LibuvReads&) = delete;

  void run(Round& round) {
    Meter meter;
    Streams streams(work_);
    streams_ = &streams;
    for (Slot& slot : slots_) start(slot);
    uv_run(&loop_, UV_RUN_DEFAULT);
    meter.stop(round);
    round.bytes = work_.bytes();
    round.wrong = wrong_;
    streams.tell(round);
  }

private:
  struct Slot {
    LibuvReads* reads;
    uv_fs_t request;
    size_t file;
    unsigned char* buffer;
    uint64_t offset;
  };

  void start(Slot& slot) {
    if (next_[slot.file] >= work_.bytesPerFile) return;
    slot.offset = next_[slot.file];
    next_[slot.file] += work_.block;
    uv_buf_t buffer = uv_buf_init(reinterpret_cast<char*>(slot.buffer), work_.block);
    if (uv_fs_read(&loop_, &slot.request, files_[slot.file].get(), &buffer, 1,
                   static_cast<int64_t>(slot.offset), &came) != 0)
      ++wrong_;
  }

  static void came(uv_fs_t* request) {
    Slot& slot = *static_cast<Slot*>(request->data);
    LibuvReads& reads = *slot.reads;
    const Workload& work = reads.work_;
    ssize_t count = request->result;
    uv_fs_req_cleanup(request);
    reads.wrong_ +=
        count != static_cast<ssize_t>(work.block) ||
        !Stamp::endsAreRight(slot.buffer, slot.offset, work.block, work.files[slot.file].number);
    reads.streams_->came(slot.file);
    reads.start(slot);
  }

  const Workload& work_;
  std::vector<Descriptor> files_;
  HugeBuffers buffers_;
  uv_loop_t loop_;
  std::vector<uint64_t> next_;  // a file's next offset
  std::vector<Slot> slots_;
  Streams* streams_ = nullptr;
  uint64_t wrong_ = 0;
};

}  // namespace

Round PageCacheSide::readByLibuv(const Workload& work) {
  Round round;
  LibuvReads(work).run(round);
  return round;
}

void PageCacheSide::setLibuvThreads(unsigned count) {
  setenv("UV_THREADPOOL_SIZE", std::to_string(count).c_str(), 1);
}
