#include "bench/table/HandOver.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "bench/table/HugeBuffers.h"
#include "bench/table/OpenFile.h"
#include "bench/table/Ring.h"
#include "bench/table/Stamp.h"
#include "bench/table/Trips.h"

namespace {

// Bell: one thread rings, another waits for it; each ring is heard once.
class Bell {
public:
  void ring() {
    word_.store(1, std::memory_order_release);
    syscall(SYS_futex, &word_, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
  }
  void wait() {
    while (word_.exchange(0, std::memory_order_acquire) == 0)
      syscall(SYS_futex, &word_, FUTEX_WAIT_PRIVATE, 0, nullptr, nullptr, 0);
  }

private:
  std::atomic<uint32_t> word_{0};
};

// Reader: the thread with the ring.
class Reader {
public:
  explicit Reader(const Workload& work)
      : work_(work),
        file_(OpenFile::cached(work.files[0].path, O_RDONLY)),
        buffer_(work.block),
        ring_(1),
        thread_([this] { serve(); }) {}
  ~Reader() {
    over_ = true;
    asked_.ring();
    thread_.join();
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // Whether the block came, and is the right one.
  bool read(uint64_t offset) {
    offset_ = offset;
    asked_.ring();
    done_.wait();
    return result_ == static_cast<int>(work_.block) &&
           Stamp::endsAreRight(buffer_.at(0), offset, work_.block, work_.files[0].number);
  }

private:
  void serve() {
    for (;;) {
      asked_.wait();
      if (over_) return;
      io_uring_prep_read(io_uring_get_sqe(ring_.get()), file_.get(), buffer_.at(0), work_.block,
                         offset_);
      result_ = ring_.finishOne();
      done_.ring();
    }
  }

  const Workload& work_;
  Descriptor file_;
  HugeBuffers buffer_;
  Ring ring_;
  Bell asked_, done_;
  // Passed on by the bells.
  bool over_ = false;
  uint64_t offset_ = 0;
  int result_ = 0;
  std::thread thread_;
};

}  // namespace

Round HandOver::roundTrips(const Workload& work, const std::vector<uint64_t>& offsets) {
  Reader reader(work);
  return makeTrips(work, offsets, [&](uint64_t offset) { return reader.read(offset); });
}
