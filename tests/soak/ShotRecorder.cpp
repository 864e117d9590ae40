#include "tests/soak/ShotRecorder.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "fsys/Fsys.h"

namespace {

constexpr uint32_t kFewestChunks = 60, kMostChunks = 150;
constexpr uint32_t kOddPercent = 25, kToldPercent = 50, kProxyPercent = 30;
constexpr uint32_t kOddBytes = 700;         // by which a chunk falls short of whole sectors
constexpr uint32_t kLongestTail = 100'000;  // what the write cache holds without sending it
constexpr size_t kKept = 3;
constexpr unsigned kMostTries = 3;
constexpr double kUntold_ms = 60'000;
constexpr std::chrono::milliseconds kLook(100);  // at who is late

void toldChunk(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
  auto& chunk = static_cast<ShotChunk&>(*context);
  chunk.owner.told(chunk, data, status);
}

}  // namespace

ShotRecorder::ShotRecorder(const SoakStage& stage, const Part& part)
    : SoakVictim(stage.clock, "recorder " + std::to_string(part.number)),
      stage_(stage),
      part_(part),
      dice_(part.seed) {}

void ShotRecorder::found(const RecordedShot& shot, const std::string& what) const {
  stage_.findings.add(name() + ", shot " + shot.cookie + ": " + what);
}

// Faults ------------------------------------------------------------------------------------------

bool ShotRecorder::mayMeet(SoakFault kind) const {
  return kind >= SoakFault::eWriteFails && kind <= SoakFault::eDeletionFails;
}

bool ShotRecorder::isMeantLocked(const FaultPlace& place) const {
  ePhase phase = eStreaming;
  if (kind_ == SoakFault::eCreateRefused) phase = eOpening;
  if (kind_ == SoakFault::eTailFails) phase = eHolding;
  if (kind_ == SoakFault::eDeletionFails) phase = eDeleting;
  return phase_ == phase && kind_ != SoakFault::eKinds && place.path &&
         toUTF8(*place.path).view() == phasePath_;
}

void ShotRecorder::struckLocked(const FaultPlace& place) {
  if (phase_ != eStreaming) {
    callIsHit_ = true;
    return;
  }
  for (const Chunk& chunk : chunks_) {
    if (!chunk->isAsked || chunk->offset != place.offset || chunk->bytes != place.bytes) continue;
    chunk->isHit = true;
    chunk->fate = Fate::ofStruck(kind_, fault_, place, chunk->offset);
  }
}

bool ShotRecorder::isOverLocked() const {
  return std::none_of(chunks_.begin(), chunks_.end(),
                      [](const Chunk& chunk) { return chunk->isHit && chunk->isAsked; });
}

void ShotRecorder::enter(ePhase phase, const std::string& path) {
  std::lock_guard lock(lock_);
  phase_ = phase;
  phasePath_ = path;
  callIsHit_ = false;
}

// Whether what was done in it was hit.
bool ShotRecorder::leave() {
  std::lock_guard lock(lock_);
  phase_ = eIdle;
  if (callIsHit_) ++stage_.tally.failuresTold;
  return callIsHit_;
}

// Telling -----------------------------------------------------------------------------------------

void ShotRecorder::told(ShotChunk& chunk, const Qv::Ptr<iMemHolder>& data, RequestStatus status) {
  std::lock_guard lock(lock_);
  const std::string which = name() + ", the chunk at " + std::to_string(chunk.offset);
  if (!chunk.isAsked) return stage_.findings.add(which + " was told of twice");
  chunk.isAsked = false;
  chunk.isRight = status == eRequestSucceeded;
  if (--onTheWay_ == 0) allTold_.notify_all();
  if (chunk.isRight && chunk.fate.end == Fate::eFails)
    stage_.findings.add(which + " was hit by a fault and told as right");
  if (!chunk.isRight && chunk.fate.end == Fate::eWell)
    stage_.findings.add(which + ", " + std::to_string(chunk.bytes) +
                        " bytes, failed without a fault: error " +
                        std::to_string(FsysGetLastError()));
  if (chunk.isRight != bool(data)) stage_.findings.add(which + " has or lacks data");
  if (!chunk.isRight) ++stage_.tally.failuresTold;
}

// Recording ---------------------------------------------------------------------------------------

void ShotRecorder::run() {
  while (!clock_.isOver()) {
    record(plan());
    if (kept_.size() > kKept) removeOldest();
  }
  while (!kept_.empty()) removeOldest();
  expectNothingLeft();
}

RecordedShot ShotRecorder::plan() {
  RecordedShot shot;
  shot.cookie = SoakHouse::cookieText(static_cast<char>('R' + part_.number), shots_++);
  shot.isTold = dice_.chance(kToldPercent);
  shot.isOdd = dice_.chance(kOddPercent);
  shot.hasProxy = shot.isTold && dice_.chance(kProxyPercent);
  shot.drive = shot.isTold ? part_.toldDrive : part_.foundDrive;
  shot.folder = shot.drive + "/Material";
  return shot;
}

