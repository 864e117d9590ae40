#include "fuzz/EngineDriver.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "fsys/DiskManager.h"
#include "fuzz/Require.h"
#include "tests/support/Pattern.h"
#include "tests/support/TestHolder.h"

// Question: a read or a write that was asked for, and how often it was answered.
class Question : public iObject {
public:
  enum eThen : uint32_t { eNothing, eAskAgain, eClose, eKinds };

  EngineDriver* driver = nullptr;
  EngineDriver::Place* place = nullptr;
  bool reading = false;
  uint64_t offset = 0;
  uint32_t length = 0;
  eThen then = eNothing;
  bool accepted = false;
  unsigned answers = 0;

  static void told(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
    static_cast<Question&>(*context).answer(data, status);
  }

private:
  void answer(const Qv::Ptr<iMemHolder>& data, RequestStatus status) {
    require(++answers == 1, "a request is answered once");
    if (status != eRequestSucceeded) {
      require(!data, "a failure has no data");
      if (!reading) place->known = false;
    } else if (reading) {
      require(static_cast<bool>(data), "a read that succeeds has data");
      driver->checkBytes(*place, offset, *data, length);
    }
    if (then == eAskAgain && reading) driver->askAgain(*place, offset, length);
    if (then == eClose) driver->closeFromCallback(*place);
  }
};

namespace {

constexpr uint32_t kCoalesce = 1 << 18;
constexpr uint32_t kLargest = 1 << 19;  // beyond what the write cache holds
constexpr uint32_t kNearby = 16;
constexpr uint32_t kUsual = 1 << 13;
constexpr uint64_t kLeastContent = 1 << 12;

Qv::Ptr<Question> ask(EngineDriver* driver, bool reading) {
  Qv::Ptr<Question> question(new Question);
  question->driver = driver;
  question->reading = reading;
  return question;
}

}  // namespace

EngineDriver::EngineDriver(InputBytes input) : input_(input), held_(input_.flag()) {
  os_->files().setDrive(L"/large/", {.sectorSize = 4096});
  os_->files().setDrive(L"/net/", {.type = iDiskDrive::eNetwork});
  const wchar_t* names[kPlaces] = {L"/media/a", L"/large/b", L"/net/c", L"/media/d"};
  for (uint32_t i = 0; i < kPlaces; ++i) {
    places_[i].path = LightweightString<wchar_t>(names[i]);
    places_[i].content = patternBytes(kLeastContent + input_.number(2), 0, i);
    os_->files().addFile(places_[i].path, places_[i].content);
  }
  require(FsysInitialize() == 1, "the engine starts");
  os_->asyncIo().hold(held_);
}

EngineDriver::~EngineDriver() {
  Fsys::BufferSpace_ = nullptr;
  DiskManager::deInit();
  FsysSetNetworkWriteCaching(false);
  FsysSetImmediateRequestHandling(true);
  OsAtomics::store(FsysError, 1u);
}

void EngineDriver::run() {
  for (size_t done = 0; !input_.empty() && done < kMostOperations; ++done) step();
  finishAll();
}

void EngineDriver::step() {
  switch (input_.below(16)) {
    case 0:
    case 1:
      return open(anyPlace());
    case 2:
      return close(anyPlace());
    case 3:
    case 4:
    case 5:
      return read(anyPlace());
    case 6:
    case 7:
    case 8:
      return write(anyPlace());
    case 9:
      for (uint32_t poller : os_->threads().findAll("fsys poll")) os_->threads().run(poller);
      return;
    case 10:
    case 11:
      return endTransfer();
    case 12:
      return plan();
    case 13:
      held_ = !held_;
      os_->asyncIo().hold(held_);
      return;
    case 14:
      return os_->advance(static_cast<double>(input_.number(1)));
    default:
      if (input_.flag())
        FsysSetImmediateRequestHandling(input_.flag());
      else
        FsysSetNetworkWriteCaching(input_.flag());
  }
}

void EngineDriver::open(Place& place) {
  if (place.file || place.leaving) return;
  place.writing = input_.flag();
  uint32_t opened = FsysOpen(&place.file, place.path, kCoalesce, place.writing ? 2 : 1, nullptr);
  require((opened == 1) == (place.file != nullptr), "an open file is given, or none");
  if (place.file && place.writing && planned_) place.known = false;
}

void EngineDriver::close(Place& place) {
  if (!place.file) return;
  if (place.writing && held_) place.known = false;
  require(FsysClose(std::exchange(place.file, nullptr), nullptr) == 1, "a file can be closed");
  if (place.known)
    require(os_->files().bytesOf(place.path) == place.content, "a file holds what was written");
}

uint64_t EngineDriver::anyOffset(const Place& place) {
  switch (input_.below(4)) {
    case 0:
      return input_.number(8);
    case 1:
      return place.content.size() - std::min<uint64_t>(input_.number(1), place.content.size());
    case 2:
      return input_.number(2);
    default:
      // Beside the one before: where requests meet, and where the engine has the bytes already.
      return questions_.empty() ? 0 : questions_.back()->offset + input_.number(1) % kNearby;
  }
}

uint32_t EngineDriver::anyReadLength() {
  switch (input_.below(4)) {
    case 0:
      return std::numeric_limits<uint32_t>::max() - static_cast<uint32_t>(input_.number(1));
    case 1:
      return static_cast<uint32_t>(input_.number(3)) % kLargest;
    default:
      return static_cast<uint32_t>(input_.number(2)) % kUsual;
  }
}

