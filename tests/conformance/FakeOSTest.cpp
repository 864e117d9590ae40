// What the fake adds to the promises that it shares with the system: time, threads, tasks and
// transfers that happen when the test says so, and faults.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/fake/FakeOSScope.h"
#include "tests/conformance/Finished.h"
#include "tests/support/Pattern.h"
#include "tests/support/TestErrand.h"

using testing::ElementsAre;

namespace {

class FakeOSTest : public testing::Test {
protected:
  static Qv::Ptr<iThreadEvent> event() { return OS()->getThreads()->createEvent(0, 0, 0); }
  static Qv::Ptr<iFile> open(const wchar_t* name, bool write = true) {
    return OS()->getFileManager()->openMedia(name, 3, write, 4, 3);
  }
  // The next call of each kind that tells of drives and names, or changes names.
  void expectNamesFail() {
    FakeFileManager& files = os_->files();
    uint64_t bytes = 0;
    LightweightString<wchar_t> behind;
    Vector<iFileManager::ListedFile> listed;
    EXPECT_TRUE(files.getDisks().empty());
    EXPECT_FALSE(files.onDrive(L"/a", {}, 1));
    EXPECT_FALSE(files.onDrive(L"/a", TestErrand::of([] {}), 1));
    EXPECT_FALSE(files.getDisk(L"/a")->getSpace(bytes, bytes));
    EXPECT_FALSE(files.exists(L"/"));
    EXPECT_FALSE(files.getFileSize(L"/a", bytes));
    EXPECT_FALSE(files.folderExists(L"/"));
    EXPECT_FALSE(files.isWritable(L"/"));
    EXPECT_FALSE(files.listFiles(L"/*", listed));
    EXPECT_FALSE(files.renameFile(L"/a", L"/b"));
    EXPECT_FALSE(files.syncFolder(L"/"));
    EXPECT_FALSE(files.followLinks(L"/", behind));
    EXPECT_FALSE(files.copyMode(L"/a", L"/b"));
    EXPECT_FALSE(files.markFile(L"/a"));
    iFileManager::LockState lock = iFileManager::eLockHeld;
    EXPECT_FALSE(files.askLock(L"/a", lock));
    EXPECT_TRUE(files.getUNCName(L"/a").empty());
    EXPECT_TRUE(files.getShares(L"here").empty());
  }

  FakeOSScope os_;
};

// A poller that writes its passes into a list.
struct Passes {
  Passes(std::vector<int>& into, int what, uint32_t delay)
      : list(into), mark(what), delay_ms(delay) {
    id = co_create(&Passes::run, "passes", 0, this, 1, 0);
  }
  static unsigned run(void* argument) {
    auto* self = static_cast<Passes*>(argument);
    while (self->running) {
      self->list.push_back(self->mark);
      if (self->inPass) self->inPass();
      self->wake->wait(self->delay_ms);
    }
    return 7;
  }
  std::vector<int>& list;
  int mark;
  uint32_t delay_ms;
  Qv::Ptr<iThreadEvent> wake = OS()->getThreads()->createEvent(0, 0, 0);
  bool running = true;
  std::function<void()> inPass;
  uint32_t id;
};

struct Task final : public iTask {
  explicit Task(std::function<void()> work) : what(std::move(work)) {}
  void run() override { what(); }
  std::function<void()> what;
};

struct Transfer {
  explicit Transfer(uint32_t size) : bytes(size, 0xEE) {}
  AsyncTransfer at(uint64_t offset) {
    AsyncTransfer transfer;
    transfer.offset = offset;
    transfer.buffer = bytes.data();
    transfer.bytes = static_cast<uint32_t>(bytes.size());
    transfer.request = this;
    return transfer;
  }
  uint32_t read(const Qv::Ptr<iFile>& file, uint64_t offset) {
    return file->startRead(context, at(offset));
  }
  std::vector<unsigned char> bytes;
  Qv::Ptr<iAsyncContext> context = OS()->getAsyncIo()->createContext();
};

}  // namespace

TEST_F(FakeOSTest, AThreadRunsOnlyWhenItIsToldOrSomebodyWaits) {
  std::vector<int> list;
  Passes passes(list, 1, 50);
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(os_->threads().runDue(), 1u);
  EXPECT_EQ(os_->threads().runDue(), 0u);
  EXPECT_EQ(list.size(), 1u);
  passes.wake->signal();
  EXPECT_TRUE(os_->threads().isDue(passes.id));
  EXPECT_EQ(os_->threads().runDue(), 1u);
  os_->clock().step(49.5);
  EXPECT_EQ(os_->threads().runDue(), 0u);
  os_->clock().step(0.5);
  EXPECT_EQ(os_->threads().runDue(), 1u);
  EXPECT_TRUE(os_->threads().run(passes.id)) << "also when it is not due";
  EXPECT_EQ(os_->threads().thread(passes.id)->runs, 4u);
  os_->advance(100);
  EXPECT_EQ(list.size(), 6u);
  EXPECT_EQ(os_->threads().find("passes"), passes.id);
  EXPECT_EQ(os_->threads().find("other"), 0u);
}

