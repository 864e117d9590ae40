// What a simulation asks of the engine, and what it is told.

#include <algorithm>

#include "tests/FsysFilePeer.h"
#include "tests/sim/Simulation.h"

namespace {

constexpr uint32_t kStagedLimit = 131072;
constexpr uint32_t kReel = 32768;
constexpr uint32_t kMostQuestions = 400;
constexpr unsigned kDeepest = 4;

uint32_t forcePollLimit() { return static_cast<uint32_t>(EngineSettings::ForcePollLimit); }

}  // namespace

// Of any state now and then: what is gone must refuse.
Simulation::Handle Simulation::anyHandle(bool writing) {
  bool wrong = dice_.chance(3);
  std::vector<Handle> fit;
  for (const Handle& handle : handles_) {
    bool usable =
        handle->state == SimHandle::eOpen || (handle->state == SimHandle::eLeft && dice_.chance(5));
    if (usable && (handle->writing == writing || wrong)) fit.push_back(handle);
  }
  return fit.empty() ? nullptr : fit[dice_.below(static_cast<uint32_t>(fit.size()))];
}

Qv::Ptr<SimQuestion> Simulation::ask(const Handle& handle, bool reading) {
  Qv::Ptr<SimQuestion> question(new SimQuestion(*this, liveQuestions_));
  questions_.push_back(question);
  question->number = static_cast<unsigned>(questions_.size());
  question->handle = handle;
  question->reading = reading;
  question->before = model_.now(moment_);
  if (dice_.chance(40))
    question->then = static_cast<SimQuestion::eThen>(dice_.between(1, SimQuestion::eKeepData));
  if (question->then == SimQuestion::eClose && dice_.chance(70))
    question->then = reading ? SimQuestion::eReadOn : SimQuestion::eWriteOn;
  if (telling_ > 0) tally_.count(SimTally::eQuestionsFromCallbacks);
  return question;
}

// Reading ----------------------------------------------------------------------------------------

// Mostly beside or inside the one before: where requests meet, and where the bytes are kept.
void Simulation::chooseRange(SimHandle& handle, SimQuestion& question) {
  uint32_t size = static_cast<uint32_t>(handle.place->disk.size());
  question.length = dice_.chance(60) ? dice_.between(1, 3000) : 512 * dice_.between(1, 40);
  if (handle.readsNothing && dice_.chance(10)) question.length = 0;
  switch (dice_.below(8)) {
    case 0:
    case 1:
    case 2:
      question.offset = handle.lastOffset + handle.lastLength + dice_.oneOf({0u, 0u, 1u, 4096u});
      break;
    case 3:
      question.offset = handle.lastOffset + dice_.below(handle.lastLength + 1);
      question.length = std::max(1u, question.length / 8);
      break;
    case 4:
      question.offset = handle.lastOffset - std::min<uint64_t>(handle.lastOffset, question.length);
      break;
    case 5:
      question.offset = size - std::min(size, dice_.below(3000));
      break;
    case 6:
      question.offset = dice_.chance(90) ? 512 * dice_.below(80) : uint64_t{INT64_MAX} - 600;
      break;
    default:
      question.offset = dice_.below(size + 1000);
  }
  if (question.offset > INT64_MAX / 2 && dice_.chance(90)) question.offset = 0;
  handle.lastOffset = question.offset;
  handle.lastLength = question.length;
}

void Simulation::read(const Handle& handle) {
  if (!handle || questions_.size() >= kMostQuestions) return;
  Qv::Ptr<SimQuestion> question = ask(handle, true);
  chooseRange(*handle, *question);
  if (handle->cacheDisabled) question->expects = SimQuestion::eNoAnswer;
  bool deferrable = dice_.chance(50);
  trace_.note("q%u: read %u bytes at %llu of f%u%s", question->number, question->length,
              static_cast<unsigned long long>(question->offset), handle->number,
              deferrable ? ", deferrable" : "");
  SimTrace::Inside inside(trace_);
  Qv::Ptr<iObject> context = question;
  const bool wasOpen = handle->state == SimHandle::eOpen;
  double start_ms = os_->clock().now_ms();
  uint32_t result = handle->file->DirectRead(static_cast<long>(question->offset), question->length,
                                             deferrable, &SimQuestion::told, context);
  if (os_->clock().now_ms() > start_ms) broken("a read waits");
  question->state = result == 1 ? SimQuestion::eAccepted : SimQuestion::eRefused;
  tally_.count(result == 1 ? SimTally::eReads : SimTally::eRefusedReads);
  if (result == 1 && question->answers > 0) tally_.count(SimTally::eCacheHits);
  if (result != 1) trace_.note("refused: %u", result);
  judgeReadResult(*question, result, wasOpen);
}

