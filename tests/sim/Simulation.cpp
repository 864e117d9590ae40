#include "tests/sim/Simulation.h"

#include <algorithm>

#include "fsys/MaterialLink.h"
#include "tests/support/AddedDrive.h"

namespace {

constexpr uint32_t kLeastSteps = 40;
constexpr uint32_t kMostSteps = 180;
constexpr size_t kMostHandles = 7;
constexpr uint32_t kLargestFile = 40'000;

int anyListSize(SimDice& dice) { return static_cast<int>(dice.oneOf({3u, 8u, 40u})); }
int anyForcePoll(SimDice& dice) { return static_cast<int>(dice.oneOf({1u, 4u, 30u})); }
int anyRetries(SimDice& dice) { return static_cast<int>(dice.oneOf({0u, 2u, 10u})); }

}  // namespace

Simulation::Simulation(uint64_t seed, SimTally& tally)
    : seed_(seed),
      dice_(seed),
      tally_(tally),
      model_(*os_),
      listSize_(EngineSettings::MaxRequestListSize, anyListSize(dice_)),
      forcePoll_(EngineSettings::ForcePollLimit, anyForcePoll(dice_)),
      retries_(EngineSettings::MaxFsysWriteRetries, anyRetries(dice_)),
      alwaysCache_(EngineSettings::AlwaysUseWriteCache, dice_.chance(30)),
      mergesBefore_(FileRequest::GetMergeCount()) {
  OsAtomics::store(FsysError, 1u);
  os_->asyncIo().setWatcher(this);
  choose();
  makePlaces();
  startEngine();
}

Simulation::~Simulation() {
  Fsys::BufferSpace_ = nullptr;
  DiskManager::deInit();
  FsysSetNetworkWriteCaching(false);
  FsysSetImmediateRequestHandling(true);
  FsysSetWriteSpeedWarning(true);
  OsAtomics::store(FsysError, 1u);
}

void Simulation::broken(const std::string& why) {
  trace_.note("BROKEN: %s", why.c_str());
  if (failure_.empty()) failure_ = why;
}

void Simulation::hold(const std::string& why, const std::string& what) {
  if (!why.empty()) broken(what + ": " + why);
}

// Each life has its own mixture: some operations often, others never.
void Simulation::choose() {
  for (uint32_t& weight : weights_) weight = dice_.oneOf({0u, 1u, 2u, 4u, 8u});
  // What nothing happens without.
  for (size_t always = 0; always < 4; ++always) weights_[always] = 4 + 2 * dice_.below(6);
  faulty_ = dice_.chance(70);
  FsysSetImmediateRequestHandling(dice_.chance(60));
  trace_.note("list size %d, force poll %d, retries %d, always cache %d, %s",
              EngineSettings::MaxRequestListSize, EngineSettings::ForcePollLimit,
              EngineSettings::MaxFsysWriteRetries, EngineSettings::AlwaysUseWriteCache,
              faulty_ ? "faulty" : "faultless");
}

void Simulation::makePlaces() {
  const wchar_t* prefixes[kPlaces] = {L"/media/", L"/large/", L"/net/", L"/plain/", L"/judged/"};
  for (size_t i = 0; i < kPlaces; ++i) {
    SimPlace& place = places_[i];
    place.prefix = Text(prefixes[i]);
    place.path = Text((std::wstring(prefixes[i]) + L"file/").c_str());
    place.drive.sectorSize = i == 1 || dice_.chance(30) ? 4096 : 512;
    if (i == 2) place.drive.type = iDiskDrive::eNetwork;
    place.drive.asyncTransfers = i != 3;
    place.drive.transfersByCaller = dice_.chance(40);
    place.hasVolume = i == 4;
    os_->files().setDrive(place.prefix, place.drive);
    if (place.hasVolume) addedDrive(L"/judged/file");
    if (dice_.chance(20)) continue;
    uint32_t bytes =
        dice_.chance(60) ? place.drive.sectorSize * dice_.below(9) : dice_.below(kLargestFile);
    if (bytes > 0) {
      SimReel reel(bytes, SimDice(dice_.next()), liveReels_);
      place.disk.assign(reel.getBuffer(), reel.getBuffer() + bytes);
    }
    os_->files().addFile(place.path, place.disk);
    trace_.note("place %zu: %u bytes, sectors of %u", i, bytes, place.drive.sectorSize);
  }
}