TEST_F(FakeOSTest, AKilledThreadRunsUntilItReturnsAndIsForgotten) {
  std::vector<int> list;
  Passes passes(list, 1, 50);
  os_->run();
  passes.running = false;
  co_kill(passes.id);
  EXPECT_EQ(list.size(), 1u);
  EXPECT_EQ(os_->threads().thread(passes.id), nullptr);
  Passes endless(list, 2, iThreadEvent::kForever);
  EXPECT_THROW(co_kill(endless.id), std::logic_error);
}

TEST_F(FakeOSTest, AWaitInsideAPassRunsTheOthersAndNotItself) {
  std::vector<int> list;
  Qv::Ptr<iThreadEvent> done = event();
  Passes waiting(list, 1, 50), helping(list, 2, 10);
  Qv::Ptr<iThreadEvent> late = event();
  waiting.inPass = [&] { EXPECT_TRUE(late->wait(500)); };
  helping.inPass = [&] {
    if (list.size() == 5) late->signal();
  };
  os_->threads().run(waiting.id);
  EXPECT_THAT(list, ElementsAre(1, 2, 2, 2, 2));
  EXPECT_EQ(os_->threads().thread(waiting.id)->runs, 1u);
}

TEST_F(FakeOSTest, TwoBusyThreadsTakeTurns) {
  std::vector<int> list;
  Passes first(list, 1, 50), second(list, 2, 50);
  auto again = [&](Passes& passes) {
    return [&] {
      if (list.size() < 6) passes.wake->signal();
    };
  };
  first.inPass = again(first);
  second.inPass = again(second);
  os_->run();
  EXPECT_THAT(list, ElementsAre(1, 2, 1, 2, 1, 2, 1));
}

TEST_F(FakeOSTest, AWaitEndsAtItsTimeOnTheSteppedClock) {
  double start = Qv::now();
  EXPECT_FALSE(event()->wait(250));
  EXPECT_EQ(Qv::now(), start + 250);
  OS()->getThreads()->sleep(40);
  OS()->getThreads()->sleep(60);
  EXPECT_EQ(Qv::now(), start + 350);
  EXPECT_THAT(os_->threads().sleeps(), ElementsAre(40, 60));
}

TEST_F(FakeOSTest, NothingHappensInAYieldButWhatTheTestHasAskedFor) {
  const double start = Qv::now();
  OS()->getThreads()->yield();
  int asked = 0;
  os_->threads().onYield([&] { ++asked; });
  OS()->getThreads()->yield();
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(os_->threads().yields(), 2u);
  EXPECT_EQ(Qv::now(), start);
  EXPECT_TRUE(os_->threads().sleeps().empty());
}

TEST_F(FakeOSTest, EachThreadOfTheMachineHasALastErrorOfItsOwn) {
  OS()->getErrors()->setLastError(eOsIoError);
  std::thread([] {
    EXPECT_EQ(OS()->getErrors()->getLastError(), 0u);
    OS()->getErrors()->setLastError(eOsNotFound);
  }).join();
  EXPECT_EQ(OS()->getErrors()->getLastError(), uint32_t{eOsIoError});
}

TEST_F(FakeOSTest, AWaitThatCanNeverEndIsAFailure) {
  EXPECT_THROW(event()->wait(iThreadEvent::kForever), std::logic_error);
  std::vector<int> list;
  Passes passes(list, 1, 50);
  EXPECT_THROW(event()->wait(iThreadEvent::kForever), std::logic_error) << "an hour of passes";
  passes.inPass = [&] { passes.wake->signal(); };
  EXPECT_THROW(os_->advance(50), std::logic_error) << "the clock stands still for ever";
}

