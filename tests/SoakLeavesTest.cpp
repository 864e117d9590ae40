// How the soak judges: whether a figure grows, whether what is late is excused, and who must have
// heard what. Numbers in, numbers out.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/soak/Flatness.h"
#include "tests/soak/NewsLog.h"
#include "tests/soak/Spans.h"
#include "tests/soak/Turn.h"

namespace {

constexpr double kSlack = 4;

template <typename Value>
std::vector<double> sampled(size_t count, const Value& value) {
  std::vector<double> samples;
  for (size_t i = 0; i < count; ++i) samples.push_back(value(static_cast<double>(i)));
  return samples;
}
Flatness::eVerdict judged(const std::vector<double>& samples) {
  return Flatness(samples, kSlack).verdict;
}

TEST(FlatnessTest, WhatStaysIsFlatAndSoIsWhatGrowsByTheSlackAndNotMore) {
  EXPECT_EQ(judged(sampled(100, [](double) { return 50; })), Flatness::eFlat);
  const auto step = [](double by) {
    return sampled(100, [by](double i) { return i < 75 ? 50 : 50 + by; });
  };
  EXPECT_EQ(judged(step(kSlack)), Flatness::eFlat);
  EXPECT_EQ(judged(step(kSlack + 0.1)), Flatness::eGrows);
  EXPECT_EQ(judged(step(-kSlack - 1)), Flatness::eFlat);
}

TEST(FlatnessTest, WhatGrowsALittleEachTimeGrows) {
  EXPECT_EQ(judged(sampled(180, [](double i) { return 50 + i * 0.05; })), Flatness::eGrows);
  EXPECT_EQ(judged(sampled(180, [](double i) { return 50 - i * 0.05; })), Flatness::eFlat);
}

TEST(FlatnessTest, TheFirstQuarterMayBeAnything) {
  EXPECT_EQ(judged(sampled(100, [](double i) { return i < 25 ? i * 2 : 50; })), Flatness::eFlat);
  EXPECT_EQ(judged(sampled(100, [](double i) { return i < 25 ? 500 : i; })), Flatness::eGrows);
}

TEST(FlatnessTest, PeaksAndDipsAreNoGrowth) {
  const auto peaks = [](double i) { return static_cast<int>(i) % 10 == 9 ? 5000 : 50; };
  EXPECT_EQ(judged(sampled(100, peaks)), Flatness::eFlat);
  const auto lateDip = [](double i) { return i > 30 && i < 40 ? 0 : 50; };
  EXPECT_EQ(judged(sampled(100, lateDip)), Flatness::eFlat);
}

TEST(FlatnessTest, FewerThan60SamplesSayNothingAndTheMediansAreToldAllTheSame) {
  const auto grows = [](double i) { return i * 100; };
  EXPECT_EQ(judged(sampled(59, grows)), Flatness::eUnknown);
  EXPECT_EQ(judged(sampled(60, grows)), Flatness::eGrows);
  EXPECT_EQ(judged({}), Flatness::eUnknown);
  const Flatness few(sampled(8, [](double i) { return i; }), kSlack);
  EXPECT_EQ(few.warm, 2.5);
  EXPECT_EQ(few.last, 6.5);
}

TEST(SpansTest, ASpanTouchesWhatItMeetsAndCoversWhatItShares) {
  Spans spans;
  spans.add(100, 200);
  spans.add(300, 350);
  EXPECT_FALSE(spans.touches(0, 99));
  EXPECT_TRUE(spans.touches(0, 100));
  EXPECT_TRUE(spans.touches(200, 250));
  EXPECT_FALSE(spans.touches(201, 299));
  EXPECT_EQ(spans.covered_ms(150, 320), 70);
  EXPECT_EQ(spans.covered_ms(0, 1000), 150);
  EXPECT_EQ(spans.covered_ms(210, 290), 0);
  EXPECT_EQ(spans.longest_ms(), 100);
}

TEST(SpansTest, OneThatGoesOnCoversAllThatComes) {
  Spans spans;
  spans.begin(100);
  spans.begin(150);
  EXPECT_TRUE(spans.isOpen());
  EXPECT_TRUE(spans.touches(5000, 6000));
  EXPECT_EQ(spans.covered_ms(50, 250), 150);
  spans.end(200);
  spans.end(400);
  EXPECT_FALSE(spans.isOpen());
  EXPECT_FALSE(spans.touches(201, 6000));
}

TEST(SpansTest, TheLatest256AreKnown) {
  Spans spans;
  for (int i = 0; i <= 256; ++i) spans.add(i * 10, i * 10 + 1);
  EXPECT_FALSE(spans.touches(0, 5));
  EXPECT_TRUE(spans.touches(10, 11));
}

TEST(TurnTest, AFaultExcusesItsOwnAndTheMachineWhoeverLostHalfASecond) {
  EXPECT_EQ(judgeTurn(true, true, 10'000), eTurn::eInTime);
  EXPECT_EQ(judgeTurn(false, true, 0), eTurn::eLateInFault);
  EXPECT_EQ(judgeTurn(false, false, kExcusingStall_ms), eTurn::eLateInStall);
  EXPECT_EQ(judgeTurn(false, false, kExcusingStall_ms - 1), eTurn::eLate);
}

const NewsLog::Item kNews{1, "V0000000100"};

class NewsLogTest : public testing::Test {
protected:
  void come() {
    stay_.beforeComing = log_.moment();
    stay_.afterComing = log_.moment();
  }
  void go() {
    stay_.beforeGoing = log_.moment();
    stay_.afterGoing = log_.moment();
  }
  void tell() {
    log_.begin(kNews);
    log_.end(kNews);
  }
  std::string heard(unsigned times) const {
    return log_.whyNotHeard(stay_, std::vector<NewsLog::Item>(times, kNews));
  }

  NewsLog log_;
  NewsLog::Stay stay_;
};

TEST_F(NewsLogTest, WhatIsToldWithinAStayIsHeardOnce) {
  come();
  tell();
  go();
  EXPECT_EQ(heard(1), "");
  EXPECT_EQ(heard(0), "did not hear of V0000000100");
  EXPECT_EQ(heard(2), "heard twice of V0000000100");
}

TEST_F(NewsLogTest, WhatIsToldBeforeOrAfterAStayIsNotHeard) {
  tell();
  come();
  go();
  EXPECT_EQ(heard(0), "");
  EXPECT_NE(heard(1), "");
  log_.forgetBefore(log_.moment());
  tell();
  EXPECT_EQ(heard(0), "");
  EXPECT_NE(heard(1), "");
}

TEST_F(NewsLogTest, WhatIsToldAsAListenerComesOrGoesMayBeHeardOnce) {
  log_.begin(kNews);
  come();
  log_.end(kNews);
  go();
  for (unsigned times : {0u, 1u}) EXPECT_EQ(heard(times), "");
  EXPECT_NE(heard(2), "");
  come();
  log_.begin(kNews);
  go();
  for (unsigned times : {0u, 1u}) EXPECT_EQ(heard(times), "") << "it is still being told";
  log_.end(kNews);
  for (unsigned times : {0u, 1u}) EXPECT_EQ(heard(times), "");
}

TEST_F(NewsLogTest, WhatIsToldInTheMiddleOfComingOrGoingMayBeHeardOnceToo) {
  stay_.beforeComing = log_.moment();
  tell();
  stay_.afterComing = log_.moment();
  go();
  for (unsigned times : {0u, 1u}) EXPECT_EQ(heard(times), "");
  come();
  stay_.beforeGoing = log_.moment();
  tell();
  stay_.afterGoing = log_.moment();
  for (unsigned times : {0u, 1u}) EXPECT_EQ(heard(times), "");
}

TEST_F(NewsLogTest, OfWhatNobodyToldNobodyHears) {
  come();
  go();
  EXPECT_EQ(heard(1), "heard of V0000000100, of which nobody told");
  tell();
  EXPECT_NE(log_.whyNotHeard(stay_, {{2, kNews.second}}), "") << "of another kind";
}

TEST_F(NewsLogTest, WhatWasToldBeforeAMomentIsForgottenAndNothingElse) {
  tell();
  log_.begin({1, "V0000000200"});
  log_.forgetBefore(log_.moment());
  EXPECT_EQ(log_.size(), 1u);
}

}  // namespace
