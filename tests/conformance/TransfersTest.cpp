#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "tests/conformance/Environments.h"
#include "tests/conformance/Finished.h"
#include "tests/support/Pattern.h"

namespace {

// The buffer of one transfer, with a keeper of its own, and its context.
struct Request {
  class Keeper final : public iObject {};

  explicit Request(uint32_t size) : bytes(size, 0xEE), keeper(new Keeper) {}

  // `shift` leaves that many bytes at the start of the buffer out.
  AsyncTransfer transfer(uint64_t offset, uint32_t count, size_t shift = 0) {
    AsyncTransfer what;
    what.offset = offset;
    what.buffer = bytes.data() + shift;
    what.bytes = count;
    what.keep = Qv::Ptr<iObject>(keeper);
    what.request = this;
    return what;
  }
  uint32_t read(const Qv::Ptr<iFile>& file, uint64_t offset) {
    return file->startRead(context, transfer(offset, static_cast<uint32_t>(bytes.size())));
  }
  uint32_t write(const Qv::Ptr<iFile>& file, uint64_t offset) {
    return file->startWrite(context, transfer(offset, static_cast<uint32_t>(bytes.size())));
  }

  std::vector<unsigned char> bytes;
  Qv::Ptr<Keeper> keeper;
  Qv::Ptr<iAsyncContext> context = OS()->getAsyncIo()->createContext();
};

}  // namespace

template <typename Environment>
class TransfersConformance : public ConformanceTest<Environment> {
protected:
  // A file of the folder that is open for both directions and attached.
  Qv::Ptr<iFile> attached(const wchar_t* name, Finished& finished) {
    Qv::Ptr<iFile> file = this->openMedia(this->path(name), true, iFileManager::eFlagRead);
    EXPECT_TRUE(file);
    EXPECT_EQ(file->attach(finished.handler()), 1u);
    return file;
  }
};

TYPED_TEST_SUITE(TransfersConformance, Environments, EnvironmentNames);

TYPED_TEST(TransfersConformance, ThePortIsDescribed) {
  iAsyncIo::Description described = OS()->getAsyncIo()->describe();
  EXPECT_GT(described.inFlightLimit, 0u);
  EXPECT_EQ(described.ring, std::string(described.why).empty());
}

TYPED_TEST(TransfersConformance, AReadIsReportedOnceWithItsRequestAndBytes) {
  PathString name = this->makeFile(L"clip", patternBytes(64 * 1024));
  Finished finished;
  Qv::Ptr<iFile> file = this->attached(L"clip", finished);
  Request request(16 * 1024);
  ASSERT_EQ(request.read(file, 4096), 1u);
  ASSERT_TRUE(finished.waitFor(1));
  Finished::Report report = finished.reports()[0];
  EXPECT_EQ(report.request, &request);
  EXPECT_TRUE(report.succeeded);
  EXPECT_EQ(report.bytes, 16u * 1024);
  EXPECT_EQ("", whyNotPattern(request.bytes, 4096));
  EXPECT_EQ(request.context->detach(), nullptr) << "the completion has taken the link";
}

TYPED_TEST(TransfersConformance, AReadAcrossTheEndIsShortAndItsRestIsZeros) {
  this->makeFile(L"clip", patternBytes(5000));
  Finished finished;
  Qv::Ptr<iFile> file = this->attached(L"clip", finished);
  Request across(8192), past(512);
  ASSERT_EQ(across.read(file, 0), 1u);
  ASSERT_TRUE(finished.waitFor(1));
  ASSERT_EQ(past.read(file, 8192), 1u);
  ASSERT_TRUE(finished.waitFor(2));
  EXPECT_TRUE(finished.reports()[0].succeeded);
  EXPECT_EQ(finished.reports()[0].bytes, 5000u);
  EXPECT_EQ("", whyNotPattern(across.bytes.data(), 5000, 0));
  EXPECT_EQ("", whyNotZeros(across.bytes.data() + 5000, 3192));
  EXPECT_TRUE(finished.reports()[1].succeeded);
  EXPECT_EQ(finished.reports()[1].bytes, 0u);
  EXPECT_EQ("", whyNotZeros(past.bytes.data(), 512));
}

