#include "platform/ConfigInt.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <string>

#include "tests/support/CapturedDiagnostics.h"

namespace {

constexpr int kDefault = -7;

int fromText(const std::string& text) {
  return configIntFromText(text, "media.conf", "Key", kDefault);
}

// Sets a variable for a scope.
class Variable {
public:
  Variable(const char* name, const char* value) : name_(name) { setenv(name, value, 1); }
  ~Variable() { unsetenv(name_); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

private:
  const char* name_;
};

}  // namespace

TEST(ConfigIntTest, BlanksCommentsAndOtherKeysAroundALineDoNotMatter) {
  EXPECT_EQ(fromText("Key=5"), 5);
  EXPECT_EQ(fromText("# Key = 4\n\n  Key \t=  5  # five\nKey2 = 6\nMyKey = 7\r\n"), 5);
  EXPECT_EQ(fromText("Key = 5\r\nOther = 1\r\n"), 5);
}

TEST(ConfigIntTest, WithoutItsLineAKeyHasItsDefault) {
  EXPECT_EQ(fromText(""), kDefault);
  EXPECT_EQ(fromText("key = 5\nKey\n#Key = 5\nOther = 1"), kDefault);
}

TEST(ConfigIntTest, TheLastLineOfAKeyCounts) { EXPECT_EQ(fromText("Key = 1\nKey = 2\n"), 2); }

TEST(ConfigIntTest, NumbersAreDecimalOrHexadecimalWithASign) {
  EXPECT_EQ(fromText("Key = 0x1F"), 31);
  EXPECT_EQ(fromText("Key = 0XfF"), 255);
  EXPECT_EQ(fromText("Key = -12"), -12);
  EXPECT_EQ(fromText("Key = +12"), 12);
  EXPECT_EQ(fromText("Key = -0x10"), -16);
  EXPECT_EQ(fromText("Key = 010"), 10);
}

TEST(ConfigIntTest, TheLimitsAreThoseOf32SignedBits) {
  CapturedDiagnostics captured;
  EXPECT_EQ(fromText("Key = 2147483647"), INT_MAX);
  EXPECT_EQ(fromText("Key = -2147483648"), INT_MIN);
  EXPECT_EQ(captured.log, "");
  EXPECT_EQ(fromText("Key = 2147483648"), kDefault);
  EXPECT_EQ(fromText("Key = -2147483649"), kDefault);
  EXPECT_EQ(fromText("Key = 0xFFFFFFFF"), kDefault);
  EXPECT_EQ(fromText("Key = 99999999999999999999999"), kDefault);
}

TEST(ConfigIntTest, ABadNumberIsLoggedWithItsFileAndLineAndGivesTheDefault) {
  CapturedDiagnostics captured;
  EXPECT_EQ(fromText("\nKey = 12 frames\n"), kDefault);
  EXPECT_EQ(captured.log, "media.conf line 2: '12 frames' is not an integer, -7 is used\n");
}

TEST(ConfigIntTest, WhatOnlyBeginsLikeANumberIsNone) {
  CapturedDiagnostics captured;
  for (const char* bad : {"", "-", "0x", "0xG", "1.5", "--1", "+-1", "12a", "0x-1", "one"})
    EXPECT_EQ(fromText(std::string("Key = ") + bad), kDefault) << bad;
}

TEST(ConfigIntTest, ABadLastLineDoesNotFallBackToAnEarlierOne) {
  CapturedDiagnostics captured;
  EXPECT_EQ(fromText("Key = 1\nKey = x\n"), kDefault);
  EXPECT_NE(captured.log.find("line 2"), std::string::npos);
}

TEST(ConfigIntTest, ATextWithZerosInsideIsReadToItsEnd) {
  EXPECT_EQ(fromText(std::string("a\0b = 1\nKey = 3", 15)), 3);
}

TEST(ConfigIntTest, TheEnvironmentGivesTheNumberOfAKey) {
  Variable variable("FSYS_CONFIG_SetForThisTest", " 0x20 ");
  EXPECT_EQ(config_int("SetForThisTest", 1), 32);
}

TEST(ConfigIntTest, ABadNumberInTheEnvironmentIsLoggedAndGivesTheDefault) {
  CapturedDiagnostics captured;
  Variable variable("FSYS_CONFIG_SetForThisTest", "many");
  EXPECT_EQ(config_int("SetForThisTest", 1), 1);
  EXPECT_EQ(captured.log, "FSYS_CONFIG_SetForThisTest='many' is not an integer, 1 is used\n");
}

TEST(ConfigIntTest, AKeyThatNobodySetHasItsDefault) {
  EXPECT_EQ(config_int("NobodySetsThisKey", 11), 11);
}
