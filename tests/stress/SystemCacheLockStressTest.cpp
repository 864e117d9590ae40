// Nobody gets into the catalogue while somebody is in the middle of it. A lock that is left for a
// moment is not always taken by others: hence the turns.

#include <atomic>
#include <thread>

#include "tests/SystemCacheFixture.h"

namespace {

// Emptier: two other threads, which empty the catalogue at the first moment at which they can. One
// waits for the lock, so that it takes a while to leave it; the other tries without a rest.
class Emptier {
public:
  ~Emptier() { wait(); }
  Emptier() = default;
  Emptier(const Emptier&) = delete;
  Emptier& operator=(const Emptier&) = delete;

  // At the first call. Who calls does not rest either, and so runs beside the one that tries.
  void start() {
    if (trying_.joinable()) return;
    waiting_ = std::thread([] { SystemCache::invalidate(); });
    trying_ = std::thread([this] {
      isAtIt_ = true;
      while (!SystemCachePeer::tryInvalidate()) continue;
    });
    while (!isAtIt_) continue;
  }
  void wait() {
    if (!trying_.joinable()) return;
    waiting_.join();
    trying_.join();
  }

private:
  std::atomic<bool> isAtIt_{false};
  std::thread waiting_;
  std::thread trying_;
};

class SystemCacheLockOnTheFake : public SystemCacheFixture {};

TEST_F(SystemCacheLockOnTheFake, NobodyGetsInBetweenTheFilesOfAFolder) {
  constexpr unsigned kTurns = 100;
  constexpr unsigned kFiles = 40;
  for (unsigned i = 0; i < kFiles; ++i) {
    const Cookie file = convertCookie(kVision, eCookieVision, static_cast<uint8_t>(i));
    put(Text(L"/m/Material/") + file.asWString() + L".mov");
  }
  SystemCachePeer::setDebug(1);
  for (unsigned turn = 0; turn < kTurns; ++turn) {
    Emptier emptier;
    DiagnosticSinks sinks;
    sinks.log = [&emptier](const std::string& line) {
      if (line.starts_with("added")) emptier.start();
    };
    const DiagnosticSinks before = setDiagnosticSinks(sinks);
    SystemCache::addDirectory(MaterialFilename(DriveId('1'), L"/Material/"));
    emptier.wait();
    setDiagnosticSinks(before);
    ASSERT_EQ(catalogued(), Cookies{}) << turn << ": all were there before it was emptied";
  }
}

// What is said of a cookie that is no media's is said with the lock held, before the file is added.
TEST_F(SystemCacheLockOnTheFake, NobodyGetsInBetweenAFileThatIsAddedAndItsListeners) {
  constexpr unsigned kTurns = 50;
  unsigned heard = 0;
  hear(SystemCache::fileAddedMsgType_, [&heard](const NotifyMsg&) {
    ++heard;
    EXPECT_EQ(catalogued().size(), 1u);
  });
  for (unsigned turn = 0; turn < kTurns; ++turn) {
    if (turn % 2 != 0) add(Cookie(), L"/Material/a.mov");
    Emptier emptier;
    DiagnosticSinks sinks;
    sinks.out = [&emptier](const std::string&) { emptier.start(); };
    const DiagnosticSinks before = setDiagnosticSinks(sinks);
    SystemCache::addFile(Cookie(), info(L"/Material/b.mov"), true);
    emptier.wait();
    setDiagnosticSinks(before);
    ASSERT_EQ(catalogued(), Cookies{}) << turn;
  }
  EXPECT_EQ(heard, kTurns);
}

}  // namespace
