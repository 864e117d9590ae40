#include "fsys/SpeedVerdict.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using SpeedVerdict::isTooSlow;
using SpeedVerdict::rate;

constexpr int kMinRate = 300;
constexpr int kMaxQueue = 1000;

TEST(SpeedVerdictTest, ARateIsBytesPerMillisecond) {
  EXPECT_DOUBLE_EQ(rate(3000, 10, 20), 300);
  EXPECT_TRUE(std::isinf(rate(1, 10, 10)));
}

TEST(SpeedVerdictTest, ATransferOfExactly10000BytesIsNeverJudgedByItsRateAndOneMoreIs) {
  EXPECT_FALSE(isTooSlow(10000, 1, kMinRate, 0, kMaxQueue));
  EXPECT_TRUE(isTooSlow(10001, 1, kMinRate, 0, kMaxQueue));
}

TEST(SpeedVerdictTest, OnlyARateBelowTheLeastIsTooSlow) {
  EXPECT_FALSE(isTooSlow(20000, 300, kMinRate, 0, kMaxQueue));
  EXPECT_TRUE(isTooSlow(20000, 299.999, kMinRate, 0, kMaxQueue));
}

TEST(SpeedVerdictTest, AQueueOf1000999BytesIsNotTooLongAnd1001000Is) {
  EXPECT_FALSE(isTooSlow(1, 1, kMinRate, 1000999, kMaxQueue));
  EXPECT_TRUE(isTooSlow(1, 1, kMinRate, 1001000, kMaxQueue));
}

TEST(SpeedVerdictTest, ALongQueueIsTooSlowHoweverFastTheTransferWas) {
  EXPECT_TRUE(isTooSlow(20000, 1e9, kMinRate, 1001000, kMaxQueue));
}

TEST(SpeedVerdictTest, NoBytesInNoTimeIsNoRateAndNotTooSlow) {
  EXPECT_FALSE(isTooSlow(0, rate(0, 5, 5), kMinRate, 0, kMaxQueue));
}

}  // namespace
