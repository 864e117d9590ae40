#include "tests/fault/FaultTrial.h"

#include <algorithm>
#include <new>

#include "fsys/MemRef.h"
#include "platform/OS.h"
#include "tests/FsysFilePeer.h"
#include "tests/support/Pattern.h"
#include "tests/support/TestHolder.h"

namespace {

constexpr uint32_t kOk = 1;
constexpr uint32_t kLongestWait_ms = 9000;

}  // namespace

FaultTrial::Text FaultTrial::path(const std::string& name) const {
  bool served = name.rfind("mem:", 0) == 0;
  Text plain = fromUTF8(std::string_view(served ? name.substr(4) : name));
  return served ? Text(L"mem:") + folder_ + plain : folder_ + plain;
}

// What it throws is a refusal too.
template <typename Call>
bool FaultTrial::attempt(const Call& call) {
  FaultWatch watch;
  try {
    return call() == kOk;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void FaultTrial::wrong(const std::string& what) {
  std::lock_guard lock(lock_);
  findings_ += what + "; ";
}

void FaultTrial::expected(bool good, const std::string& what) {
  if (mustSucceed_ && !good) wrong(what + " failed though nothing struck");
}

void FaultTrial::calm() {
  layer_.points().disarm();
  reported_ = reported_ || FsysGetLastError() != kOk;
  OsAtomics::store(FsysError, uint32_t{kOk});
  mustSucceed_ = true;
}

// The engine's life ------------------------------------------------------------------------------

FaultTrial::~FaultTrial() {
  FsysSetImmediateRequestHandling(true);
  end();
  for (const std::string& name : names_) OS()->getFileManager()->deleteFile(path(name));
}

bool FaultTrial::start() {
  if (!changed_) changed_ = OS()->getThreads()->createEvent(0, 0, 0);
  if (!theFsys) attempt([] { return FsysInitialize(); });
  expected(theFsys != nullptr, "the start");
  return theFsys != nullptr;
}

void FaultTrial::end() {
  FaultWatch watch;
  FsysUninitialize(Shutdown::eNormal);
  open_.clear();
}

void FaultTrial::open(const std::string& name, uint32_t flags, uint32_t coalesceLength) {
  if (!theFsys || file(name)) return;
  names_.insert(name);
  FsysFile* opened = nullptr;
  Text whole = path(name);
  bool done = attempt([&] { return FsysOpen(&opened, whole, coalesceLength, flags, nullptr); });
  expected(done, "opening " + name);
  if (!done) return;
  open_.push_back({name, opened});
  next_[name] = opened->GetPosition();
  if (flags != iFileManager::eFlagRead && next_[name] != sizeOf(name))
    wrong("writing does not continue at the end");
}

FsysFile* FaultTrial::file(const std::string& name) const {
  for (const Open& entry : open_)
    if (entry.name == name) return entry.file;
  return nullptr;
}

void FaultTrial::close(const std::string& name) {
  FsysFile* closing = file(name);
  if (!closing) return;
  std::erase_if(open_, [&](const Open& entry) { return entry.file == closing; });
  bool done = attempt([&] { return FsysClose(closing, nullptr); });
  reported_ = reported_ || !done;
  expected(done, "closing " + name);
}

void FaultTrial::closeAll() {
  while (!open_.empty()) close(open_.front().name);
  unsigned outstanding = 0;
  if (FsysGetWriteBytesOutstanding(&outstanding) == kOk && outstanding != 0 && !reported_)
    wrong(std::to_string(outstanding) + " bytes are counted as outstanding");
}

// Requests ---------------------------------------------------------------------------------------

Qv::Ptr<FaultAsked> FaultTrial::asked(const std::string& name, bool write, uint64_t offset,
                                      uint32_t bytes) {
  Qv::Ptr<FaultAsked> request(new FaultAsked(*this, name, write, offset, bytes));
  request->mustSucceed = mustSucceed_;
  std::lock_guard lock(lock_);
  requests_.push_back(request);
  return request;
}

void FaultTrial::settle(const Qv::Ptr<FaultAsked>& request, bool accepted) {
  if (accepted && request->write) next_[request->name] += request->bytes;
  std::lock_guard lock(lock_);
  request->accepted = accepted;
}

void FaultTrial::read(const std::string& name, uint64_t offset, uint32_t bytes,
                      const FaultHow& how) {
  FsysFile* from = file(name);
  if (!from) return;
  Qv::Ptr<FaultAsked> request = asked(name, false, offset, bytes);
  if (how.closes) request->closes = from;
  Qv::Ptr<iObject> context(request.get());
  uint64_t before = from->GetPosition();
  FilePin pin(from);
  bool accepted = attempt([&] {
    return from->DirectRead(static_cast<long>(offset), bytes, how.deferrable, &FaultTrial::told,
                            context);
  });
  if (!how.closes && from->GetPosition() != before + (accepted ? bytes : 0))
    wrong("a read moved the position otherwise");
  settle(request, accepted);
}

void FaultTrial::write(const std::string& name, uint32_t bytes, const FaultHow& how) {
  if (file(name)) writeFrom(name, TestHolder::ofPattern(bytes, next_[name]), how);
}

void FaultTrial::writePieces(const std::string& name, uint32_t bytes, unsigned pieces) {
  if (!file(name)) return;
  const uint64_t begin = next_[name];
  Qv::Ptr<iMemHolder> whole = TestHolder::ofPattern(bytes * pieces, begin);
  for (unsigned i = 0; i < pieces; ++i) {
    // A piece that was refused is not missed: the next one goes where it should have gone.
    auto shift = static_cast<uint32_t>(next_[name] - begin);
    Qv::Ptr<iMemHolder> piece(new MemRef(whole, shift, bytes));
    writeFrom(name, piece, {.deferrable = true});
  }
}

void FaultTrial::writeFrom(const std::string& name, const Qv::Ptr<iMemHolder>& data,
                           const FaultHow& how) {
  FsysFile* to = file(name);
  Qv::Ptr<FaultAsked> request = asked(name, true, next_[name], data->getSize());
  Qv::Ptr<iObject> context(request.get());
  Qv::Ptr<iMemHolder> given = data;
  const uint32_t sector = to->GetSectorSize(), before = FsysFilePeer::cachedBytes(*to);
  request->staged = before != 0 || next_[name] % sector != 0 || data->getSize() % sector != 0;
  request->mayStayUntold = !to->isASyncIOSupported();
  bool accepted = attempt([&] {
    return to->DirectWrite(given, how.deferrable, &FaultTrial::told, context, how.synchronous);
  });
  // A staged write that is refused because the cache cannot be sent is held all the same.
  if (!accepted && FsysFilePeer::cachedBytes(*to) == before + data->getSize())
    next_[name] += data->getSize();
  settle(request, accepted);
}

void FaultTrial::told(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
  FaultPause own;
  auto* request = dynamic_cast<FaultAsked*>(context.get());
  FaultTrial& trial = request->trial;
  std::string why;
  if (status == eRequestSucceeded && !request->write)
    why = data ? trial.whyNotRead(*request, *data) : "a read was told without data";
  if (!why.empty()) trial.wrong(why);
  bool closed = false;
  if (request->closes) closed = trial.attempt([&] { return FsysClose(request->closes, nullptr); });
  {
    std::lock_guard lock(trial.lock_);
    request->closed = closed;
    request->status = status;
    ++request->told;
  }
  trial.changed_->signal();
}

void FaultTrial::readNow(const std::string& name, uint32_t bytes) {
  FsysFile* from = file(name);
  if (!from) return;
  uint64_t offset = from->GetPosition();
  std::vector<unsigned char> buffer(bytes);
  bool done = attempt([&] { return from->Read(buffer.data(), bytes); });
  expected(done, "a synchronous read of " + name);
  FaultAsked request(*this, name, false, offset, bytes);
  if (!done) return;
  std::string why = whyNotRead(request, TestHolder(std::move(buffer)));
  if (!why.empty()) wrong(why);
}

void FaultTrial::writeNow(const std::string& name, uint32_t bytes) {
  FsysFile* to = file(name);
  if (!to) return;
  std::vector<unsigned char> buffer = patternBytes(bytes, next_[name]);
  Qv::Ptr<FaultAsked> request = asked(name, true, next_[name], bytes);
  settle(request, attempt([&] { return to->Write(buffer.data(), bytes); }));
  std::lock_guard lock(lock_);
  request->told = request->accepted ? 1 : 0;
  request->status = eRequestSucceeded;
}

void FaultTrial::seek(const std::string& name, uint64_t offset) {
  FsysFile* moved = file(name);
  if (!moved) return;
  attempt([&] { return moved->Seek(static_cast<long>(offset), eSeekFromStart); });
  next_[name] = offset;
}

bool FaultTrial::allAnswered() {
  std::lock_guard lock(lock_);
  for (const Qv::Ptr<FaultAsked>& request : requests_)
    if (request->accepted && request->told == 0 && !request->mayStayUntold) return false;
  return true;
}

void FaultTrial::wait() {
  double end = Qv::now() + kLongestWait_ms;
  while (!allAnswered()) {
    double left = end - Qv::now();
    if (left <= 0) return wrong("an accepted request was not answered in time");
    // What else is going on may do so on this thread.
    FaultWatch watch;
    changed_->wait(static_cast<uint32_t>(left) + 1);
  }
  std::lock_guard lock(lock_);
  for (const Qv::Ptr<FaultAsked>& request : requests_)
    if (request->closed)
      std::erase_if(open_, [&](const Open& entry) { return entry.file == request->closes; });
}

// The model --------------------------------------------------------------------------------------

void FaultTrial::put(const std::string& name, uint64_t bytes) {
  names_.insert(name);
  iFileManager* files = OS()->getFileManager();
  Text whole = path(name);
  Qv::Ptr<iFile> made = files->isServed(whole)
                            ? files->openServed(whole, iFileManager::eFlagWrite, true)
                            : files->openFile(whole, iFileManager::eAccessWrite,
                                              iFileManager::eCreateOrReplace, 0, 0);
  uint32_t done = 0;
  std::vector<unsigned char> content = patternBytes(bytes);
  if (!made || made->writeAt(0, content.data(), static_cast<uint32_t>(bytes), &done) != kOk)
    wrong(name + " could not be prepared");
}

uint64_t FaultTrial::sizeOf(const std::string& name) const {
  uint64_t bytes = 0;
  OS()->getFileManager()->getFileSize(path(name), bytes);
  return bytes;
}

std::vector<unsigned char> FaultTrial::content(const std::string& name) const {
  iFileManager* files = OS()->getFileManager();
  Text whole = path(name);
  Qv::Ptr<iFile> there = files->isServed(whole)
                             ? files->openServed(whole, iFileManager::eFlagRead, false)
                             : files->openFile(whole, iFileManager::eAccessRead, 0, 0, 0);
  std::vector<unsigned char> bytes(there ? there->getSize() : 0);
  uint32_t done = 0;
  if (there) there->readAt(0, bytes.data(), static_cast<uint32_t>(bytes.size()), &done);
  return bytes;
}

std::string FaultTrial::whyNotRead(const FaultAsked& request, const iMemHolder& data) const {
  if (data.getSize() != request.bytes) return "a read was told with another length";
  const unsigned char* bytes = data.getBuffer();
  uint64_t size = sizeOf(request.name);
  uint64_t there =
      request.offset < size ? std::min<uint64_t>(request.bytes, size - request.offset) : 0;
  if (readsEndEarly_) {
    // As if the file ended somewhere: behind that point there is nothing but zeros.
    uint64_t last = request.bytes;
    while (last > 0 && bytes[last - 1] == 0) --last;
    there = std::min(there, last);
  }
  return whyNotPattern(bytes, there, request.offset) +
         whyNotZeros(bytes + there, request.bytes - there);
}

std::string FaultTrial::whyNot(const FaultAsked& request) {
  const std::string what = (request.write ? "a write of " : "a read of ") + request.name;
  bool isUntold = request.accepted && request.told == 0 && request.mayStayUntold;
  if (!isUntold && request.told != (request.accepted ? 1 : 0))
    return what + (request.accepted ? " was accepted" : " was refused") + " and told " +
           std::to_string(request.told) + " times; ";
  bool succeeded = request.accepted && (isUntold || request.status == eRequestSucceeded);
  if (request.mustSucceed && !succeeded) return what + " failed though nothing struck; ";
  if (!request.write || !succeeded) return "";
  std::vector<unsigned char> there = content(request.name);
  bool isThere =
      there.size() >= request.offset + request.bytes &&
      whyNotPattern(there.data() + request.offset, request.bytes, request.offset).empty();
  if (isThere || (request.staged && reported_)) return "";
  return what + " at " + std::to_string(request.offset) +
         " was told as a success and is not there" +
         (request.staged ? ", and no failure was reported; " : "; ");
}

std::string FaultTrial::findings() {
  std::lock_guard lock(lock_);
  std::string all = findings_;
  for (const Qv::Ptr<FaultAsked>& request : requests_) {
    all += whyNot(*request);
    if (request->refCount() != 1) all += "a request's context is still held; ";
  }
  return all;
}
