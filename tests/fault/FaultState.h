#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "platform/OS.h"
#include "tests/fault/FaultPoints.h"
#include "tests/fault/NativeAllocator.h"

// FaultState: what the parts of a fault layer share; it lives as long as the last of them.
// Story      How an asynchronous transfer is to end is settled as it starts, and noted under its
//            request until it is reported. What was noted for one that is never reported goes when
//            the same request's address starts again.
// Threads    any.
class FaultState : public virtual Qv::InternalRefCount {
public:
  struct Ending {
    FaultPoints::Verdict verdict;
    bool write = false;
    void* buffer = nullptr;  // good while the request is: until it is reported
    uint32_t bytes = 0;
  };

  FaultPoints& points() { return points_; }

  void note(void* request, const Ending& ending);
  // False when all is to go well.
  bool take(void* request, Ending& ending);
  // Runs the task on a thread of the state's own; false when there is none.
  // They go one after another: what is held holds up the next.
  bool runLater(const Qv::Ptr<iTask>& task);

private:
  FaultPoints points_;
  std::mutex lock_;  // guards what follows
  std::unordered_map<void*, Ending, std::hash<void*>, std::equal_to<void*>,
                     NativeAllocator<std::pair<void* const, Ending>>>
      endings_;
  Qv::Ptr<iTaskQueue> held_;
};

// Sets the calling thread's last error; the failure as a result.
inline uint32_t failFault(uint32_t error) {
  OS()->getErrors()->setLastError(error);
  return error;
}
