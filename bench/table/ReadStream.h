#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "bench/table/EngineFile.h"
#include "bench/table/Meter.h"
#include "bench/table/Streams.h"
#include "bench/table/Workload.h"

// ReadStream: reads every block of a workload's files through the engine.
// Story      Each slot asks for its file's next block from the callback of its last one, so a block
//            that has come is followed at once. A read that finds its file's list full goes to the
//            waiting thread, which asks again.
// Threads    run: one thread. Callbacks: the completion threads.
class ReadStream {
public:
  explicit ReadStream(const Workload& work);

  // Returns when every block has come.
  void run(Round& round);

private:
  struct Track {
    std::unique_ptr<EngineFile> file;
    uint64_t number;
    size_t index;
    std::atomic<uint64_t> next{0};
  };
  // One block under way; the context of its reads.
  struct Slot : iObject {
    ReadStream* stream = nullptr;
    Track* track = nullptr;
    uint64_t offset = 0;
  };

  static void arrived(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status);
  void take(Slot* slot, const Qv::Ptr<iMemHolder>& data, RequestStatus status);
  void next(Slot* slot);
  bool mayWait(uint64_t offset) const;
  void ask(Slot* slot);
  void askRefusedAgain();

  const Workload work_;
  std::vector<std::unique_ptr<Track>> tracks_;
  std::vector<Qv::Ptr<iObject>> slots_;
  Qv::Ptr<iThreadEvent> wake_;
  std::optional<Streams> streams_;
  std::atomic<size_t> slotsAtWork_{0};
  std::atomic<uint64_t> bytes_{0};
  std::atomic<uint64_t> wrong_{0};
  std::mutex lock_;
  std::deque<Slot*> refused_;  // guarded by lock_
};
