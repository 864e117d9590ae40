#include "platform/common/ConfigFile.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/DriveErrand.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/CapturedDiagnostics.h"

namespace {

class ConfigFileReadTest : public ::testing::Test {
protected:
  ConfigFileReadTest() { os_->systemInfo().setEnvironment("XDG_CONFIG_HOME", "/net/me"); }

  void put(const wchar_t* name, std::string_view text) {
    os_->files().addFile(name, {text.begin(), text.end()});
  }
  void setDrive(bool silent) {
    os_->files().setDrive(L"/net/", {.type = iDiskDrive::eNetwork, .silent = silent});
  }
  std::string text() { return ConfigFile::read(*os_).text; }

  FakeOSScope os_;
  CapturedDiagnostics captured_;
};

constexpr wchar_t kUsual[] = L"/net/me/fsys/fsys.conf";

}  // namespace

TEST_F(ConfigFileReadTest, TheFileOnADriveThatAnswersIsReadWhereverItsDriveIsAsked) {
  put(kUsual, "Key = 1\n");
  for (bool onADriveOfItsOwn : {false, true}) {
    if (onADriveOfItsOwn) setDrive(false);
    ConfigFile file = ConfigFile::read(*os_);
    EXPECT_EQ(file.name, "/net/me/fsys/fsys.conf");
    EXPECT_EQ(file.text, "Key = 1\n");
  }
  EXPECT_EQ(captured_.log, "");
}

TEST_F(ConfigFileReadTest, ADriveThatDoesNotAnswerCosts500MsOnceAndIsLogged) {
  put(kUsual, "Key = 1\n");
  put(L"/net/other.conf", "Key = 2\n");
  setDrive(true);
  double before_ms = os_->clock().now_ms();
  EXPECT_EQ(text(), "");
  EXPECT_EQ(os_->clock().now_ms() - before_ms, kDrivePatience_ms);
  const std::string why =
      " is not read, the defaults are used: " + OS()->getErrors()->describe(eOsTimedOut) + "\n";
  EXPECT_EQ(captured_.log, "/net/me/fsys/fsys.conf" + why);
  captured_.log.clear();
  os_->systemInfo().setEnvironment("FSYS_CONFIG", "/net/other.conf");
  EXPECT_EQ(text(), "");
  EXPECT_EQ(captured_.log, "/net/other.conf" + why);
  EXPECT_EQ(os_->clock().now_ms() - before_ms, kDrivePatience_ms)
      << "what is late is not waited for";
}

TEST_F(ConfigFileReadTest, WhatADriveAnswersTooLateIsNotSaidAndHarmsNobody) {
  put(kUsual, std::string(ConfigFile::kMost_bytes + 1, '#'));
  setDrive(true);
  EXPECT_EQ(text(), "");
  captured_.log.clear();
  os_->files().drive(L"/net/").silent = false;
  EXPECT_EQ(os_->files().runLateErrands(), 1u);
  EXPECT_EQ(captured_.log, "");
}

TEST_F(ConfigFileReadTest, AFileOf1MiBIsReadAndOneByteMoreIsIgnoredAndSaidSo) {
  put(kUsual, std::string(ConfigFile::kMost_bytes, '#'));
  EXPECT_EQ(text().size(), ConfigFile::kMost_bytes);
  EXPECT_EQ(captured_.log, "");
  put(kUsual, std::string(ConfigFile::kMost_bytes + 1, '#'));
  EXPECT_EQ(text(), "");
  EXPECT_EQ(captured_.log,
            "/net/me/fsys/fsys.conf is too large for a configuration file, it is ignored\n");
}

TEST_F(ConfigFileReadTest, WhereThereIsNoneOrNoPlaceForOneThereIsNoText) {
  EXPECT_EQ(text(), "");
  os_->systemInfo().setEnvironment("XDG_CONFIG_HOME", "");
  EXPECT_EQ(text(), "");
  EXPECT_EQ(ConfigFile::pathOf(*OS()->getSystemInfo()), L"");
  EXPECT_EQ(captured_.log, "");
}