TEST_F(FakeOSTest, TasksRunInTheirOrderWhenSomebodyWaitsAndCanBeHeld) {
  std::vector<int> list;
  Qv::Ptr<iTaskQueue> queue = OS()->getThreads()->createTaskQueue("tasks", 2);
  for (int i = 0; i < 3; ++i)
    queue->post(Qv::Ptr<iTask>(new Task([&list, i] { list.push_back(i); })));
  os_->threads().holdTasks(true);
  os_->run();
  EXPECT_EQ(os_->threads().tasks(), 3u);
  EXPECT_TRUE(os_->threads().runTask());
  EXPECT_THAT(list, ElementsAre(0));
  os_->threads().holdTasks(false);
  os_->run();
  EXPECT_THAT(list, ElementsAre(0, 1, 2));
  EXPECT_FALSE(os_->threads().runTask());
}

TEST_F(FakeOSTest, TransfersFinishInAnyOrderAndMoveTheirBytesThen) {
  os_->files().addFile(L"/a", patternBytes(4096));
  Finished finished;
  Qv::Ptr<iFile> file = open(L"/a");
  ASSERT_EQ(file->attach(finished.handler()), 1u);
  Transfer first(512), second(512), third(512);
  for (Transfer* transfer : {&first, &second, &third}) ASSERT_EQ(transfer->read(file, 0), 1u);
  ASSERT_EQ(os_->asyncIo().pending().size(), 3u);
  EXPECT_EQ(os_->asyncIo().pending()[1].request, &second);
  EXPECT_EQ(first.bytes[0], 0xEE);
  EXPECT_TRUE(os_->asyncIo().finishShort(1, 100));
  EXPECT_TRUE(os_->asyncIo().fail(1, eOsIoError));
  EXPECT_TRUE(os_->asyncIo().finish());
  EXPECT_FALSE(os_->asyncIo().finish());
  std::vector<Finished::Report> reports = finished.reports();
  ASSERT_EQ(reports.size(), 3u);
  EXPECT_EQ(reports[0].request, &second);
  EXPECT_EQ(reports[0].bytes, 100u);
  EXPECT_TRUE(reports[0].succeeded);
  EXPECT_EQ("", whyNotZeros(second.bytes.data() + 100, 412));
  EXPECT_EQ(reports[1].error, eOsIoError);
  EXPECT_EQ(OS()->getErrors()->getLastError(), 0u);
  EXPECT_EQ("", whyNotPattern(first.bytes));
}

TEST_F(FakeOSTest, HeldAndStalledTransfersOutlastAWait) {
  os_->files().addFile(L"/a", patternBytes(4096));
  Finished finished;
  Qv::Ptr<iFile> file = open(L"/a");
  file->attach(finished.handler());
  Transfer first(512), second(512);
  first.read(file, 0);
  second.read(file, 0);
  os_->asyncIo().hold(true);
  EXPECT_FALSE(event()->wait(100));
  EXPECT_EQ(finished.count(), 0u);
  os_->asyncIo().hold(false);
  os_->asyncIo().stall(0);
  os_->run();
  EXPECT_EQ(finished.count(), 1u);
  EXPECT_EQ(os_->asyncIo().finishAll(), 0u);
  EXPECT_EQ(first.context->detach(), &first);
  EXPECT_TRUE(os_->asyncIo().finish(0));
  EXPECT_EQ(os_->asyncIo().lateDropped(), 1u);
  EXPECT_EQ(finished.count(), 1u);
}

TEST_F(FakeOSTest, ATransferWhosePortIsGoneEndsUnreported) {
  os_->files().addFile(L"/a", patternBytes(4096));
  Finished finished("port");
  Qv::Ptr<iFile> file = open(L"/a");
  file->attach(finished.handler());
  Transfer transfer(512);
  transfer.read(file, 0);
  EXPECT_EQ(os_->asyncIo().livePorts(), 1u);
  finished.destroyHandler();
  EXPECT_EQ(os_->asyncIo().livePorts(), 0u);
  EXPECT_EQ(os_->asyncIo().ports()[0]->name, "port");
  EXPECT_EQ(os_->asyncIo().ports()[0]->running, 3);
  EXPECT_EQ(os_->asyncIo().finishAll(), 1u);
  EXPECT_EQ(os_->asyncIo().unreported(), 1u);
  EXPECT_EQ("", whyNotPattern(transfer.bytes));
  EXPECT_EQ(transfer.context->detach(), &transfer);
}

