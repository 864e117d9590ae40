// Real threads against each other: queue, merge, complete, hit, close and shut down.

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "platform/OS.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/StreamedFile.h"

namespace {

constexpr uint32_t kFileBytes = 4 << 20;

class EngineStressTest : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_EQ(FsysInitialize(), 1u);
    ASSERT_TRUE(streamOut(folder_ / "media", 0, kFileBytes, 1 << 20));
  }
  void TearDown() override { FsysUninitialize(Shutdown::eNormal); }

  FsysFile* open() {
    FsysFile* file = nullptr;
    EXPECT_EQ(FsysOpen(&file, folder_ / "media", 1 << 18, 1, nullptr), 1u);
    return file;
  }

  ScratchFolder folder_;
};

// What one answer may be: the bytes that were asked for, or a refusal.
struct Question : iObject {
  uint64_t offset = 0;
  uint32_t bytes = 0;
  std::atomic<unsigned>* answered = nullptr;
  std::atomic<unsigned>* wrong = nullptr;

  static void told(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
    auto& question = static_cast<Question&>(*context);
    bool right = status == eRequestSucceeded
                     ? data && data->getSize() == question.bytes &&
                           whyNotPattern(data->getBuffer(), question.bytes, question.offset).empty()
                     : !data;
    if (!right) question.wrong->fetch_add(1);
    question.answered->fetch_add(1);
  }
};

// Until so many were answered, or a minute has passed.
void waitFor(const std::atomic<unsigned>& answered, unsigned expected) {
  double deadline_ms = Qv::now() + 60'000;
  while (answered.load() < expected && Qv::now() < deadline_ms) std::this_thread::yield();
}

TEST_F(EngineStressTest, ManyThreadsReadOneFileAndEachQuestionIsAnsweredOnceAndRight) {
  FsysFile* file = open();
  std::atomic<unsigned> answered{0};
  std::atomic<unsigned> wrong{0};
  std::atomic<unsigned> accepted{0};
  std::vector<std::thread> readers;
  for (unsigned seed = 1; seed <= 4; ++seed) {
    readers.emplace_back([&, seed] {
      std::mt19937 random(seed);
      for (int i = 0; i < 400; ++i) {
        Qv::Ptr<Question> question(new Question);
        question->bytes = static_cast<uint32_t>(1 + random() % 60000);
        question->offset = random() % (kFileBytes - question->bytes);
        question->answered = &answered;
        question->wrong = &wrong;
        Qv::Ptr<iObject> context(question);
        while (file->DirectRead(static_cast<long>(question->offset), question->bytes,
                                random() % 2 == 0, &Question::told, context) != 1)
          std::this_thread::yield();
        accepted.fetch_add(1);
      }
    });
  }
  for (std::thread& reader : readers) reader.join();
  waitFor(answered, accepted.load());
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(accepted.load(), 1600u);
  EXPECT_EQ(answered.load(), 1600u);
  EXPECT_EQ(wrong.load(), 0u);
}

TEST_F(EngineStressTest, FilesThatAreClosedWhileTheyAreReadAnswerEveryAcceptedReadOnce) {
  for (int round = 0; round < 20; ++round) {
    FsysFile* file = open();
    std::atomic<unsigned> answered{0};
    std::atomic<unsigned> wrong{0};
    unsigned accepted = 0;
    for (uint64_t at = 0; at < 16; ++at) {
      Qv::Ptr<Question> question(new Question);
      question->offset = at * 262144;
      question->bytes = 200000;
      question->answered = &answered;
      question->wrong = &wrong;
      Qv::Ptr<iObject> context(question);
      accepted += file->DirectRead(static_cast<long>(question->offset), 200000, false,
                                   &Question::told, context);
    }
    EXPECT_EQ(FsysClose(file, nullptr), 1u);
    // A callback that runs as the close ends may end a little later.
    waitFor(answered, accepted);
    EXPECT_EQ(answered.load(), accepted);
    EXPECT_EQ(wrong.load(), 0u);
  }
}

TEST_F(EngineStressTest, EnginesThatEndWithReadsInFlightAreInertAfterwards) {
  static std::atomic<unsigned> answered;
  static std::atomic<unsigned> wrong;
  for (int round = 0; round < 20; ++round) {
    answered = 0;
    wrong = 0;
    for (int files = 0; files < 3; ++files) {
      FsysFile* file = open();
      for (uint64_t at = 0; at < 8; ++at) {
        Qv::Ptr<Question> question(new Question);
        question->offset = at * 300000;
        question->bytes = 262144;
        question->answered = &answered;
        question->wrong = &wrong;
        Qv::Ptr<iObject> context(question);
        ASSERT_EQ(file->DirectRead(static_cast<long>(question->offset), question->bytes, false,
                                   &Question::told, context),
                  1u);
      }
    }
    FsysUninitialize(Shutdown::eNormal);
    unsigned whenItEnded = answered.load();
    EXPECT_LE(whenItEnded, 24u);
    ASSERT_EQ(FsysInitialize(), 1u);
    EXPECT_EQ(answered.load(), whenItEnded) << "nobody is called after the end";
  }
}

}  // namespace