TYPED_TEST(TransfersConformance, WhatWasWrittenCanBeReadBack) {
  Finished writes("writes"), reads("reads");
  Qv::Ptr<iFile> out = this->attached(L"clip", writes);
  Request first(4096), odd(1000);
  fillPattern(first.bytes.data(), 4096, 0);
  fillPattern(odd.bytes.data(), 1000, 4096);
  ASSERT_EQ(first.write(out, 0), 1u);
  ASSERT_EQ(odd.write(out, 4096), 1u);
  ASSERT_TRUE(writes.waitFor(2));
  for (const Finished::Report& report : writes.reports()) EXPECT_TRUE(report.succeeded);
  EXPECT_EQ(out->getSize(), 5096u);
  Qv::Ptr<iFile> in = this->openMedia(this->path(L"clip"), false);
  ASSERT_EQ(in->attach(reads.handler()), 1u);
  Request back(5096);
  ASSERT_EQ(back.read(in, 0), 1u);
  ASSERT_TRUE(reads.waitFor(1));
  EXPECT_EQ("", whyNotPattern(back.bytes));
  EXPECT_EQ(writes.count(), 2u);
}

TYPED_TEST(TransfersConformance, TransfersOfAnyAlignmentAreCarriedOut) {
  this->makeFile(L"clip", patternBytes(40'000));
  Finished finished;
  Qv::Ptr<iFile> file = this->attached(L"clip", finished);
  Request request(20'000);
  size_t reports = 0;
  for (uint64_t offset : {0, 1, 511, 4097, 19'999}) {
    for (uint32_t bytes : {1u, 512u, 4095u, 4096u, 9999u}) {
      size_t shift = bytes % 7;
      ASSERT_EQ(file->startRead(request.context, request.transfer(offset, bytes, shift)), 1u);
      ASSERT_TRUE(finished.waitFor(++reports));
      EXPECT_EQ(finished.reports().back().bytes, bytes);
      EXPECT_EQ("", whyNotPattern(request.bytes.data() + shift, bytes, offset));
    }
  }
}

TYPED_TEST(TransfersConformance, FiveHundredTransfersAtOnceAreEachReportedOnce) {
  constexpr uint32_t kBytes = 4096, kRequests = 500;
  this->makeFile(L"clip", patternBytes(kBytes * kRequests));
  Finished finished;
  Qv::Ptr<iFile> file = this->attached(L"clip", finished);
  std::vector<std::unique_ptr<Request>> requests;
  for (uint32_t i = 0; i < kRequests; ++i) {
    requests.push_back(std::make_unique<Request>(kBytes));
    ASSERT_EQ(requests[i]->read(file, uint64_t{i} * kBytes), 1u);
  }
  ASSERT_TRUE(finished.waitFor(kRequests));
  for (uint32_t i = 0; i < kRequests; ++i) {
    ASSERT_EQ(finished.countOf(requests[i].get()), 1u);
    ASSERT_EQ("", whyNotPattern(requests[i]->bytes, uint64_t{i} * kBytes));
  }
  EXPECT_EQ(finished.count(), kRequests);
}

TYPED_TEST(TransfersConformance, ATransferOfNoBytesIsReportedToo) {
  this->makeFile(L"clip", patternBytes(100));
  Finished finished;
  Qv::Ptr<iFile> file = this->attached(L"clip", finished);
  Request request(16);
  ASSERT_EQ(file->startRead(request.context, request.transfer(0, 0)), 1u);
  ASSERT_TRUE(finished.waitFor(1));
  EXPECT_TRUE(finished.reports()[0].succeeded);
  EXPECT_EQ(finished.reports()[0].bytes, 0u);
}

TYPED_TEST(TransfersConformance, AFailureIsReportedWithTheCompletionsLastError) {
  Finished finished;
  Qv::Ptr<iFile> file = this->attached(L"clip", finished);
  Request request(4096);
  const uint64_t offset = this->environment_.failingOffset();
  OS()->getErrors()->setLastError(eOsExists);
  ASSERT_EQ(request.write(file, offset), 1u);
  ASSERT_TRUE(finished.waitFor(1));
  Finished::Report report = finished.reports()[0];
  if (report.succeeded) GTEST_SKIP() << "this file system takes files of any size";
  EXPECT_EQ(report.request, &request);
  EXPECT_TRUE(report.error == eOsTooLarge || report.error == eOsNoSpace) << report.error;
  EXPECT_EQ(this->lastError(), eOsExists) << "the starting thread has a last error of its own";
  Request good(4096);
  ASSERT_EQ(good.write(file, 0), 1u);
  ASSERT_TRUE(finished.waitFor(2));
  EXPECT_TRUE(finished.reports()[1].succeeded);
}

TYPED_TEST(TransfersConformance, ARefusedStartReportsNothing) {
  PathString name = this->makeFile(L"clip", patternBytes(100));
  Finished finished;
  Qv::Ptr<iFile> file = this->openMedia(name, false);
  Request request(16);
  EXPECT_EQ(request.read(file, 0), eOsNotSupported) << "not attached";
  ASSERT_EQ(file->attach(finished.handler()), 1u);
  EXPECT_EQ(request.write(file, 0), eOsAccessDenied);
  EXPECT_EQ(this->lastError(), eOsAccessDenied);
  EXPECT_EQ(request.read(file, uint64_t{INT64_MAX} - 15), eOsInvalid);
  EXPECT_EQ(request.read(file, UINT64_MAX - 3), eOsInvalid);
  EXPECT_EQ(file->startRead({}, request.transfer(0, 16)), eOsInvalid);
  AsyncTransfer nobody = request.transfer(0, 16);
  nobody.request = nullptr;
  EXPECT_EQ(file->startRead(request.context, nobody), eOsInvalid);
  AsyncTransfer nowhere = request.transfer(0, 16);
  nowhere.buffer = nullptr;
  EXPECT_EQ(file->startRead(request.context, nowhere), eOsInvalid);
  file->close();
  EXPECT_EQ(request.read(file, 0), eOsInvalid);
  EXPECT_EQ(request.context->detach(), nullptr);
  finished.destroyHandler();
  EXPECT_EQ(finished.count(), 0u);
}

TYPED_TEST(TransfersConformance, AFileIsAttachedOnceAndToAHandler) {
  PathString name = this->makeFile(L"clip", patternBytes(100));
  Finished finished;
  Qv::Ptr<iFile> file = this->openMedia(name, false);
  EXPECT_EQ(file->attach(nullptr), eOsInvalid);
  EXPECT_EQ(file->attach(finished.handler()), 1u);
  EXPECT_EQ(file->attach(finished.handler()), eOsInvalid);
  Qv::Ptr<iFile> general =
      this->openFile(name, iFileManager::eAccessRead, iFileManager::eOpenExisting);
  EXPECT_EQ(general->attach(finished.handler()), eOsNotSupported);
}

TYPED_TEST(TransfersConformance, TheBuffersKeeperIsHeldUntilTheTransferEndsAndNoLonger) {
  this->makeFile(L"clip", patternBytes(100));
  Finished finished;
  std::atomic<int32_t> holders{0};
  Request request(16);
  // The starter's own share goes as it returns, which may be later than the command.
  Qv::Ptr<iThreadEvent> started = OS()->getThreads()->createEvent(0, 0, 0);
  finished.onReport = [&](const Finished::Report&) {
    started->wait(20'000);
    holders = request.keeper->refCount();
  };
  Qv::Ptr<iFile> file = this->attached(L"clip", finished);
  ASSERT_EQ(request.read(file, 0), 1u);
  started->signal();
  ASSERT_TRUE(finished.waitFor(1));
  EXPECT_EQ(holders, 1) << "only the request's own share is left as the command runs";
}

TYPED_TEST(TransfersConformance, AFileThatIsDroppedLetsItsTransfersEnd) {
  this->makeFile(L"clip", patternBytes(1 << 20));
  Finished finished;
  std::vector<std::unique_ptr<Request>> requests;
  Qv::Ptr<iFile> file = this->attached(L"clip", finished);
  for (uint32_t i = 0; i < 16; ++i) {
    requests.push_back(std::make_unique<Request>(1 << 16));
    ASSERT_EQ(requests[i]->read(file, uint64_t{i} << 16), 1u);
  }
  file->close();
  file.reset();
  ASSERT_TRUE(finished.waitFor(16));
  for (uint32_t i = 0; i < 16; ++i)
    EXPECT_EQ("", whyNotPattern(requests[i]->bytes, uint64_t{i} << 16));
}

TYPED_TEST(TransfersConformance, ADetachedTransferIsNeverReportedAndAReportedOneNeverDetached) {
  constexpr uint32_t kRequests = 200;
  this->makeFile(L"clip", patternBytes(4096 * kRequests));
  Finished finished;
  Qv::Ptr<iFile> file = this->attached(L"clip", finished);
  std::vector<std::unique_ptr<Request>> requests;
  std::vector<void*> detached;
  for (uint32_t i = 0; i < kRequests; ++i) {
    requests.push_back(std::make_unique<Request>(4096));
    ASSERT_EQ(requests[i]->read(file, uint64_t{i} * 4096), 1u);
    if (i % 2 == 1) detached.push_back(requests[i - 1]->context->detach());
  }
  size_t cut = 0;
  for (void* request : detached) cut += request != nullptr;
  ASSERT_TRUE(finished.waitFor(kRequests - cut));
  finished.destroyHandler();
  EXPECT_EQ(finished.count(), kRequests - cut);
  for (size_t i = 0; i < detached.size(); ++i) {
    Request* request = requests[2 * i].get();
    EXPECT_TRUE(detached[i] == nullptr || detached[i] == request);
    EXPECT_EQ(finished.countOf(request), detached[i] ? 0u : 1u);
  }
}

TYPED_TEST(TransfersConformance, NothingIsReportedAfterTheHandlerIsGone) {
  constexpr uint32_t kRequests = 64, kBytes = 1 << 16;
  this->makeFile(L"clip", patternBytes(kRequests * kBytes));
  Finished finished;
  std::atomic<int> inCommand{0};
  finished.onReport = [&](const Finished::Report&) {
    ++inCommand;
    --inCommand;
  };
  Qv::Ptr<iFile> file = this->attached(L"clip", finished);
  std::vector<std::unique_ptr<Request>> requests;
  for (uint32_t i = 0; i < kRequests; ++i) {
    requests.push_back(std::make_unique<Request>(kBytes));
    ASSERT_EQ(requests[i]->read(file, uint64_t{i} * kBytes), 1u);
  }
  finished.destroyHandler();
  EXPECT_EQ(inCommand, 0);
  const size_t reported = finished.count();
  EXPECT_FALSE(OS()->getThreads()->createEvent(0, 0, 0)->wait(30));
  EXPECT_EQ(finished.count(), reported);
  size_t cut = 0;
  for (auto& request : requests) cut += request->context->detach() != nullptr;
  EXPECT_EQ(cut + reported, kRequests) << "what was not reported still has its link";
  EXPECT_EQ(requests[0]->read(file, 0), eOsCancelled);
  EXPECT_EQ(requests[0]->context->detach(), nullptr);
}

TYPED_TEST(TransfersConformance, ACommandMayStartTheNextTransferWithTheSameContext) {
  this->makeFile(L"clip", patternBytes(10 * 512));
  Finished finished;
  Qv::Ptr<iFile> file;
  Request request(512);
  std::atomic<unsigned> wrong{0};
  uint64_t offset = 0;
  finished.onReport = [&](const Finished::Report& report) {
    if (!report.succeeded || !whyNotPattern(request.bytes, offset).empty()) ++wrong;
    offset += 512;
    if (offset < 10 * 512 && request.read(file, offset) != 1) ++wrong;
  };
  file = this->attached(L"clip", finished);
  ASSERT_EQ(request.read(file, 0), 1u);
  ASSERT_TRUE(finished.waitFor(10));
  EXPECT_EQ(wrong, 0u);
}

TYPED_TEST(TransfersConformance, EveryHandlerHearsOfItsOwnFilesAlone) {
  this->makeFile(L"a", patternBytes(4096, 0, 1));
  this->makeFile(L"b", patternBytes(4096, 0, 2));
  Finished first("first"), second("second");
  Qv::Ptr<iFile> a = this->attached(L"a", first), b = this->attached(L"b", second);
  Request fromA(4096), fromB(4096);
  ASSERT_EQ(fromB.read(b, 0), 1u);
  ASSERT_EQ(fromA.read(a, 0), 1u);
  ASSERT_TRUE(first.waitFor(1));
  ASSERT_TRUE(second.waitFor(1));
  EXPECT_EQ(first.reports()[0].request, &fromA);
  EXPECT_EQ(second.reports()[0].request, &fromB);
  EXPECT_EQ("", whyNotPattern(fromA.bytes, 0, 1));
  EXPECT_EQ("", whyNotPattern(fromB.bytes, 0, 2));
}
