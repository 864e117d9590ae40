#include "platform/linux/LinuxAsyncIo.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/OS.h"
#include "platform/linux/AsyncOperation.h"
#include "platform/linux/LinuxFile.h"
#include "platform/linux/LinuxFileManager.h"
#include "platform/linux/RingPort.h"
#include "tests/support/AlignedBuffer.h"
#include "tests/support/AsyncTester.h"
#include "tests/support/Pattern.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/WideBuffer.h"

namespace {

constexpr uint32_t kBlock = 65536;

// Each test runs over a ring and over threads.
class LinuxAsyncIoTest : public ::testing::TestWithParam<const char*> {
protected:
  LinuxAsyncIoTest() : choice_("FSYS_IO", GetParam()) {}

  void SetUp() override {
    bool wantsRing = std::strcmp(GetParam(), "ring") == 0;
    iAsyncIo::Description port = linuxAsyncIo()->describe();
    if (wantsRing && !port.ring) GTEST_SKIP() << "no ring here: " << port.why;
    ASSERT_EQ(port.ring, wantsRing);
  }

  void putPattern(const char* name, size_t bytes) {
    std::string text(bytes, '\0');
    fillPattern(text.data(), bytes, 0);
    folder_.put(name, text);
  }
  Qv::Ptr<iFile> open(const char* name, bool write = false, unsigned mode = 3) {
    unsigned flags = write ? 3u : 1u;
    return linuxFileManager()->openMedia(folder_ / name, flags, write, 4, mode);
  }
  Qv::Ptr<iFile> openAttached(const char* name, AsyncTester& tester, bool write = false,
                              unsigned mode = 3) {
    Qv::Ptr<iFile> file = open(name, write, mode);
    if (file && file->attach(tester.handler()) != 1) file.reset();
    return file;
  }

  ScratchFolder folder_;
  ScopedEnvironment choice_;
};

INSTANTIATE_TEST_SUITE_P(Ports, LinuxAsyncIoTest, ::testing::Values("ring", "threads"),
                         [](const auto& port) { return std::string(port.param); });

TEST_P(LinuxAsyncIoTest, ThePortSaysWhatItIsAndWhy) {
  iAsyncIo::Description port = linuxAsyncIo()->describe();
  if (port.ring) {
    EXPECT_STREQ(port.why, "");
    EXPECT_EQ(port.inFlightLimit, 256u);
  } else {
    EXPECT_STREQ(port.why, "FSYS_IO=threads");
    EXPECT_EQ(port.inFlightLimit, 3u);
  }
}

TEST_P(LinuxAsyncIoTest, AReadIsReportedOnceWithItsRequestOnTheHandlersOwnThread) {
  putPattern("clip", kBlock);
  AsyncTester tester("my handler name");
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  AsyncTester::Request request(kBlock);
  std::string name;
  request.then = [&](AsyncTester::Request&) {
    char text[32] = {};
    pthread_getname_np(pthread_self(), text, sizeof(text));
    name = text;
  };
  ASSERT_EQ(tester.read(file, request, 0), 1u);
  tester.waitFor(1);
  EXPECT_EQ(name, "my handler name");
  EXPECT_TRUE(request.succeeded);
  EXPECT_EQ(request.bytes, kBlock);
  EXPECT_EQ("", whyNotPattern(request.buffer.data(), kBlock, 0));
  EXPECT_EQ(request.reports, 1);
}

TEST_P(LinuxAsyncIoTest, WhatIsWrittenIsThereWhenItIsReported) {
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester, true);
  ASSERT_TRUE(file);
  std::vector<std::unique_ptr<AsyncTester::Request>> requests;
  for (unsigned i = 0; i < 8; ++i) {
    requests.push_back(std::make_unique<AsyncTester::Request>(kBlock));
    fillPattern(requests[i]->buffer.data(), kBlock, uint64_t{i} * kBlock);
    ASSERT_EQ(tester.write(file, *requests[i], uint64_t{i} * kBlock), 1u);
  }
  tester.waitFor(8);
  for (auto& request : requests) EXPECT_TRUE(request->succeeded);
  std::string content = folder_.content("clip");
  EXPECT_EQ(content.size(), 8u * kBlock);
  EXPECT_EQ("", whyNotPattern(content.data(), content.size(), 0));
}