uint32_t EngineDriver::anyWriteLength() {
  switch (input_.below(4)) {
    case 0:
      return static_cast<uint32_t>(input_.number(3)) % kLargest;
    case 1:
      return static_cast<uint32_t>(input_.number(1)) * 512;
    default:
      return static_cast<uint32_t>(input_.number(2));
  }
}

void EngineDriver::read(Place& place) {
  if (!place.file) return;
  Qv::Ptr<Question> question = ask(this, true);
  question->place = &place;
  question->offset = anyOffset(place);
  question->length = anyReadLength();
  question->then = static_cast<Question::eThen>(input_.below(Question::eKinds));
  bool deferrable = input_.flag();
  questions_.push_back(question);
  Qv::Ptr<iObject> context = question;
  question->accepted = place.file->DirectRead(static_cast<long>(question->offset), question->length,
                                              deferrable, &Question::told, context) == 1;
}

void EngineDriver::write(Place& place) {
  if (!place.file) return;
  Qv::Ptr<Question> question = ask(this, false);
  question->place = &place;
  question->length = anyWriteLength();
  question->then = static_cast<Question::eThen>(input_.below(Question::eKinds));
  bool deferrable = input_.flag();
  bool synchronous = input_.flag();
  Qv::Ptr<iMemHolder> data =
      TestHolder::ofPattern(question->length, place.content.size(), questions_.size());
  std::vector<unsigned char> bytes(data->getBuffer(), data->getBuffer() + question->length);
  questions_.push_back(question);
  Qv::Ptr<iObject> context = question;
  // Some writes wait for a transfer, which must then be able to end.
  os_->asyncIo().hold(false);
  question->accepted =
      place.file->DirectWrite(data, deferrable, &Question::told, context, synchronous) == 1;
  os_->asyncIo().hold(held_);
  if (question->accepted)
    place.content.insert(place.content.end(), bytes.begin(), bytes.end());
  else if (place.writing)
    place.known = false;
}

void EngineDriver::endTransfer() {
  FakeAsyncIo& transfers = os_->asyncIo();
  if (transfers.pending().empty()) return;
  size_t index = input_.below(static_cast<uint32_t>(transfers.pending().size()));
  switch (input_.below(4)) {
    case 0:
      if (transfers.pending()[index].write) loseWrites();
      transfers.fail(index, eOsIoError, static_cast<uint32_t>(input_.number(2)));
      return;
    case 1:
      if (transfers.pending()[index].write) loseWrites();
      return transfers.stall(index);
    default:
      transfers.finish(index);
  }
}

void EngineDriver::plan() {
  constexpr FaultPlan::eCall kinds[] = {
      FaultPlan::eOpenMedia,      FaultPlan::eGetInfo,       FaultPlan::eRead,
      FaultPlan::eWrite,          FaultPlan::eAttach,        FaultPlan::eStartRead,
      FaultPlan::eStartWrite,     FaultPlan::eFinishRead,    FaultPlan::eFinishWrite,
      FaultPlan::eAllocateRegion, FaultPlan::eCreateContext, FaultPlan::ePostTask};
  planned_ = input_.flag();
  if (!planned_) return os_->faults().clear();
  loseWrites();
  os_->faults().fail(kinds[input_.below(std::size(kinds))], eOsIoError, 1 + input_.below(4),
                     input_.flag() ? FaultPlan::eFromThenOn : FaultPlan::eOnce);
}

// From here on something may go wrong with what is being written.
void EngineDriver::loseWrites() {
  for (Place& place : places_)
    if (place.writing && (place.file || place.leaving)) place.known = false;
}

void EngineDriver::checkBytes(const Place& place, uint64_t offset, const iMemHolder& data,
                              uint32_t length) {
  require(data.getSize() == length, "a read gives as many bytes as were asked for");
  if (!place.known) return;
  const unsigned char* bytes = data.getBuffer();
  for (uint32_t i = 0; i < length; ++i) {
    uint64_t at = offset + i;
    unsigned char right = at >= offset && at < place.content.size() ? place.content[at] : 0;
    require(bytes[i] == right, "a read gives the file's bytes, and zeros behind its end");
  }
}

void EngineDriver::askAgain(Place& place, uint64_t offset, uint32_t length) {
  if (!place.file) return;
  Qv::Ptr<Question> question = ask(this, true);
  question->place = &place;
  question->offset = offset + length;
  question->length = length;
  questions_.push_back(question);
  Qv::Ptr<iObject> context = question;
  question->accepted = place.file->DirectRead(static_cast<long>(question->offset), length, false,
                                              &Question::told, context) == 1;
}

void EngineDriver::closeFromCallback(Place& place) {
  if (!place.file) return;
  if (place.writing) place.known = false;
  place.leaving = true;
  FsysFile* const file = std::exchange(place.file, nullptr);
  if (FsysClose(file, nullptr) == 1) return;
  require(os_->faults().fired(FaultPlan::ePostTask) != 0, "a callback can close its file");
  place.leaving = false;
  place.file = file;  // which stays open where no thread takes it to close
}

void EngineDriver::finishAll() {
  for (Place& place : places_) close(place);
  FsysUninitialize(Shutdown::eNormal);
  os_->asyncIo().finishAll();
  while (os_->asyncIo().finish()) continue;  // those that had stalled
  for (const Qv::Ptr<Question>& question : questions_)
    require(question->answers == (question->accepted ? 1u : 0u),
            "what was accepted is answered, and nothing else");
  questions_.clear();
  require(os_->files().liveFiles() == 0, "no file of the system's is left open");
  require(os_->memory().bytesInUse() == 0, "all memory is given back");
}
