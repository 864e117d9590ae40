// Whom this thread is telling, and what others ask about it.

#include "fsys/DeliveryScope.h"

#include "tests/FileRequestFixture.h"

namespace {

class DeliveryScopeTest : public FileRequestTest {
protected:
  RequestHandle read_ = makeRead(0, 512);
  RequestHandle write_ = makeWrite(0, 512, TestHolder::ofPattern(512));
  RecordingFile other_;
};

TEST_F(DeliveryScopeTest, AThreadIsTellingForAsLongAsAnyOfItsScopesLives) {
  EXPECT_FALSE(DeliveryScope::active());
  {
    DeliveryScope outer(read_.get());
    {
      DeliveryScope inner(&file_);
    }
    EXPECT_TRUE(DeliveryScope::active());
  }
  EXPECT_FALSE(DeliveryScope::active());
}

TEST_F(DeliveryScopeTest, OnlyTheInnermostScopeTakesAKickAndOnlyItsOwnFiles) {
  DeliveryScope outer(read_.get(), 0, true);
  EXPECT_FALSE(DeliveryScope::takeKick(&other_));
  EXPECT_FALSE(outer.tookKick());
  {
    DeliveryScope inner(&file_);
    EXPECT_FALSE(DeliveryScope::takeKick(&file_)) << "nobody makes a pass after this one";
  }
  EXPECT_FALSE(outer.tookKick());
  EXPECT_TRUE(DeliveryScope::takeKick(&file_));
  EXPECT_TRUE(outer.tookKick());
}

TEST_F(DeliveryScopeTest, WriteBytesOfAFileAreHeldByAllScopesOfItsWrites) {
  DeliveryScope first(write_.get(), 512);
  DeliveryScope reading(read_.get(), 4096);
  DeliveryScope second(write_.get(), 100);
  EXPECT_EQ(DeliveryScope::writeBytesHeld(&file_), 612u);
  EXPECT_EQ(DeliveryScope::writeBytesHeld(&other_), 0u);
}

}  // namespace