void Simulation::judgeReadResult(const SimQuestion& question, uint32_t result, bool wasOpen) {
  const SimHandle& handle = *question.handle;
  if (question.answers > 0 && result != 1) return broken("a refused read is told");
  bool full = FsysGetLastError() == 8 ||
              (result == 8 && FsysFilePeer::deferred(*handle.file) > 2 * forcePollLimit());
  if (handle.writing)
    return result == 0 ? void() : broken("a file that is open for writing takes a read");
  if (!wasOpen && result == 1 && !handle.cacheDisabled)
    return broken("a file that is not open takes a read");
  if (wasOpen && result != 1 && !full) broken("a read is refused without a reason");
}

// Writing ----------------------------------------------------------------------------------------

uint32_t Simulation::anyWriteLength(const SimHandle& handle) {
  if (dice_.chance(8)) return dice_.between(60'000, 140'000);
  if (!handle.wholeSectors && dice_.chance(80)) return dice_.between(1, 5000);
  uint32_t sector = handle.sectorSize;
  return sector * dice_.between(1, sector > 512 ? 3 : 16);
}

Qv::Ptr<iMemHolder> Simulation::cut(SimHandle& handle, uint32_t bytes) {
  if (!handle.reel || handle.reel->left() < bytes || dice_.chance(10))
    handle.reel =
        Qv::Ptr<SimReel>(new SimReel(std::max(bytes, kReel), SimDice(dice_.next()), liveReels_));
  return handle.reel->cut(bytes);
}

// What is to become of a write; its bytes take their place. True: it has to wait.
bool Simulation::expect(SimQuestion& question, bool& straight) {
  SimHandle& handle = *question.handle;
  WriteStream& stream = handle.stream;
  uint32_t sector = handle.sectorSize;
  bool network = FsysFilePeer::driveType(*handle.file) == iDiskDrive::eNetwork;
  bool caching = cachingOn_ && (network || EngineSettings::AlwaysUseWriteCache == 1);
  question.offset = stream.position();
  straight = handle.async && question.offset % sector == 0 && question.length % sector == 0 &&
             !caching && stream.held() == 0;
  stream.append(question.data->getBuffer(), question.length);
  if (straight) return false;
  uint32_t held = stream.held() + question.length;
  uint32_t whole = held - held % sector;
  stream.hold(held);
  if (held <= kStagedLimit || whole == 0) {
    question.expects = SimQuestion::eAnswerAtOnce;
    return false;
  }
  stream.hold(held - whole);
  question.length = whole;
  if (!handle.async) question.expects = SimQuestion::eNoAnswer;
  return handle.async;
}

void Simulation::write(const Handle& handle) {
  if (!handle || questions_.size() >= kMostQuestions) return;
  Qv::Ptr<SimQuestion> question = ask(handle, false);
  uint32_t bytes = anyWriteLength(*handle);
  uint32_t heldBefore = handle->stream.held();
  question->data = cut(*handle, bytes);
  question->length = bytes;
  bool deferrable = dice_.chance(50);
  bool synchronous = dice_.chance(15);
  bool takes = handle->writing && handle->state == SimHandle::eOpen;
  bool straight = false;
  bool waits = takes && (expect(*question, straight) || (straight && synchronous));
  trace_.note("q%u: write %u bytes to f%u%s%s%s", question->number, bytes, handle->number,
              straight ? ", straight" : "", deferrable ? ", deferrable" : "",
              synchronous ? ", synchronous" : "");
  uint32_t result;
  {
    SimTrace::Inside inside(trace_);
    Weather before = weather_;
    waits = waits && telling_ == 0;
    if (telling_ == 0) setWeather({before.eagerness, waits && !handle->attached});
    mustEnd_ += waits;
    ++handle->writesInside;
    asking_.push_back(question.get());
    Qv::Ptr<iObject> context = question;
    Qv::Ptr<iMemHolder> data = question->data;
    result = handle->file->DirectWrite(data, deferrable, &SimQuestion::told, context, synchronous);
    asking_.pop_back();
    --handle->writesInside;
    mustEnd_ -= waits;
    setWeather(before);
  }
  question->state = result == 1 ? SimQuestion::eAccepted : SimQuestion::eRefused;
  if (waits && result == 1) tally_.count(SimTally::eSynchronousWrites);
  if (result != 1) trace_.note("q%u is refused: %u", question->number, result);
  if (takes && result != 1) settleWrite(*question, result, straight, heldBefore);
  if (result == 1)
    tally_.count(straight                                          ? SimTally::eStraightWrites
                 : question->expects == SimQuestion::eAnswerAtOnce ? SimTally::eAbsorbedWrites
                                                                   : SimTally::eSentCaches);
  judgeWriteResult(*question, result);
}

// One behind the other, as a stream comes.
void Simulation::writeSome(const Handle& handle) {
  uint32_t more = dice_.chance(50) ? 0 : dice_.between(1, 4);
  for (uint32_t i = 0; i <= more && failure_.empty(); ++i) write(handle);
}

