#include "platform/SharedCriticalSection.h"

#include <gtest/gtest.h>

TEST(SharedCriticalSectionTest, AReaderIsBesideOthersWhileNobodyHasEntered) {
  SharedCriticalSection section;
  for (int turn = 0; turn < 3; ++turn) {
    SharedCriticalSectionRead reader(section);
    EXPECT_TRUE(reader.isBesideOthers());
  }
}

TEST(SharedCriticalSectionTest, WhoHoldsItMayEnterAgainAndRead) {
  SharedCriticalSection section;
  {
    SharedCriticalSectionLock once(section);
    {
      SharedCriticalSectionLock again(section);
      SharedCriticalSectionRead reader(section);
      EXPECT_FALSE(reader.isBesideOthers());
    }
    SharedCriticalSectionRead reader(section);
    EXPECT_FALSE(reader.isBesideOthers()) << "it is held until it was left as often as entered";
  }
  SharedCriticalSectionRead reader(section);
  EXPECT_TRUE(reader.isBesideOthers());
}
