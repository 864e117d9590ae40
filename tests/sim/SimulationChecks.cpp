// How a simulation ends things, and what must hold then.

#include <algorithm>

#include "tests/FileRequestPeer.h"
#include "tests/FsysFilePeer.h"
#include "tests/sim/Simulation.h"

namespace {

constexpr double kDrain_ms = 4000;
constexpr double kRequests_ms = 29 * 100;
// Of one file: what it holds (on a share), its drain, its writes, its drain, its reads.
constexpr double kLongestClose_ms = 3 * kDrain_ms + 2 * kRequests_ms;
constexpr double kCalm_ms = 4000;
constexpr double kSlack_ms = 100;

}  // namespace

void Simulation::setWeather(const Weather& weather) {
  weather_ = weather;
  os_->threads().holdTasks(!weather.tasksRun);
}

uint32_t Simulation::unanswered(const SimHandle& handle) const {
  uint32_t count = 0;
  for (const Qv::Ptr<SimQuestion>& question : questions_)
    count += question->handle.get() == &handle && question->state == SimQuestion::eAccepted &&
             question->expects != SimQuestion::eNoAnswer && question->answers == 0;
  return count;
}

double Simulation::elapsedSince(double start_ms, double slowBefore_ms) {
  return os_->clock().now_ms() - start_ms - (slowed_ms_ - slowBefore_ms);
}

// Closing ----------------------------------------------------------------------------------------

void Simulation::close(const Handle& handle) {
  if (!handle) return;
  if (handle->state == SimHandle::eLeft) {
    if (FsysClose(handle->file, nullptr) == 1) broken("a file that was left is closed");
    return;
  }
  trace_.note("close f%u", handle->number);
  unsigned leavingBefore = 0;
  for (const Handle& other : handles_) leavingBefore += other->state == SimHandle::eClosing;
  unsigned leaving = leaving_;
  double start_ms = os_->clock().now_ms();
  double slowed_ms = slowed_ms_;
  beginClosing(handle);
  FsysError = 1;
  {
    SimTrace::Inside inside(trace_);
    if (FsysClose(handle->file, nullptr) != 1) return broken("a file cannot be closed");
  }
  // Closes that ran inside this one have their own time.
  unsigned nested = leavingBefore + (leaving_ - leaving);
  double took_ms = elapsedSince(start_ms, slowed_ms);
  trace_.note("closed after %.0f ms", took_ms);
  if (took_ms > kLongestClose_ms * (1 + nested) + kSlack_ms)
    broken("a close took " + std::to_string(took_ms) + " ms");
  if (took_ms > kRequests_ms) tally_.count(SimTally::eLongCloses);
  if (excuseGivenUp(handle) && FsysGetLastError() == 1) broken("a close gives up bytes silently");
  closed(handle);
}

unsigned Simulation::refusedStarts() {
  return os_->faults().fired(FaultPlan::eStartWrite) +
         os_->faults().fired(FaultPlan::eCreateContext);
}

// The writes that a close has cut off may still move their bytes, or not; and what the file held
// is lost when its start was refused. Whether there is such a thing.
bool Simulation::excuseGivenUp(const Handle& handle) {
  if (!handle->writing) return false;
  bool any = false;
  for (const FakeTransfer& transfer : os_->asyncIo().pending()) {
    if (!transfer.write || owners_[transfer.number - 1] != handle) continue;
    if (transfer.context->isLinked()) continue;
    handle->stream.excuse(transfer.offset, transfer.bytes);
    any = true;
  }
  if (refusedStarts() == handle->refusedBefore || handle->stream.held() == 0) return any;
  return handle->stream.excuse(handle->stream.position(), handle->stream.held()) || any;
}

void Simulation::beginClosing(const Handle& handle) {
  handle->state = SimHandle::eClosing;
  handle->refusedBefore = refusedStarts();
}

void Simulation::closed(const Handle& handle) {
  handle->state = SimHandle::eClosed;
  excuseGivenUp(handle);
  if (uint32_t untold = unanswered(*handle))
    broken("f" + std::to_string(handle->number) + " is closed, and " + std::to_string(untold) +
           " accepted requests were not answered");
  if (handle->writing) hold(handle->stream.whyNotComplete(), "f" + std::to_string(handle->number));
}

