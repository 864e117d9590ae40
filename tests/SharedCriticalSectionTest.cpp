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

TEST(SharedCriticalSectionTest, ATryFailsWhileSomebodyReadsAndChangesNothing) {
  SharedCriticalSection section;
  {
    SharedCriticalSectionRead reader(section);
    EXPECT_FALSE(section.tryEnter());
  }
  SharedCriticalSectionRead reader(section);
  EXPECT_TRUE(reader.isBesideOthers()) << "nothing is held";
}

TEST(SharedCriticalSectionTest, WhatIsFreeOrHeldByTheThreadItselfIsEnteredByATry) {
  SharedCriticalSection section;
  ASSERT_TRUE(section.tryEnter());
  EXPECT_TRUE(section.tryEnter());
  section.leave();
  {
    SharedCriticalSectionRead reader(section);
    EXPECT_FALSE(reader.isBesideOthers()) << "entered twice, left once";
  }
  section.leave();
  SharedCriticalSectionRead reader(section);
  EXPECT_TRUE(reader.isBesideOthers());
}
