// The picture in which a piece of media is wanted.
#include "fsys/DecodeFormat.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/CapturedDiagnostics.h"

namespace {

using Qv::Image::Format;
using Qv::Image::Core::Data;

constexpr auto kNoLevel = static_cast<eProxyLevel>(3);
constexpr auto kFormat = static_cast<Format>(7);

std::string failedAt(int line) {
  return "assertion failed proxyLevel_ == eAuto || proxyLevel_ == eHighRes || "
         "proxyLevel_ == eProxy at fsys/DecodeFormat line " +
         std::to_string(line) + "\n";
}

Data someData() { return {1920, 1080, kFormat, 10, 20, true}; }

void expectSomeData(const Data& data) {
  EXPECT_EQ(data.getWidth(), 1920u);
  EXPECT_EQ(data.getHeight(), 1080u);
  EXPECT_EQ(data.getDataFormat(), kFormat);
  EXPECT_EQ(data.getBitsPerComponent(), 10);
  EXPECT_EQ(data.getBitsPerPixel(), 20);
  EXPECT_TRUE(data.isCoreDataSet());
}

// Puts the default back that was there.
class DecodeFormatTest : public testing::Test {
protected:
  ~DecodeFormatTest() override { DecodeFormat::setDefault(before_); }

  CapturedDiagnostics said_;

private:
  const DecodeFormat before_{DecodeFormat::getDefault()};
};

// First in this file, and each test has a process of its own.
TEST_F(DecodeFormatTest, TheDefaultIsOfHighResolutionWithoutASize) {
  EXPECT_EQ(DecodeFormat::getDefault().getProxyLevel(), eHighRes);
  EXPECT_EQ(DecodeFormat::getDefault().getWidth(), 0u);
  EXPECT_EQ(DecodeFormat::getDefault().getHeight(), 4294967295u);
}

TEST_F(DecodeFormatTest, LevelsHaveTheirNumbers) {
  EXPECT_EQ(eAuto, 0u);
  EXPECT_EQ(eHighRes, 1u);
  EXPECT_EQ(eProxy, 2u);
  EXPECT_EQ(sizeof(eProxyLevel), 4u);
}

TEST_F(DecodeFormatTest, AFormatOfNothingIsOfHighResolution) {
  EXPECT_EQ(DecodeFormat().getProxyLevel(), eHighRes);
  EXPECT_EQ(DecodeFormat().getHeight(), Data().getHeight());
  EXPECT_FALSE(DecodeFormat().isCoreDataSet());
}

TEST_F(DecodeFormatTest, AFormatOfALevelHasNoSizeButCountsAsSet) {
  for (eProxyLevel level : {eAuto, eHighRes, eProxy}) {
    DecodeFormat format(level);
    EXPECT_EQ(format.getProxyLevel(), level);
    EXPECT_EQ(format.getWidth(), 0u);
    EXPECT_EQ(format.getHeight(), 4294967295u);
    EXPECT_EQ(format.getDataFormat(), 4294967295u);
    EXPECT_EQ(format.getBitsPerComponent(), 0);
    EXPECT_EQ(format.getBitsPerPixel(), 0);
    EXPECT_TRUE(format.isCoreDataSet());
  }
  EXPECT_EQ(said_.out, "");
}

TEST_F(DecodeFormatTest, AFormatOfCoreDataIsOfHighResolutionWhateverTheDefault) {
  DecodeFormat::setDefault(DecodeFormat(eProxy));
  DecodeFormat format(someData());
  expectSomeData(format);
  EXPECT_EQ(format.getProxyLevel(), eHighRes);
}

TEST_F(DecodeFormatTest, ACopyHasAll) {
  DecodeFormat format(someData());
  format.setProxyLevel(eProxy);
  DecodeFormat copy(format);
  expectSomeData(copy);
  EXPECT_EQ(copy.getProxyLevel(), eProxy);
  DecodeFormat assigned;
  assigned = format;
  expectSomeData(assigned);
  EXPECT_EQ(assigned.getProxyLevel(), eProxy);
}

// Writes down what is set.
struct WatchedFormat : DecodeFormat {
  void setWidth(uint32_t) override { set.emplace_back("width"); }
  void setHeight(uint32_t) override { set.emplace_back("height"); }
  void setDataFormat(Format) override { set.emplace_back("format"); }
  void setBitsPerComponent(uint16_t) override { set.emplace_back("component"); }
  void setBitsPerPixel(uint16_t) override { set.emplace_back("pixel"); }
  void setCoreDataSet(bool) override { set.emplace_back("set"); }
  std::vector<std::string> set;
};
const std::vector<std::string> kAllSet{"width", "height", "format", "component", "pixel", "set"};

// Of a virtual base there is no way down.
template <typename Base, typename Derived>
concept LeadsDownTo = requires(Base* base) { static_cast<Derived*>(base); };
static_assert(std::is_base_of_v<Data, DecodeFormat> && !LeadsDownTo<Data, DecodeFormat>);
static_assert(std::is_base_of_v<iObject, Data>);

TEST_F(DecodeFormatTest, CoreDataAreSetByTheSettersInTheirOrder) {
  WatchedFormat format;
  format.setCoreData(someData());
  EXPECT_EQ(format.set, kAllSet);
}

// As the default is.
TEST_F(DecodeFormatTest, WhatIsAssignedToIsSetByItsSettersAndThenItsFields) {
  WatchedFormat format;
  DecodeFormat other(someData());
  other.setProxyLevel(eProxy);
  static_cast<DecodeFormat&>(format) = other;
  EXPECT_EQ(format.set, kAllSet);
  EXPECT_EQ(format.getProxyLevel(), eProxy);
}

TEST_F(DecodeFormatTest, SettingCoreDataLeavesTheLevel) {
  DecodeFormat format(eProxy);
  format.setCoreData(someData());
  expectSomeData(format);
  EXPECT_EQ(format.getProxyLevel(), eProxy);
  EXPECT_EQ(said_.out, "");
}

TEST_F(DecodeFormatTest, ALevelThatIsNoneIsReportedAndKept) {
  DecodeFormat format;
  format.setProxyLevel(kNoLevel);
  EXPECT_EQ(said_.out, failedAt(82));
  said_.out.clear();
  EXPECT_EQ(format.getProxyLevel(), kNoLevel);
  EXPECT_EQ(said_.out, failedAt(73));
  said_.out.clear();
  format.setCoreData(someData());
  EXPECT_EQ(said_.out, failedAt(65));
  expectSomeData(format);
}

TEST_F(DecodeFormatTest, AFormatMadeOfALevelThatIsNoneIsReportedOnlyWhenItIsAsked) {
  DecodeFormat format(kNoLevel);
  EXPECT_EQ(said_.out, "");
  EXPECT_EQ(format.getProxyLevel(), kNoLevel);
  EXPECT_EQ(said_.out, failedAt(73));
}

TEST_F(DecodeFormatTest, TheDefaultIsReplacedWhole) {
  DecodeFormat format(someData());
  format.setProxyLevel(eProxy);
  DecodeFormat* const before = &DecodeFormat::getDefault();
  DecodeFormat::setDefault(format);
  EXPECT_EQ(&DecodeFormat::getDefault(), before);
  expectSomeData(DecodeFormat::getDefault());
  EXPECT_EQ(DecodeFormat::getDefault().getProxyLevel(), eProxy);
}

}  // namespace