bool Simulation::isBeingClosed(const FsysFile* file) const {
  return std::any_of(handles_.begin(), handles_.end(), [file](const Handle& handle) {
    return handle->state == SimHandle::eClosing && handle->file == file;
  });
}

// What callbacks have closed goes first, and of the others every other one is closed, in the order
// of the list; the rest is left.
void Simulation::endEngine() {
  if (!theFsys) return;
  trace_.note("the engine ends");
  std::vector<FsysFile*> left;
  double longest_ms = kSlack_ms;
  for (const Vector<FsysFile*>* files :
       {&FsysPeer::readFiles(*theFsys), &FsysPeer::writeFiles(*theFsys)}) {
    size_t others = 0;
    for (FsysFile* file : *files)
      if (!isBeingClosed(file) && others++ % 2 == 1) left.push_back(file);
    longest_ms += static_cast<double>(files->size()) * (kDrain_ms + kLongestClose_ms);
  }
  for (const Handle& handle : handles_)
    if (handle->state == SimHandle::eOpen) beginClosing(handle);
  double start_ms = os_->clock().now_ms();
  double slowed_ms = slowed_ms_;
  {
    SimTrace::Inside inside(trace_);
    FsysUninitialize(Shutdown::eNormal);
  }
  if (elapsedSince(start_ms, slowed_ms) > longest_ms) broken("the engine took too long to end");
  tally_.count(SimTally::eEnginesEnded);
  for (const Handle& handle : handles_) {
    if (handle->state != SimHandle::eClosing) continue;
    bool isLeft = std::find(left.begin(), left.end(), handle->file) != left.end();
    if (!isLeft) {
      closed(handle);
      continue;
    }
    trace_.note("f%u is left", handle->number);
    handle->state = SimHandle::eLeft;
    tally_.count(SimTally::eLeftOpen);
    if (handle->file->GetReadBytesOutstanding() != 0 ||
        handle->file->GetWriteBytesOutstanding() != 0)
      broken("a file that was left counts bytes");
  }
  if (!calm_) startEngine();
}

// Between the operations -------------------------------------------------------------------------

void Simulation::checkBetween() {
  if (!failure_.empty() || !theFsys) return;
  const Vector<FsysFile*>& reading = FsysPeer::readFiles(*theFsys);
  const Vector<FsysFile*>& writing = FsysPeer::writeFiles(*theFsys);
  for (const Handle& handle : handles_) {
    if (handle->state != SimHandle::eClosing) continue;
    if (reading.locate(handle->file) != Vector<FsysFile*>::npos ||
        writing.locate(handle->file) != Vector<FsysFile*>::npos)
      continue;
    trace_.note("f%u has been closed", handle->number);
    closed(handle);
  }
  checkCounters(reading, true);
  checkCounters(writing, false);
  for (const Handle& handle : handles_) {
    if (handle->state != SimHandle::eOpen || !handle->writing) continue;
    if (handle->file->GetPosition() != handle->stream.position() ||
        FsysFilePeer::cachedBytes(*handle->file) != handle->stream.held())
      broken("f" + std::to_string(handle->number) + " is at " +
             std::to_string(handle->file->GetPosition()) + " and holds " +
             std::to_string(FsysFilePeer::cachedBytes(*handle->file)) + ", not at " +
             std::to_string(handle->stream.position()) + " with " +
             std::to_string(handle->stream.held()));
  }
}

// A file counts what its list has queued or started, or has failed and not swept; the engine counts
// what its files count.
void Simulation::checkCounters(const Vector<FsysFile*>& files, bool reads) {
  uint32_t all = 0;
  for (FsysFile* file : files) {
    uint32_t listed = 0;
    for (const FileRequest* request :
         reads ? FsysFilePeer::readRequests(*file) : FsysFilePeer::writeRequests(*file)) {
      uint32_t status = request->status();
      if (status == FileRequest::QUEUED || status == FileRequest::STARTED ||
          status == FileRequest::FAILED)
        listed += FileRequestPeer::byteCount(*request);
      else if (status != FileRequest::COMPLETED)
        broken("a request was told and is not finished: its status is " + std::to_string(status));
    }
    uint32_t counted = reads ? file->GetReadBytesOutstanding() : file->GetWriteBytesOutstanding();
    if (counted != listed)
      broken("a file counts " + std::to_string(counted) + " bytes outstanding and lists " +
             std::to_string(listed));
    all += counted;
  }
  uint32_t counted = reads ? FsysPeer::readBytes(*theFsys) : FsysPeer::writeBytes(*theFsys);
  if (counted != all)
    broken("the engine counts " + std::to_string(counted) + " bytes outstanding, its files " +
           std::to_string(all));
}