TEST_P(LinuxAsyncIoTest, UnalignedAddressesOffsetsAndLengthsAreTransferredRight) {
  putPattern("clip", 4 * 4096);
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  unsigned started = 0;
  for (uint32_t shift : {0u, 1u, 512u}) {
    for (uint64_t offset : {0u, 1u, 4095u, 4096u}) {
      for (uint32_t bytes : {1u, 511u, 4096u, 4097u}) {
        AsyncTester::Request request(8192);
        ASSERT_EQ(tester.read(file, request, offset, bytes, shift), 1u);
        tester.waitFor(++started);
        ASSERT_TRUE(request.succeeded);
        ASSERT_EQ(request.bytes, bytes);
        ASSERT_EQ("", whyNotPattern(request.buffer.data() + shift, bytes, offset));
        ASSERT_EQ(request.buffer[shift + bytes], AsyncTester::kFill);
      }
    }
  }
}

TEST_P(LinuxAsyncIoTest, AReadOverTheEndIsShortAndItsRestIsZero) {
  putPattern("clip", 5000);
  AsyncTester tester;
  for (unsigned mode : {2u, 3u}) {
    Qv::Ptr<iFile> file = openAttached("clip", tester, false, mode);
    ASSERT_TRUE(file);
    AsyncTester::Request request(16384);
    ASSERT_EQ(tester.read(file, request, 0), 1u);
    tester.waitFor(mode - 1);
    EXPECT_TRUE(request.succeeded);
    EXPECT_EQ(request.bytes, 5000u);
    EXPECT_EQ("", whyNotPattern(request.buffer.data(), 5000, 0));
    EXPECT_EQ("", whyNotZeros(request.buffer.data() + 5000, 16384 - 5000));
    EXPECT_EQ(request.buffer[16384], AsyncTester::kFill);
  }
}

TEST_P(LinuxAsyncIoTest, AReadPastTheEndAndAnEmptyOneAreReportedWithNoBytes) {
  putPattern("clip", 4096);
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester, true);
  ASSERT_TRUE(file);
  AsyncTester::Request past(4096), empty(4096), emptyWrite(4096);
  ASSERT_EQ(tester.read(file, past, uint64_t{1} << 40), 1u);
  ASSERT_EQ(tester.read(file, empty, 0, 0), 1u);
  ASSERT_EQ(tester.write(file, emptyWrite, 0, 0), 1u);
  tester.waitFor(3);
  for (auto* request : {&past, &empty, &emptyWrite}) {
    EXPECT_TRUE(request->succeeded);
    EXPECT_EQ(request->bytes, 0u);
  }
  EXPECT_EQ("", whyNotZeros(past.buffer.data(), 4096));
  EXPECT_EQ(folder_.content("clip").size(), 4096u);
}

TEST_P(LinuxAsyncIoTest, AFailureIsReportedWithTheThreadsLastError) {
  putPattern("clip", kBlock);
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester, false, 2);
  ASSERT_TRUE(file);
  AsyncTester::Request request(kBlock);
  auto* nowhere = reinterpret_cast<unsigned char*>(uintptr_t{4096});
  ASSERT_EQ(tester.readTo(file, request, 0, nowhere, 4096), 1u);
  tester.waitFor(1);
  EXPECT_FALSE(request.succeeded);
  EXPECT_EQ(request.error, eOsErrorBase + EFAULT);
  AsyncTester::Request good(kBlock);
  ASSERT_EQ(tester.read(file, good, 0), 1u);
  tester.waitFor(2);
  EXPECT_TRUE(good.succeeded);
}

TEST_P(LinuxAsyncIoTest, WhatCannotBeStartedSaysSoAndReportsNothing) {
  putPattern("clip", kBlock);
  AsyncTester tester;
  Qv::Ptr<iFile> unattached = open("clip");
  AsyncTester::Request request(kBlock);
  EXPECT_EQ(tester.read(unattached, request, 0), eOsNotSupported);
  EXPECT_EQ(request.context->detach(), nullptr);
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  EXPECT_EQ(tester.read(file, request, ~uint64_t{0} - 5), eOsInvalid);
  EXPECT_EQ(tester.read(file, request, 0x7FFFFFFFFFFFFFFF), eOsInvalid);
  EXPECT_EQ(tester.write(file, request, 0), eOsAccessDenied);
  EXPECT_EQ(tester.readTo(file, request, 0, nullptr, 1), eOsInvalid);
  EXPECT_EQ(file->startRead(nullptr, AsyncTransfer()), eOsInvalid);
  file->close();
  EXPECT_EQ(tester.read(file, request, 0), eOsInvalid);
  EXPECT_EQ(nativeOS()->getErrors()->getLastError(), eOsInvalid);
  EXPECT_EQ(request.context->detach(), nullptr);
  EXPECT_EQ(tester.reports(), 0u);
}