void ShotRecorder::record(RecordedShot shot) {
  FsysFile* file = open(shot);
  if (!file) return;
  if (!shot.isOdd) enter(eStreaming, shot.partialPath());
  stream(shot, file);
  leave();
  repair(shot, file);
  write(shot, file, dice_.between(1, kLongestTail));
  enter(eHolding, shot.partialPath());
  sendHeld(file);
  if (!waitUntilTold()) found(shot, "not every chunk was told");
  if (FsysClose(file, nullptr) != 1) found(shot, "cannot be closed");
  {
    std::lock_guard lock(lock_);
    chunks_.clear();
  }
  std::error_code failed;
  const uint64_t size = std::filesystem::file_size(shot.partialPath(), failed);
  if (failed || size != shot.bytes)
    found(shot, "has " + std::to_string(size) + " bytes, not " + std::to_string(shot.bytes));
  ++stage_.tally.shots;
  stage_.tally.recordedBytes += shot.bytes;
  publish(shot);
  lookUp(shot);
  readBack(shot);
  kept_.push_back(shot);
}

// Null when it cannot be had, which is found.
FsysFile* ShotRecorder::open(const RecordedShot& shot) {
  for (unsigned tries = 0; tries < 2; ++tries) {
    FsysFile* file = nullptr;
    enter(eOpening, shot.partialPath());
    const bool isOpen = FsysOpen(&file, SoakHouse::wide(shot.partialPath()), 0, 2, nullptr) == 1;
    const bool isHit = leave();
    ++stage_.tally.opens;
    if (isOpen && isHit) found(shot, "was created though it was refused");
    if (isOpen) return file;
    if (!isHit) break;
  }
  found(shot, "cannot be created");
  return nullptr;
}

void ShotRecorder::stream(RecordedShot& shot, FsysFile* file) {
  const uint32_t count = dice_.between(kFewestChunks, kMostChunks);
  const uint32_t bytes = part_.chunkBytes - (shot.isOdd ? kOddBytes : 0);
  double turn_ms = clock_.now_ms();
  for (uint32_t i = 0; i < count; ++i, turn_ms += kChunk_ms) {
    if (!stage_.clock.waitUntil(turn_ms)) break;
    write(shot, file, bytes);
    judge(clock_.now_ms());
  }
}

void ShotRecorder::write(RecordedShot& shot, FsysFile* file, uint32_t bytes) {
  const Chunk chunk(new ShotChunk(*this, shot.bytes, bytes));
  shot.bytes += bytes;
  {
    std::lock_guard lock(lock_);
    chunks_.push_back(chunk);
  }
  ask(file, chunk, shot);
}

void ShotRecorder::ask(FsysFile* file, const Chunk& chunk, const RecordedShot& shot) {
  {
    std::lock_guard lock(lock_);
    chunk->asked_ms = clock_.now_ms();
    chunk->isAsked = true;
    chunk->isHit = false;
    chunk->fate = Fate();
    ++onTheWay_;
  }
  Qv::Ptr<iMemHolder> data(
      new ChunkBytes(chunk->bytes, chunk->offset, SoakHouse::seedOf(shot.cookie)));
  Qv::Ptr<iObject> context(chunk);
  ++stage_.tally.chunks;
  if (file->DirectWrite(data, false, &toldChunk, context, false) == 1) return;
  found(shot, "a chunk was refused");
  std::lock_guard lock(lock_);
  chunk->isAsked = false;
  --onTheWay_;
}

// A recorder that has handed out so many chunks has no room for the next.
void ShotRecorder::judge(double now_ms) {
  std::lock_guard lock(lock_);
  for (const Chunk& chunk : chunks_) {
    const bool isDue = now_ms >= chunk->asked_ms + kInTime_ms;
    if (chunk->isJudged || !isDue) continue;
    chunk->isJudged = true;
    stage_.judge(name() + ": the chunk at " + std::to_string(chunk->offset), !chunk->isAsked,
                 hit_.touches(chunk->asked_ms, now_ms), chunk->asked_ms, now_ms);
  }
}

// What failed is written anew at its place.
void ShotRecorder::repair(const RecordedShot& shot, FsysFile* file) {
  for (unsigned tries = 0;; ++tries) {
    if (!waitUntilTold()) return found(shot, "not every chunk was told");
    std::vector<Chunk> wrong;
    {
      std::lock_guard lock(lock_);
      std::copy_if(chunks_.begin(), chunks_.end(), std::back_inserter(wrong),
                   [](const Chunk& chunk) { return !chunk->isRight; });
    }
    if (wrong.empty()) break;
    if (tries == kMostTries) return found(shot, "a chunk cannot be written");
    for (const Chunk& chunk : wrong) {
      file->Seek(static_cast<long>(chunk->offset), eSeekFromStart);
      ask(file, chunk, shot);
      ++stage_.tally.repaired;
    }
  }
  // What an odd shot holds has not been sent.
  if (!shot.isOdd) file->Seek(static_cast<long>(shot.bytes), eSeekFromStart);
}

bool ShotRecorder::waitUntilTold() {
  const double end_ms = clock_.now_ms() + kUntold_ms;
  while (clock_.now_ms() < end_ms) {
    {
      std::unique_lock lock(lock_);
      if (allTold_.wait_for(lock, kLook, [this] { return onTheWay_ == 0; })) return true;
    }
    judge(clock_.now_ms());
  }
  return false;
}

// A failure leaves it held, and the next one sends it.
void ShotRecorder::sendHeld(FsysFile* file) {
  const bool isSent = file->Write(nullptr, 0) == 1;
  const bool isHit = leave();
  if (isSent == isHit)
    stage_.findings.add(name() + (isSent ? ": a failure to send what is held was not told"
                                         : ": what is held cannot be sent"));
  if (!isSent && file->Write(nullptr, 0) != 1)
    stage_.findings.add(name() + ": what is held cannot be sent after a fault");
}
