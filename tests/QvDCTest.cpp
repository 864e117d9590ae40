#include "platform/QvDC.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/FailingHeap.h"

namespace {

struct Event {
  int number = 0;
};
struct Tag {};
using Traits = QvDC::ThreadSafetyTraits::ThreadSafe;
using Command = QvDC::SmplCmd<Event, Tag, Traits>;
using AnyCommand = QvDC::Cmd<Event, Traits>;

class Listener : public QvDC::Receiver<Command> {
public:
  unsigned executeCommand(Command&, Event& event) override {
    seen.push_back(event.number);
    if (inner && event.number > 0) inner.execute({event.number - 1});
    return 40 + static_cast<unsigned>(event.number);
  }

  std::vector<int> seen;
  AnyCommand inner;
};

size_t poolCapacity() { return QvDC::SimpleCommandRep<Command>::pooledCapacity(); }

}  // namespace

TEST(QvDCTest, ExecutingReachesTheReceiverWithTheContextAndBringsItsAnswerBack) {
  Listener listener;
  EXPECT_EQ(Command(&listener).bind().execute({2}), 42u);
  EXPECT_EQ(listener.seen, std::vector<int>{2});
}

TEST(QvDCTest, AnUnboundCommandAnswersZero) {
  AnyCommand unbound;
  EXPECT_FALSE(unbound);
  EXPECT_EQ(unbound.execute({1}), 0u);
}

TEST(QvDCTest, CopiesReachTheSameReceiverAndOutliveTheCommandTheyWereBoundBy) {
  Listener listener;
  AnyCommand copy;
  {
    AnyCommand bound = Command(&listener).bind();
    copy = bound;
  }
  copy.execute({5});
  EXPECT_EQ(listener.seen, std::vector<int>{5});
}

TEST(QvDCTest, ACommandMayBeExecutedFromWithinItself) {
  Listener listener;
  listener.inner = Command(&listener).bind();
  listener.inner.execute({3});
  EXPECT_EQ(listener.seen, (std::vector<int>{3, 2, 1, 0}));
  listener.inner = AnyCommand();
}

TEST(QvDCTest, AHundredThousandExecutionsDoNotGrowThePool) {
  Listener listener;
  AnyCommand command = Command(&listener).bind();
  command.execute({0});
  size_t before = poolCapacity();
  for (int i = 0; i < 100000; ++i) command.execute({0});
  EXPECT_EQ(poolCapacity(), before);
  EXPECT_EQ(listener.seen.size(), 100001u);
}

TEST(QvDCTest, ACommandIsExecutedAlsoWhenThePoolCannotGrow) {
  FailingHeap heap;
  if (!heap.isAsked()) GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  Listener listener;
  listener.seen.reserve(1);
  AnyCommand command = Command(&listener).bind();
  std::vector<Qv::Ptr<QvDC::SimpleCommandRep<Command>>> taken(poolCapacity());
  heap.refuse(0, false);
  for (auto& slot : taken) {
    try {
      slot = Qv::Ptr<QvDC::SimpleCommandRep<Command>>(new QvDC::SimpleCommandRep<Command>(nullptr));
    } catch (const std::bad_alloc&) {
      break;  // every slot of the pool is taken
    }
  }
  unsigned answer = command.execute({2});
  EXPECT_TRUE(heap.letBe());
  EXPECT_EQ(answer, 42u);
  EXPECT_EQ(listener.seen, std::vector<int>{2});
}
