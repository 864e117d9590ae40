// What the commands of one batch start, on a ring.

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "platform/OS.h"
#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/AsyncTester.h"

namespace {

constexpr uint32_t kShort = 4096;

class LinuxRingBatchTest : public LinuxFileFixture {
protected:
  void SetUp() override {
    iAsyncIo::Description port = OS()->getAsyncIo()->describe();
    if (!port.ring) GTEST_SKIP() << "no ring here: " << port.why;
  }

  // Whether the system fills the buffer while its end cannot be reported yet.
  static bool arrives(const AsyncTester::Request& request) {
    const volatile unsigned char& last = request.buffer[kShort - 1];
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (last == AsyncTester::kFill && std::chrono::steady_clock::now() < deadline)
      std::this_thread::yield();
    return last != AsyncTester::kFill;
  }
};

// Two reads are started together and mostly end together: whose command comes first starts another,
// for which the second one waits. Where they end apart nothing is asked of the port.
TEST_F(LinuxRingBatchTest, AShortReadGoesToAnIdleSystemBeforeTheNextCommandIsExecuted) {
  folder_.put("clip", std::string(size_t{4} * kShort, 'c'));
  for (int turn = 0; turn < 20; ++turn) {
    AsyncTester tester;
    Qv::Ptr<iFile> file = openToRead(folder_ / "clip", Manager::eModeDirect | Manager::eModeAsync);
    ASSERT_TRUE(file && file->attach(tester.handler()) == 1);
    AsyncTester::Request opening(kShort), one(kShort), other(kShort), next(kShort);
    int commands = 0;
    bool arrived = false;
    auto startOrLook = [&](AsyncTester::Request&) {
      if (commands++ == 0)
        tester.read(file, next, 0);
      else
        arrived = arrives(next);
    };
    one.then = other.then = startOrLook;
    opening.then = [&](AsyncTester::Request&) {
      tester.read(file, one, kShort);
      tester.read(file, other, uint64_t{2} * kShort);
    };
    ASSERT_EQ(tester.read(file, opening, uint64_t{3} * kShort), 1u);
    tester.waitFor(4);
    ASSERT_TRUE(arrived) << "turn " << turn;
  }
}

}  // namespace
