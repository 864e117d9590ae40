#include "bench/table/IdleFiles.h"

#include <sys/resource.h>

#include "bench/table/Arrival.h"

namespace {

constexpr uint32_t kPiece = 4096;

constexpr rlim_t kDescriptors = 2;  // a file's: for direct transfers, and for the others
constexpr rlim_t kOthers = 100;     // what the process has open besides

// Allows as many as may be allowed.
rlim_t allowManyFiles() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  return limit.rlim_max;
}

}  // namespace

bool IdleFiles::mayOpen(unsigned count) {
  return allowManyFiles() >= kDescriptors * count + kOthers;
}

IdleFiles::IdleFiles(const std::string& path, unsigned count) {
  allowManyFiles();
  Qv::Ptr<iObject> context(new Arrival);
  auto* arrival = static_cast<Arrival*>(context.get());
  for (unsigned i = 0; i < count; ++i) {
    files_.push_back(std::make_unique<EngineFile>(path, kPiece, 1));
    if ((*files_.back())->DirectRead(0, kPiece, false, &Arrival::come, context) == 1)
      arrival->wait();
    else
      ++wrong_;
    arrival->data.reset();
  }
  wrong_ += arrival->failed;
}