void Simulation::startEngine() {
  unsigned refused =
      os_->faults().fired(FaultPlan::eCreateThread) + os_->faults().fired(FaultPlan::eCreateEvent);
  uint32_t result = FsysInitialize();
  if (result != 1 &&
      os_->faults().fired(FaultPlan::eCreateThread) + os_->faults().fired(FaultPlan::eCreateEvent) >
          refused) {
    trace_.note("the engine does not start");
    os_->faults().clear();
    result = FsysInitialize();
  }
  trace_.note("the engine starts");
  if (result != 1) broken("the engine does not start, and nothing was refused");
}

void Simulation::run() {
  try {
    uint32_t steps = dice_.between(kLeastSteps, kMostSteps);
    for (uint32_t i = 0; i < steps && failure_.empty(); ++i) {
      step();
      checkBetween();
    }
    if (failure_.empty()) finish();
  } catch (const std::exception& hang) {
    broken(hang.what());
  }
  tally_.count(SimTally::eMerges, FileRequest::GetMergeCount() - mergesBefore_);
  // What is broken cannot be taken down in order: it is left where it is.
  os_->asyncIo().setWatcher(nullptr);
  if (!failure_.empty()) theFsys = nullptr;
}

void Simulation::step() {
  uint32_t sum = 0;
  for (uint32_t weight : weights_) sum += weight;
  uint32_t at = dice_.below(sum);
  size_t which = 0;
  while (at >= weights_[which]) at -= weights_[which++];
  setWeather({dice_.oneOf({0u, 3u, 30u, 100u}), dice_.chance(70)});
  switch (which) {
    case 0:
      return open();
    case 1:
      return read(anyHandle(false));
    case 2:
      return writeSome(anyHandle(true));
    case 3:
      return passOrRun();
    case 4:
    case 5:
      return endAny();
    case 6:
      return close(anyHandle(dice_.chance(50)));
    case 7:
      return advance();
    case 8:
      return changeSetting();
    case 9:
      return plan();
    case 10:
      return changeCapacity();
    default:
      return dice_.chance(15) ? endEngine() : disableCache();
  }
}

// Opening ----------------------------------------------------------------------------------------

// One writer at a time. What has a link's size is none of the media that is played with here.
bool Simulation::mayOpen(const SimPlace& place, bool writing) {
  if (os_->files().bytesOf(place.path).size() == MaterialLink::kBytes) return false;
  size_t alive = 0;
  for (const Handle& handle : handles_) {
    if (!handle->isAlive()) continue;
    ++alive;
    if (writing && handle->writing && handle->place == &place) return false;
  }
  return alive < kMostHandles;
}

void Simulation::open() {
  SimPlace& place = places_[dice_.below(kPlaces)];
  bool writing = dice_.chance(50);
  if (!mayOpen(place, writing)) return;
  auto handle = std::make_shared<SimHandle>();
  handle->number = static_cast<unsigned>(handles_.size() + 1);
  handle->place = &place;
  handle->writing = writing;
  uint32_t coalesce = dice_.oneOf({0u, 4096u, 65536u, 1u << 20});
  FaultPlan& faults = os_->faults();
  auto refusals = [&faults] {
    return faults.fired(FaultPlan::eOpenMedia) + faults.fired(FaultPlan::eGetInfo) +
           faults.fired(FaultPlan::eCreateEvent);
  };
  bool there = os_->files().hasFile(place.path);
  unsigned refused = refusals();
  unsigned attachFaults = faults.fired(FaultPlan::eAttach) + faults.fired(FaultPlan::eCreatePort);
  handle->longestMerge = coalesce;
  uint32_t result = FsysOpen(&handle->file, place.path, coalesce, writing ? 2 : 1, nullptr);
  trace_.note("open f%u: place %zu for %s, coalesce %u: %u", handle->number,
              static_cast<size_t>(&place - places_.data()), writing ? "writing" : "reading",
              coalesce, result);
  if ((result == 1) != (handle->file != nullptr)) return broken("an open gives a file, or none");
  if (result == 1) return adopt(handle, attachFaults);
  tally_.count(SimTally::eFailedOpens);
  if (refused == refusals() && (there || writing)) broken("an open fails, and nothing was refused");
}

void Simulation::adopt(const Handle& handle, unsigned attachFaults) {
  FaultPlan& faults = os_->faults();
  FsysFile& file = *handle->file;
  handle->sectorSize = file.GetSectorSize();
  handle->async = file.isASyncIOSupported();
  handle->attached = handle->async && attachFaults == faults.fired(FaultPlan::eAttach) +
                                                          faults.fired(FaultPlan::eCreatePort);
  handle->wholeSectors = dice_.chance(60);
  handle->readsNothing = dice_.chance(10);
  if (handle->writing) {
    handle->stream.begin(handle->place->disk.size());
    if (file.GetPosition() != handle->place->disk.size())
      broken("writing does not begin at the end of the file");
  }
  handles_.push_back(handle);
}

