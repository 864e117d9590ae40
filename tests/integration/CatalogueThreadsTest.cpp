// The catalogue as several threads begin with it.

#include <barrier>
#include <string>
#include <thread>
#include <vector>

#include "tests/integration/CatalogueFixture.h"

namespace {

constexpr unsigned kThreads = 4;
constexpr unsigned kFiles = 200;
constexpr unsigned kTurns = 20;

class CatalogueThreadsTest : public CatalogueFixture {};

}  // namespace

TEST_F(CatalogueThreadsTest, WhenSeveralHaveInitialisedItTheCatalogueIsWhole) {
  Paths expected;
  const std::string drive = madeDrive("drive");
  for (unsigned channel = 0; channel < kFiles; ++channel) {
    const Cookie each =
        convertCookie(cookie("V4K7Q2M9A00"), eCookieVision, static_cast<uint8_t>(channel));
    expected.emplace_back(each.asString(true).view());
    scratch_.put("drive/Material/" + expected.back() + ".mov", "media");
  }
  ASSERT_TRUE(add(drive));
  for (unsigned turn = 0; turn < kTurns; ++turn) {
    SystemCache::invalidate();
    std::barrier begin(kThreads);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i)
      threads.emplace_back([&begin] {
        begin.arrive_and_wait();
        SystemCache::initialise(true);
      });
    for (std::thread& thread : threads) thread.join();
    ASSERT_EQ(known(), expected) << turn;
  }
  SystemCache::invalidate();
  SystemCache::initialise(false);
  EXPECT_TRUE(known().empty()) << "it is initialised, and not scanned again";
}