TEST_F(FakeOSTest, AFaultStrikesTheNthCallOnceOrFromThenOn) {
  FaultPlan& faults = os_->faults();
  faults.fail(FaultPlan::eAllocateRegion, eOsNoMemory, 2);
  auto allocate = [] {
    return OS()->getVirtualMemory()->allocate(nullptr, 1, eVmReserveAndCommit, eVmReadWrite);
  };
  EXPECT_NE(allocate(), nullptr);
  EXPECT_TRUE(faults.waiting(FaultPlan::eAllocateRegion));
  EXPECT_EQ(allocate(), nullptr);
  EXPECT_EQ(OS()->getErrors()->getLastError(), eOsNoMemory);
  EXPECT_FALSE(faults.waiting(FaultPlan::eAllocateRegion));
  EXPECT_NE(allocate(), nullptr);
  faults.fail(FaultPlan::eAllocateRegion, eOsNoMemory, 1, FaultPlan::eFromThenOn);
  EXPECT_EQ(allocate(), nullptr);
  EXPECT_EQ(allocate(), nullptr);
  EXPECT_EQ(faults.calls(FaultPlan::eAllocateRegion), 5u);
  EXPECT_EQ(faults.fired(FaultPlan::eAllocateRegion), 3u);
  faults.clear();
  EXPECT_NE(allocate(), nullptr);
  EXPECT_EQ(os_->memory().regions(), 3u);
  EXPECT_EQ(os_->memory().bytesInUse(), 3u * 4096);
  EXPECT_EQ(os_->memory().allocations().size(), 6u);
}

TEST_F(FakeOSTest, AnErrandThatIsAnsweredTooLateIsHeldAndRunsBeforeTheNext) {
  std::vector<int> ran;
  auto send = [&](int mark) {
    return os_->files().onDrive(L"/a", TestErrand::of([&ran, mark] { ran.push_back(mark); }), 300);
  };
  const double begin_ms = os_->clock().now_ms();
  os_->faults().fail(FaultPlan::eAnswerErrand, eOsTimedOut, 2);
  EXPECT_TRUE(send(1));
  EXPECT_FALSE(send(2));
  EXPECT_EQ(OS()->getErrors()->getLastError(), eOsTimedOut);
  EXPECT_EQ(os_->clock().now_ms() - begin_ms, 300);
  EXPECT_THAT(ran, ElementsAre(1));
  EXPECT_TRUE(send(3));
  EXPECT_THAT(ran, ElementsAre(1, 2, 3));
  os_->faults().fail(FaultPlan::eAnswerErrand, eOsTimedOut, 1, FaultPlan::eFromThenOn);
  EXPECT_FALSE(send(4));
  EXPECT_FALSE(send(5));
  EXPECT_EQ(os_->clock().now_ms() - begin_ms, 600) << "the next one is refused at once";
  EXPECT_EQ(os_->files().runLateErrands(), 1u);
  EXPECT_THAT(ran, ElementsAre(1, 2, 3, 4));
}

TEST_F(FakeOSTest, EveryServiceCanBeMadeToFail) {
  FaultPlan& faults = os_->faults();
  for (size_t call = 0; call < FaultPlan::eCallKinds; ++call)
    faults.fail(static_cast<FaultPlan::eCall>(call), eOsIoError);
  EXPECT_FALSE(open(L"/a"));
  EXPECT_FALSE(os_->files().openFile(L"/a", 3, 3, 0, 0));
  EXPECT_FALSE(os_->files().getDisk(L"/a"));
  EXPECT_FALSE(os_->files().deleteFile(L"/a"));
  MediaLeft left;
  EXPECT_FALSE(os_->files().deleteMedia({L"/a", {}, {}, {}}, left));
  os_->files().addFile(L"/b");
  EXPECT_TRUE(os_->files().deleteMedia({L"/b", L"b.*", L"/c", {}}, left));
  EXPECT_EQ(left.subfolder, eOsIoError);
  EXPECT_EQ(left.sideFiles, eOsIoError);
  EXPECT_FALSE(os_->files().createFolder(L"/f"));
  EXPECT_FALSE(os_->files().hasFile(L"/a"));
  expectNamesFail();
  EXPECT_FALSE(event());
  EXPECT_EQ(co_create([](void*) { return 0u; }, "x", 0, nullptr, 1, 0), 0u);
  EXPECT_FALSE(OS()->getThreads()->createTaskQueue("x", 1));
  EXPECT_FALSE(OS()->getAsyncIo()->createContext());
  EXPECT_FALSE(OS()->getAsyncIo()->createPort("x", {}, 3, 3, 3, 3));
  Qv::Ptr<iTaskQueue> queue = OS()->getThreads()->createTaskQueue("x", 1);
  EXPECT_FALSE(queue->post(Qv::Ptr<iTask>(new Task([] {}))));
  Finished finished;
  Qv::Ptr<iFile> file = open(L"/a");
  FILE_INFO info;
  char byte = 0;
  EXPECT_EQ(file->getInfo(&info), eOsIoError);
  EXPECT_EQ(file->readAt(0, &byte, 1, nullptr), eOsIoError);
  EXPECT_EQ(file->writeAt(0, &byte, 1, nullptr), eOsIoError);
  EXPECT_EQ(file->settle(), eOsIoError);
  EXPECT_EQ(file->flush(), eOsIoError);
  EXPECT_EQ(file->attach(finished.handler()), eOsIoError);
  EXPECT_EQ(file->attach(finished.handler()), 1u);
  Transfer transfer(1);
  EXPECT_EQ(file->startRead(transfer.context, transfer.at(0)), eOsIoError);
  EXPECT_EQ(file->startWrite(transfer.context, transfer.at(0)), eOsIoError);
  EXPECT_EQ(file->startRead(transfer.context, transfer.at(0)), 1u);
  os_->run();
  EXPECT_EQ(file->startWrite(transfer.context, transfer.at(0)), 1u);
  os_->run();
  ASSERT_EQ(finished.count(), 2u);
  EXPECT_EQ(finished.reports()[0].error, eOsIoError);
  EXPECT_EQ(finished.reports()[1].error, eOsIoError);
  EXPECT_EQ(OS()->getVirtualMemory()->allocate(nullptr, 1, 0x3000, 4), nullptr);
  for (size_t call = 0; call < FaultPlan::eCallKinds; ++call)
    EXPECT_EQ(faults.fired(static_cast<FaultPlan::eCall>(call)), 1u) << call;
}

