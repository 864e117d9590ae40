#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "bench/table/EngineFile.h"
#include "bench/table/Meter.h"
#include "bench/table/Workload.h"

// WriteStream: writes every block of a workload's one file through the engine.
// Story      As ReadStream does: each slot writes the file's next block from the callback of its
//            last one.
// Threads    run: one thread. Callbacks: the completion threads, one at a time past the lock.
class WriteStream {
public:
  WriteStream(EngineFile& file, const Workload& work);

  // Returns when every block was written; adds what went wrong to the round.
  void run(Round& round);

private:
  // One block under way; the context of its writes.
  struct Slot : iObject {
    WriteStream* stream = nullptr;
    Qv::Ptr<iMemHolder> data;
  };

  static void written(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status);
  void next(Slot* slot);

  EngineFile& file_;
  const Workload& work_;
  std::vector<Qv::Ptr<iObject>> slots_;
  Qv::Ptr<iThreadEvent> over_;
  std::mutex lock_;  // guards the rest: one thread at a time writes to a file
  uint64_t offset_ = 0;
  size_t slotsAtWork_ = 0;
  uint64_t wrong_ = 0;
};
