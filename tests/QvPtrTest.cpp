#include "platform/QvPtr.h"

#include <gtest/gtest.h>

#include "platform/iObject.h"
#include "tests/support/FailingHeap.h"

namespace {

int alive = 0;

class Thing : public iObject {
public:
  Thing() { ++alive; }
  Thing(const Thing& other) : Qv::InternalRefCount(other), iObject(other) { ++alive; }
  ~Thing() override { --alive; }
};

class OtherFace : public virtual Qv::InternalRefCount {};
class TwoFaced final : public Thing, public OtherFace {};

// An object that knows nothing of its references.
struct Outside {
  Outside() { ++alive; }
  ~Outside() { --alive; }
};

}  // namespace

template <>
struct Qv::CountingOf<Outside> {
  using type = Qv::ExternalCounting;
};

namespace {

class QvPtrTest : public testing::Test {
protected:
  void SetUp() override { alive = 0; }
  void TearDown() override { EXPECT_EQ(alive, 0); }
};

TEST_F(QvPtrTest, TheLastReferenceDestroysTheObject) {
  Qv::Ptr<Thing> first(new Thing);
  Qv::Ptr<Thing> second(first);
  first.reset();
  EXPECT_EQ(alive, 1);
  second.reset();
  EXPECT_EQ(alive, 0);
}

TEST_F(QvPtrTest, MovingNeitherAddsNorDropsAReference) {
  Qv::Ptr<Thing> first(new Thing);
  Qv::Ptr<Thing> second(std::move(first));
  EXPECT_EQ(second->refCount(), 1);
  EXPECT_FALSE(first);
}

TEST_F(QvPtrTest, AssignmentToItselfKeepsTheObject) {
  Qv::Ptr<Thing> thing(new Thing);
  const Qv::Ptr<Thing>& same = thing;
  thing = same;
  EXPECT_EQ(alive, 1);
  EXPECT_EQ(thing->refCount(), 1);
}

TEST_F(QvPtrTest, ARawPointerMayBecomeAReferenceAgain) {
  Qv::Ptr<Thing> first(new Thing);
  Qv::Ptr<Thing> again(first.get());
  EXPECT_EQ(again->refCount(), 2);
}

TEST_F(QvPtrTest, TwoInterfacesOfOneObjectShareOneCount) {
  Qv::Ptr<TwoFaced> whole(new TwoFaced);
  Qv::Ptr<Thing> one(whole);
  Qv::Ptr<OtherFace> other(whole);
  EXPECT_EQ(whole->refCount(), 3);
  whole.reset();
  one.reset();
  EXPECT_EQ(alive, 1);
}

TEST_F(QvPtrTest, DynamicCastGivesAReferenceOrNull) {
  Qv::Ptr<Thing> plain(new Thing);
  Qv::Ptr<Thing> two(new TwoFaced);
  EXPECT_TRUE(Qv::dynamicCast<OtherFace>(two));
  EXPECT_EQ(two->refCount(), 1);
  EXPECT_FALSE(Qv::dynamicCast<OtherFace>(plain));
  EXPECT_FALSE(Qv::dynamicCast<OtherFace>(Qv::Ptr<Thing>()));
}

TEST_F(QvPtrTest, ACopiedObjectStartsWithoutReferences) {
  Qv::Ptr<Thing> first(new Thing);
  Thing copy(*first);
  EXPECT_EQ(copy.refCount(), 0);
}

TEST_F(QvPtrTest, AnExternallyCountedObjectGoesWithItsLastReference) {
  Qv::Ptr<Outside> first(new Outside);
  {
    Qv::Ptr<Outside> second(first);
    first = Qv::Ptr<Outside>();
    EXPECT_EQ(alive, 1);
    EXPECT_FALSE(first);
  }
  EXPECT_EQ(alive, 0);
}

TEST_F(QvPtrTest, AnExternallyCountedObjectThatCannotBeCountedIsDeleted) {
  FailingHeap heap;
  if (!heap.isAsked()) GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  bool threw = false;
  heap.refuse(1, true);
  try {
    Qv::Ptr<Outside> counted(new Outside);
  } catch (const std::bad_alloc&) {
    threw = true;
  }
  EXPECT_TRUE(heap.letBe());
  EXPECT_TRUE(threw);
  EXPECT_EQ(alive, 0);
  EXPECT_EQ(heap.live(), 0);
}

}  // namespace