TEST_P(LinuxAsyncIoTest, AFileIsAttachedOnceAndOnlyWhereItWasOpenedForIt) {
  putPattern("clip", kBlock);
  AsyncTester tester;
  Qv::Ptr<iFile> file = open("clip");
  EXPECT_TRUE(file->getCapabilities() & iFile::eAsyncTransfers);
  EXPECT_EQ(file->attach(nullptr), eOsInvalid);
  EXPECT_EQ(file->attach(tester.handler()), 1u);
  EXPECT_EQ(file->attach(tester.handler()), eOsInvalid);
  Qv::Ptr<iFile> plain = open("clip", false, 1);
  EXPECT_EQ(plain->getCapabilities(), 0u);
  EXPECT_EQ(plain->attach(tester.handler()), eOsNotSupported);
}

TEST_P(LinuxAsyncIoTest, ATransferWhoseLinkWasCutIsNeverReportedAndItsBufferLivesUntilItEnded) {
  putPattern("clip", kBlock);
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  unsigned cut = 0;
  for (unsigned i = 0; i < 200; ++i) {
    auto request = std::make_unique<AsyncTester::Request>(kBlock);
    ASSERT_EQ(tester.read(file, *request, 0), 1u);
    if (request->context->detach() == request.get())
      ++cut;
    else
      tester.waitFor(i + 1 - cut);
  }
  tester.settle(file);
  EXPECT_EQ(tester.reports(), 200 - cut + 1);
}

TEST_P(LinuxAsyncIoTest, AThousandTransfersAreMoreThanTheRingHoldsAndAllAreReported) {
  putPattern("clip", 1 << 20);
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  std::vector<std::unique_ptr<AsyncTester::Request>> requests;
  for (unsigned i = 0; i < 1000; ++i) {
    requests.push_back(std::make_unique<AsyncTester::Request>(4096));
    ASSERT_EQ(tester.read(file, *requests[i], (i % 256) * 4096), 1u);
  }
  tester.waitFor(1000);
  for (unsigned i = 0; i < 1000; ++i) {
    ASSERT_EQ(requests[i]->reports, 1);
    ASSERT_TRUE(requests[i]->succeeded);
    ASSERT_EQ("", whyNotPattern(requests[i]->buffer.data(), 4096, (i % 256) * 4096));
  }
}

TEST_P(LinuxAsyncIoTest, ALongLivedThreadStartsTransfersItselfAndMayEndRightAfter) {
  putPattern("clip", 1 << 20);
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  std::vector<std::unique_ptr<AsyncTester::Request>> requests;
  for (unsigned i = 0; i < 400; ++i)
    requests.push_back(std::make_unique<AsyncTester::Request>(4096));
  std::function<void()> work = [&] {
    for (unsigned i = 0; i < 400; ++i)
      EXPECT_EQ(tester.read(file, *requests[i], (i % 256) * 4096), 1u);
  };
  auto entry = [](void* argument) {
    (*static_cast<std::function<void()>*>(argument))();
    return 0u;
  };
  uint32_t id = nativeOS()->getThreads()->create(entry, "starter", &work);
  ASSERT_NE(id, 0u);
  nativeOS()->getThreads()->kill(id);
  tester.waitFor(400);
  for (unsigned i = 0; i < 400; ++i)
    ASSERT_EQ("", whyNotPattern(requests[i]->buffer.data(), 4096, (i % 256) * 4096));
}

TEST_P(LinuxAsyncIoTest, TransfersOutliveTheShortThreadsThatStartedThem) {
  putPattern("clip", 1 << 20);
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  std::vector<std::unique_ptr<AsyncTester::Request>> requests;
  for (unsigned i = 0; i < 40; ++i)
    requests.push_back(std::make_unique<AsyncTester::Request>(4096));
  for (unsigned i = 0; i < 40; ++i)
    std::thread([&, i] { EXPECT_EQ(tester.read(file, *requests[i], i * 4096), 1u); }).join();
  tester.waitFor(40);
  for (unsigned i = 0; i < 40; ++i) {
    ASSERT_TRUE(requests[i]->succeeded);
    ASSERT_EQ("", whyNotPattern(requests[i]->buffer.data(), 4096, i * 4096));
  }
}