// A refused write has no place; unless it is staged: then its bytes stay in the cache.
void Simulation::settleWrite(SimQuestion& question, uint32_t, bool straight, uint32_t heldBefore) {
  SimHandle& handle = *question.handle;
  uint32_t bytes = question.data->getSize();
  uint32_t held = FsysFilePeer::cachedBytes(*handle.file);
  question.data.reset();
  if (handle.state != SimHandle::eOpen) return;
  if (held == heldBefore)
    handle.stream.takeBack(bytes);
  else if (straight || held != heldBefore + bytes)
    return broken("a refused write leaves " + std::to_string(held) + " bytes in the cache");
  handle.stream.hold(held);
}

void Simulation::judgeWriteResult(const SimQuestion& question, uint32_t result) {
  const SimHandle& handle = *question.handle;
  if (result == 1) {
    if (!handle.writing) return broken("a file that is open for reading takes a write");
    if (question.expects == SimQuestion::eAnswerAtOnce && question.answers != 1)
      return broken("an absorbed write is not told at once");
    return;
  }
  tally_.count(SimTally::eRefusedWrites);
  if (question.answers > 0) return broken("a refused write is told");
  if (!handle.writing || handle.state != SimHandle::eOpen) return;
  // It slept because the list was full; whoever came meanwhile left another error.
  bool full = FsysGetLastError() == 8 || os_->threads().sleeps().size() > question.before.sleeps ||
              FsysFilePeer::deferred(*handle.file) > 2 * forcePollLimit();
  bool noMemory =
      result == 10 && os_->faults().fired(FaultPlan::eAllocateRegion) > question.before.regions;
  bool failed = !handle.moves.empty() && handle.moves.back().error == result;
  if (!(result == 0 && full) && !noMemory && !failed)
    broken("a write is refused with " + std::to_string(result) + " without a reason");
}

// Answers ----------------------------------------------------------------------------------------

void Simulation::told(SimQuestion& question, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
  uint32_t error = FsysGetLastError();
  trace_.note("q%u is told %s, %s, error %u", question.number,
              status == eRequestSucceeded ? "well" : "ill", data ? "data" : "none", error);
  SimTrace::Inside inside(trace_);
  hold(model_.whyNot(question, data.get(), status, error), "q" + std::to_string(question.number));
  ++question.answers;
  if (!failure_.empty()) return;
  count(question, data.get(), status);
  if (!question.reading && status == eRequestFailed)
    question.handle->stream.excuse(question.offset, question.length);
  // The engine has no more business with these bytes.
  if (!question.reading && status == eRequestSucceeded)
    std::fill_n(question.data->getBuffer(), question.data->getSize(), static_cast<uint8_t>(0xEE));
  if (!question.reading) question.data.reset();
  ++telling_;
  follow(question, data);
  --telling_;
}

void Simulation::count(const SimQuestion& question, const iMemHolder* data, RequestStatus status) {
  uint32_t error = FsysGetLastError();
  if (status == eRequestSucceeded) {
    if (!data) tally_.count(SimTally::eTooSlowWrites);
    return;
  }
  if (error == eOsCancelled) tally_.count(SimTally::eGivenUp);
  if (error == eOsTooManyFiles || error == eOsNoMemory) tally_.count(SimTally::eFailedStarts);
  if (error == 10) tally_.count(SimTally::eNoBuffer);
  if (question.answers != 1) broken("an answer is counted wrong");
}

void Simulation::follow(SimQuestion& question, const Qv::Ptr<iMemHolder>& data) {
  if (telling_ > kDeepest || calm_) return;
  switch (question.then) {
    case SimQuestion::eReadOn:
      return read(question.handle);
    case SimQuestion::eWriteOn:
      if (asking_.empty() || asking_.back() == &question) write(question.handle);
      return;
    case SimQuestion::eClose:
      return closeFromCallback(question);
    case SimQuestion::eKeepData:
      if (question.reading && data)
        kept_.push_back({data, {data->getBuffer(), data->getBuffer() + data->getSize()}});
      return;
    default:
      return;
  }
}

void Simulation::closeFromCallback(SimQuestion& question) {
  Handle handle = question.handle;
  // A task that closes it now would wait for the write that waits for it.
  if (handle->state != SimHandle::eOpen || handle->writesInside > 0) return;
  FaultPlan& faults = os_->faults();
  auto refusals = [&faults] {
    return faults.fired(FaultPlan::ePostTask) + faults.fired(FaultPlan::eCreateTaskQueue);
  };
  unsigned refused = refusals();
  beginClosing(handle);
  uint32_t result = FsysClose(handle->file, nullptr);
  trace_.note("f%u is to be closed: %u", handle->number, result);
  if (result == 1) {
    ++leaving_;
    return tally_.count(SimTally::eClosesFromCallbacks);
  }
  handle->state = SimHandle::eOpen;
  if (refusals() == refused) broken("a callback cannot close its file, and nothing was refused");
}
