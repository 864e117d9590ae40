// The catalogue as several threads begin with it.

#include <algorithm>
#include <barrier>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/integration/CatalogueFixture.h"

// Sees the private state.
struct SystemCachePeer {
  static void setInitialised(bool isInitialised) { SystemCache::isInitialised_.set(isInitialised); }
};

namespace {

constexpr unsigned kThreads = 4;
constexpr unsigned kFiles = 200;
constexpr unsigned kTurns = 20;

class CatalogueThreadsTest : public CatalogueFixture {
protected:
  // A registered drive that the catalogue does not know yet.
  void SetUp() override {
    CatalogueFixture::SetUp();
    drive_ = madeDrive("drive");
    for (unsigned channel = 0; channel < kFiles; ++channel) {
      const Cookie each =
          convertCookie(cookie("V4K7Q2M9A00"), eCookieVision, static_cast<uint8_t>(channel));
      expected_.emplace_back(each.asString(true).view());
      scratch_.put("drive/Material/" + expected_.back() + ".mov", "media");
    }
    ASSERT_TRUE(add(drive_));
    SystemCache::invalidate();
    diagnostics_.clear();
  }
  void TearDown() override {
    SystemCachePeer::setInitialised(true);
    CatalogueFixture::TearDown();
  }

  static void together(const std::function<void()>& act) {
    std::barrier begin(kThreads);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i)
      threads.emplace_back([&] {
        begin.arrive_and_wait();
        act();
      });
    for (std::thread& thread : threads) thread.join();
  }
  // How many entries hold more than their one file.
  static unsigned withProxies() {
    unsigned found = 0;
    SystemCache::enumerate([&found](const Cookie&, const FsysDirectoryEntry& entry) {
      found += entry.hasProxies() ? 1 : 0;
      return true;
    });
    return found;
  }
  // How often the drive was scanned since they were cleared.
  long scans() const {
    const std::vector<std::string> lines = diagnostics_.logBoth();
    return std::count(lines.begin(), lines.end(),
                      "Added media location : " + drive_ + "/Material/\n");
  }

  std::string drive_;
  Paths expected_;
};

}  // namespace

TEST_F(CatalogueThreadsTest, WhenSeveralHaveInitialisedItTheCatalogueIsWhole) {
  for (unsigned turn = 0; turn < kTurns; ++turn) {
    SystemCache::invalidate();
    together([] { SystemCache::initialise(true); });
    ASSERT_EQ(known(), expected_) << turn;
    ASSERT_EQ(withProxies(), 0u) << turn << ": a file that is merged twice displaces itself";
  }
  SystemCache::invalidate();
  SystemCache::initialise(false);
  EXPECT_TRUE(known().empty()) << "it is initialised, and not scanned again";
}

TEST_F(CatalogueThreadsTest, OfSeveralThatWantItInitialisedOneScansAndTheOthersWaitForIt) {
  for (unsigned turn = 0; turn < kTurns; ++turn) {
    SystemCache::invalidate();
    diagnostics_.clear();
    SystemCachePeer::setInitialised(false);
    together([this] {
      SystemCache::initialise(false);
      EXPECT_EQ(known(), expected_);
    });
    ASSERT_EQ(scans(), 1) << turn;
  }
}