// The end ----------------------------------------------------------------------------------------

// Nothing goes wrong any more: what was accepted comes to its answer by itself.
void Simulation::calmDown() {
  trace_.note("all goes well from here");
  os_->faults().clear();
  for (SimPlace& place : places_) {
    place.drive.capacity = UINT64_MAX;
    os_->files().setDrive(place.prefix, place.drive);
  }
  setWeather({100, true});
  SimTrace::Inside inside(trace_);
  while (!os_->asyncIo().pending().empty()) end(0, false);
  os_->advance(kCalm_ms);
  for (const Handle& handle : handles_) {
    if (handle->state == SimHandle::eClosing) continue;
    if (handle->state == SimHandle::eOpen && unanswered(*handle) > 0)
      broken("a request of f" + std::to_string(handle->number) + " is forgotten");
  }
  checkBetween();
  if (FsysPeer::readBytes(*theFsys) != 0 || FsysPeer::writeBytes(*theFsys) != 0)
    broken("bytes are outstanding, and nothing is");
}

void Simulation::finish() {
  calm_ = dice_.chance(60);
  if (calm_) calmDown();
  for (size_t i = 0; i < handles_.size() && failure_.empty(); ++i) {
    if (handles_[i]->state != SimHandle::eOpen || dice_.chance(20)) continue;
    setWeather({dice_.oneOf({0u, 30u, 100u}), dice_.chance(70)});
    close(handles_[i]);
    checkBetween();
  }
  if (!failure_.empty()) return;
  setWeather({dice_.oneOf({0u, 100u}), dice_.chance(70)});
  calm_ = true;
  endEngine();
  trace_.note("what is late comes");
  SimTrace::Inside inside(trace_);
  while (!os_->asyncIo().pending().empty() && failure_.empty()) end(0, false);
  while (os_->threads().runTask()) continue;
  if (failure_.empty()) checkLeftovers();
}

void Simulation::checkLeftovers() {
  for (const Kept& kept : kept_)
    if (!std::equal(kept.bytes.begin(), kept.bytes.end(), kept.data->getBuffer()))
      broken("data that a caller keeps have changed");
  kept_.clear();
  unsigned left = 0;
  for (const Handle& handle : handles_) {
    left += handle->state == SimHandle::eLeft;
    handle->reel.reset();
  }
  for (const Qv::Ptr<SimQuestion>& question : questions_) question->data.reset();
  questions_.clear();
  if (liveQuestions_ != 0) broken("contexts of callers are kept");
  if (liveReels_ != 0) broken("data of callers are kept");
  if (os_->memory().bytesInUse() != 0) broken("memory is not given back");
  if (os_->files().liveFiles() != 0) broken("files of the system are left open");
  if (os_->asyncIo().liveContexts() != 0) broken("contexts of transfers are left");
  if (os_->asyncIo().livePorts() != 0) broken("completion ports are left");
  if (os_->threads().count() != 0) broken("threads are left");
  if (!os_->threads().queues().empty()) broken("task queues are left");
  // A file that was left keeps its one.
  if (os_->threads().liveEvents() != left) broken("events are left");
  for (SimPlace& place : places_)
    if (os_->files().bytesOf(place.path) != place.disk) broken("a disk holds other bytes");
  checkTexts();
}

// A read of no bytes is kept without a buffer, and the next one finds that.
void Simulation::checkTexts() {
  std::string text = texts_.outText();
  for (const char* never :
       {"line 231", "line 515", "line 521", "fsys/IoCompletion", "fr->buffer_ =="})
    if (text.find(never) != std::string::npos)
      broken(std::string("the engine complains of itself: ") + never);
}