TEST_P(LinuxAsyncIoTest, SeveralThreadsStartTransfersOfOneFileAtOnce) {
  putPattern("clip", 1 << 20);
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  std::vector<std::unique_ptr<AsyncTester::Request>> requests;
  for (unsigned i = 0; i < 256; ++i)
    requests.push_back(std::make_unique<AsyncTester::Request>(4096));
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (unsigned i = t; i < 256; i += 4)
        EXPECT_EQ(tester.read(file, *requests[i], i * 4096), 1u);
    });
  for (std::thread& thread : threads) thread.join();
  tester.waitFor(256);
  for (unsigned i = 0; i < 256; ++i)
    ASSERT_EQ("", whyNotPattern(requests[i]->buffer.data(), 4096, i * 4096));
}

TEST_P(LinuxAsyncIoTest, ACommandStartsTheNextTransferOfItsOwnFile) {
  putPattern("clip", 1 << 20);
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  AsyncTester::Request request(4096);
  unsigned next = 0;
  request.then = [&](AsyncTester::Request& ended) {
    EXPECT_EQ("", whyNotPattern(ended.buffer.data(), 4096, next * 4096));
    if (++next == 256) return;
    EXPECT_EQ(tester.read(file, ended, next * 4096), 1u);
  };
  ASSERT_EQ(tester.read(file, request, 0), 1u);
  tester.waitFor(256);
  EXPECT_EQ(request.reports, 256);
}

TEST_P(LinuxAsyncIoTest, ACommandThatTakesItsTimeHoldsUpNeitherStartingNorOtherPorts) {
  putPattern("clip", 1 << 20);
  AsyncTester slow("slow"), other("other");
  Qv::Ptr<iFile> file = openAttached("clip", slow);
  Qv::Ptr<iFile> quick = openAttached("clip", other);
  ASSERT_TRUE(file && quick);
  AsyncTester::Gate gate;
  AsyncTester::Request first(4096), second(4096), third(4096);
  first.then = [&](AsyncTester::Request&) { gate.pass(); };
  ASSERT_EQ(slow.read(file, first, 0), 1u);
  gate.waitUntilSomebodyIsThere();
  EXPECT_EQ(slow.read(file, second, 4096), 1u);
  EXPECT_EQ(other.read(quick, third, 8192), 1u);
  other.waitFor(1);
  gate.open();
  slow.waitFor(2);
  EXPECT_EQ("", whyNotPattern(second.buffer.data(), 4096, 4096));
}

TEST_P(LinuxAsyncIoTest, TheHandlerEndsOnlyWhenItsCommandHasRun) {
  putPattern("clip", kBlock);
  auto tester = std::make_unique<AsyncTester>();
  Qv::Ptr<iFile> file = openAttached("clip", *tester);
  ASSERT_TRUE(file);
  AsyncTester::Gate gate;
  AsyncTester::Request request(kBlock);
  std::atomic<bool> ran{false};
  request.then = [&](AsyncTester::Request&) {
    gate.pass();
    ran.store(true);
  };
  ASSERT_EQ(tester->read(file, request, 0), 1u);
  gate.waitUntilSomebodyIsThere();
  std::thread opener([&] { gate.open(); });
  tester->destroyHandler();
  EXPECT_TRUE(ran.load());
  opener.join();
}

TEST_P(LinuxAsyncIoTest, AHandlerThatGoesWithTransfersInFlightReportsNoneOfThemLater) {
  putPattern("clip", 1 << 20);
  uint64_t kept = TransferPort::transfersKept();
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  std::vector<std::unique_ptr<AsyncTester::Request>> requests;
  for (unsigned i = 0; i < 600; ++i) {
    requests.push_back(std::make_unique<AsyncTester::Request>(4096));
    ASSERT_EQ(tester.read(file, *requests[i], (i % 256) * 4096), 1u);
  }
  tester.destroyHandler();
  unsigned reported = tester.reports(), cut = 0;
  for (auto& request : requests) cut += request->context->detach() == request.get();
  EXPECT_EQ(reported + cut, 600u);
  EXPECT_EQ(TransferPort::transfersKept(), kept);
  AsyncTester::Request late(4096);
  EXPECT_EQ(tester.read(file, late, 0), eOsCancelled);
  EXPECT_EQ(late.context->detach(), nullptr);
}