// What else happens ------------------------------------------------------------------------------

void Simulation::passOrRun() {
  std::vector<uint32_t> pollers = os_->threads().findAll("fsys poll");
  uint32_t which = dice_.below(3);
  if (which < 2) {
    trace_.note("%s poller passes", which == 0 ? "read" : "write");
    SimTrace::Inside inside(trace_);
    os_->threads().run(pollers[which]);
  } else if (os_->threads().tasks() > 0) {
    trace_.note("a task runs");
    SimTrace::Inside inside(trace_);
    os_->threads().runTask();
  }
}

void Simulation::advance() {
  uint32_t ms = dice_.oneOf({1u, 20u, 60u, 200u});
  trace_.note("%u ms pass", ms);
  SimTrace::Inside inside(trace_);
  os_->advance(ms);
}

void Simulation::changeSetting() {
  bool on = dice_.chance(50);
  switch (dice_.below(4)) {
    case 0:
      trace_.note("immediate handling %d", on);
      return FsysSetImmediateRequestHandling(on);
    case 1:
      trace_.note("network write caching %d", on);
      cachingOn_ = on;
      return FsysSetNetworkWriteCaching(on);
    case 2:
      trace_.note("write speed warning %d", on);
      return FsysSetWriteSpeedWarning(on);
    default: {
      Handle handle = anyHandle(on);
      if (!handle) return;
      uint32_t length = dice_.oneOf({0u, 8192u, 1u << 18});
      trace_.note("coalesce length of f%u is %u", handle->number, length);
      handle->longestMerge = std::max(handle->longestMerge, length);
      if (FsysSetCoalesceLength(handle->file, length) != (handle->state == SimHandle::eOpen))
        broken("a coalesce length is set for an open file alone");
    }
  }
}

void Simulation::disableCache() {
  Handle handle = anyHandle(false);
  if (!handle || handle->state != SimHandle::eOpen || dice_.chance(80)) return;
  trace_.note("cache of f%u disabled", handle->number);
  handle->file->DisableCache();
  handle->cacheDisabled = true;
}

// Errors of which each names its cause.
void Simulation::plan() {
  if (!faulty_) return;
  if (dice_.chance(40)) {
    trace_.note("no faults");
    return os_->faults().clear();
  }
  FaultPlan::eSpan span = dice_.chance(30) ? FaultPlan::eFromThenOn : FaultPlan::eOnce;
  if (dice_.chance(50)) return planStart(span);
  constexpr FaultPlan::eCall kinds[] = {
      FaultPlan::eOpenMedia,  FaultPlan::eGetInfo,    FaultPlan::eGetDisk,     FaultPlan::eAttach,
      FaultPlan::eCreatePort, FaultPlan::eFinishRead, FaultPlan::eFinishWrite, FaultPlan::eWrite,
      FaultPlan::eRead,       FaultPlan::eSettle};
  FaultPlan::eCall kind = dice_.oneOf(kinds);
  uint32_t nth = dice_.between(1, 3);
  trace_.note("call of kind %d fails, from the %u. on, %s", static_cast<int>(kind), nth,
              span == FaultPlan::eOnce ? "once" : "for good");
  os_->faults().fail(kind, eOsIoError, nth, span);
}

void Simulation::planStart(FaultPlan::eSpan span) {
  constexpr FaultPlan::eCall kinds[] = {FaultPlan::eStartRead,      FaultPlan::eStartWrite,
                                        FaultPlan::eAllocateRegion, FaultPlan::eCreateContext,
                                        FaultPlan::ePostTask,       FaultPlan::eCreateTaskQueue,
                                        FaultPlan::eAllocateRegion, FaultPlan::eCreateThread};
  FaultPlan::eCall kind = dice_.oneOf(kinds);
  bool starts = kind == FaultPlan::eStartRead || kind == FaultPlan::eStartWrite;
  uint32_t nth = dice_.between(1, 3);
  trace_.note("start of kind %d is refused, from the %u. on, %s", static_cast<int>(kind), nth,
              span == FaultPlan::eOnce ? "once" : "for good");
  os_->faults().fail(kind, starts ? eOsTooManyFiles : eOsNoMemory, nth, span);
}

void Simulation::changeCapacity() {
  if (!faulty_) return;
  SimPlace& place = places_[dice_.below(kPlaces)];
  bool full = dice_.chance(60);
  place.drive.capacity = full ? place.disk.size() + dice_.below(6000) : UINT64_MAX;
  trace_.note("place %zu has room for %s", static_cast<size_t>(&place - places_.data()),
              full ? std::to_string(place.drive.capacity).c_str() : "all");
  os_->files().setDrive(place.prefix, place.drive);
}
