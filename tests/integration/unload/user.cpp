// A plug-in that uses the library: its unloading unloads the library too.

#include <atomic>
#include <thread>

#include "fsys/Fsys.h"
#include "fsys/NetLogin.h"
#include "fsys/SystemCache.h"
#include "platform/OS.h"
#include "tests/support/Pattern.h"

namespace {

constexpr unsigned kBlock = 65536;
constexpr unsigned kBlocks = 16;

std::atomic<unsigned> told{0};
std::atomic<unsigned> wrong{0};

class Place : public iObject {
public:
  explicit Place(uint64_t begin) : begin_(begin) {}
  uint64_t begin() const { return begin_; }

private:
  const uint64_t begin_;
};

void check(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
  uint64_t begin = static_cast<Place*>(context.get())->begin();
  bool good = status == eRequestSucceeded && data && data->getSize() == kBlock;
  if (!good || !whyNotPattern(data->getBuffer(), kBlock, begin).empty()) ++wrong;
  ++told;
}

// Whether this machine's own disk tells how much it holds: it is asked on a thread of its own.
bool isSpaceTold() {
  Qv::Ptr<iDiskDrive> drive = OS()->getFileManager()->getDisk(L"/");
  uint64_t freeBytes = 0;
  uint64_t totalBytes = 0;
  return drive && drive->getSpace(freeBytes, totalBytes);
}

// Both are left to the unloading.
struct Ear : iCallbackBase<int, NotifyMsg> {
  int callback(NotifyMsg) override {
    isTold = true;
    return 0;
  }
  bool isTold = false;
};

bool isTellingOfFiles() {
  Ear* ear = new Ear;
  SystemCache::instance().add(SystemCache::fileAddedMsgType_, Notifier::Listener(ear));
  const Cookie cookie(L"V4K7Q2M9A00");
  SystemCache::addFile(cookie, {MaterialFilename(DriveId('1'), L"/Material/a.mov"), 1000}, true);
  return ear->isTold && SystemCache::fileSize(cookie) == 1000;
}

// A library that was just loaded knows of no login: a file that lies there is another's.
bool isLoggedOut(const char* shared) {
  if (lockFilehandle) return false;
  if (!shared) return true;
  const LightweightString<wchar_t> name = getNetLoginLockFileName(fromUTF8(shared));
  iFileManager* files = OS()->getFileManager();
  files->openFile(name, iFileManager::eAccessReadWrite, iFileManager::eOpenOrCreate, 0, 0);
  return NetLogout() == 1 && files->exists(name);
}

bool isLoggedIn(const char* shared) { return NetLogin(fromUTF8(shared)) == 1 && lockFilehandle; }

}  // namespace

// Asks the disk for its space, tells the catalogue of a file, logs in to the shared folder if there
// is one, and reads a file of pattern bytes. 0 when all of it is right; otherwise what went wrong.
// `waits` for the reads. `shutsDown`: logs out, closes the file and ends the engine; otherwise all
// that is left to the unloading.
extern "C" __attribute__((visibility("default"))) int useEngine(const char* path,
                                                                const char* shared, bool waits,
                                                                bool shutsDown) {
  if (!isSpaceTold()) return 7;
  if (!isTellingOfFiles()) return 8;
  if (!isLoggedOut(shared)) return 11;
  if (shared && !isLoggedIn(shared)) return 9;
  if (FsysInitialize() != 1) return 2;
  FsysFile* file = nullptr;
  if (FsysOpen(&file, fromUTF8(path), 0, 1, nullptr) != 1) return 3;
  for (unsigned i = 0; i < kBlocks; ++i) {
    Qv::Ptr<iObject> place(new Place(uint64_t{i} * kBlock));
    if (file->DirectRead(long{i} * kBlock, kBlock, false, &check, place) != 1) return 4;
  }
  while (waits && told < kBlocks) std::this_thread::yield();
  if (!shutsDown) return 0;
  if (NetLogout() != 1) return 10;
  if (FsysClose(file, nullptr) != 1) return 6;
  FsysUninitialize(Shutdown::eNormal);
  return waits && wrong != 0 ? 5 : 0;
}