TEST_P(LinuxAsyncIoTest, AFileClosedWithTransfersInFlightLeavesThemTheirDescriptors) {
  putPattern("clip", 1 << 20);
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  std::vector<std::unique_ptr<AsyncTester::Request>> requests;
  for (unsigned i = 0; i < 100; ++i) {
    requests.push_back(std::make_unique<AsyncTester::Request>(4096));
    ASSERT_EQ(tester.read(file, *requests[i], i * 4096), 1u);
  }
  file->close();
  file.reset();
  tester.waitFor(100);
  for (unsigned i = 0; i < 100; ++i) {
    ASSERT_TRUE(requests[i]->succeeded);
    ASSERT_EQ("", whyNotPattern(requests[i]->buffer.data(), 4096, i * 4096));
  }
}

TEST_P(LinuxAsyncIoTest, FinishedTransfersGiveTheirMemoryBackToThePool) {
  putPattern("clip", 1 << 20);
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  AsyncTester::Request request(4096);
  ASSERT_EQ(tester.read(file, request, 0), 1u);
  tester.waitFor(1);
  size_t before = AsyncOperation::pooledCapacity();
  for (unsigned i = 1; i < 2000; ++i) {
    ASSERT_EQ(tester.read(file, request, 0), 1u);
    tester.waitFor(i + 1);
  }
  EXPECT_EQ(AsyncOperation::pooledCapacity(), before);
}

TEST_P(LinuxAsyncIoTest, AFileThatRefusesDirectTransfersIsReadThroughThePageCache) {
  putPattern("clip", kBlock);
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  AsyncTester::Request request(kBlock);
  // Every alignment from a byte up: where the device asks for more, the page cache answers.
  unsigned started = 0;
  for (uint32_t alignment = 1; alignment <= 4096; alignment *= 2) {
    ASSERT_EQ(tester.read(file, request, alignment, alignment, alignment), 1u);
    tester.waitFor(++started);
    ASSERT_TRUE(request.succeeded) << alignment;
    ASSERT_EQ("", whyNotPattern(request.buffer.data() + alignment, alignment, alignment));
  }
}

TEST_P(LinuxAsyncIoTest, ATransferOf4294967295BytesIsWhole) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the race detector keeps more memory for such a buffer than there is";
#endif
  folder_.put("clip", "");
  if (truncate(folder_.bytes("clip").c_str(), 5ll << 30) != 0)
    GTEST_SKIP() << "no file of that size can be had here";
  WideBuffer wide;
  if (!wide.data()) GTEST_SKIP() << "no buffer of that size can be had here";
  AsyncTester tester;
  Qv::Ptr<iFile> file = openAttached("clip", tester);
  ASSERT_TRUE(file);
  AsyncTester::Request request(4096);
  ASSERT_EQ(tester.readTo(file, request, 0, wide.data(), 0xFFFFFFFF), 1u);
  tester.waitFor(1);
  EXPECT_TRUE(request.succeeded);
  EXPECT_EQ(request.bytes, 0xFFFFFFFFu);
}

TEST_P(LinuxAsyncIoTest, ARingIsNeitherInAForkedChildsMemoryNorInAnExecutedProgram) {
  if (std::strcmp(GetParam(), "ring") != 0) GTEST_SKIP() << "threads have no ring";
  AsyncTester tester;
  auto countMaps = [] {
    std::ifstream maps("/proc/self/maps");
    int count = 0;
    for (std::string line; std::getline(maps, line);)
      count += line.find("io_uring") != std::string::npos;
    return count;
  };
  ASSERT_GT(countMaps(), 0);
  pid_t child = fork();
  if (child == 0) _exit(countMaps());
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  int rings = 0;
  for (int i = 0; i < 256; ++i) {
    char target[64] = {};
    std::string link = "/proc/self/fd/" + std::to_string(i);
    if (readlink(link.c_str(), target, sizeof(target) - 1) < 0) continue;
    if (!std::strstr(target, "io_uring")) continue;
    ++rings;
    EXPECT_TRUE(fcntl(i, F_GETFD) & FD_CLOEXEC);
  }
  EXPECT_GT(rings, 0);
}

}  // namespace