TEST_F(FakeOSTest, AFullDiskTakesWhatFitsAndFails) {
  os_->files().setDrive(L"/small/", {.capacity = 1000});
  os_->files().addFile(L"/small/other", patternBytes(300));
  Qv::Ptr<iFile> file = open(L"/small/clip");
  std::vector<unsigned char> bytes = patternBytes(800);
  uint32_t done = 0;
  EXPECT_EQ(file->writeAt(0, bytes.data(), 800, &done), eOsNoSpace);
  EXPECT_EQ(done, 700u);
  EXPECT_EQ("", whyNotPattern(os_->files().bytesOf(L"/small/clip")));
  EXPECT_EQ(file->writeAt(0, bytes.data(), 700, &done), 1u);
  EXPECT_EQ(open(L"/elsewhere")->writeAt(0, bytes.data(), 800, &done), 1u);
}

TEST_F(FakeOSTest, DrivesAreWhatTheTestSays) {
  os_->files().setDrive(L"/net/", {.type = iDiskDrive::eNetwork, .sectorSize = 4096});
  os_->files().setDrive(L"/net/plain/", {.asyncTransfers = false, .readOnly = true});
  os_->files().setDrive(L"/odd/", {.known = false});
  EXPECT_EQ(OS()->getFileManager()->getDisk(L"/net/a")->getType(), iDiskDrive::eNetwork);
  EXPECT_EQ(OS()->getFileManager()->getDisk(L"/net/a")->getSectorSize(), 4096u);
  EXPECT_EQ(OS()->getFileManager()->getDisk(L"/net/plain/a")->getType(), iDiskDrive::eFixed);
  EXPECT_FALSE(OS()->getFileManager()->getDisk(L"/odd/a"));
  EXPECT_FALSE(open(L"/net/plain/a"));
  EXPECT_EQ(OS()->getErrors()->getLastError(), eOsReadOnly);
  os_->files().addFile(L"/net/plain/a/");
  EXPECT_EQ(open(L"/net/plain/a/", false)->getCapabilities(), 0u);
}

TEST_F(FakeOSTest, OpensAndTransfersAreRecorded) {
  open(L"/none", false);
  Qv::Ptr<iFile> file = os_->files().openFile(L"/b", 3, 3, 4, 32);
  file->write("abc", 3, nullptr);
  ASSERT_EQ(os_->files().opens().size(), 2u);
  EXPECT_EQ(os_->files().opens()[0].door, FakeOpen::eMedia);
  EXPECT_EQ(os_->files().opens()[0].mode, 3u);
  EXPECT_EQ(os_->files().opens()[0].result, eOsNotFound);
  EXPECT_EQ(os_->files().opens()[1].attributes, 32u);
  ASSERT_EQ(os_->files().transfers().size(), 1u);
  const FakeTransferRecord& transfer = os_->files().transfers()[0];
  EXPECT_TRUE(transfer.write);
  EXPECT_EQ(transfer.way, FakeTransferRecord::eAtPosition);
  EXPECT_EQ(transfer.done, 3u);
  EXPECT_EQ(os_->files().liveFiles(), 1u);
}
