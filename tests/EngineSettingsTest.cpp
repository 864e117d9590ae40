// What the engine's settings and globals are when the library has just been loaded. Each test looks
// at a process of its own, started anew with the environment that the test says.

#include "fsys/EngineSettings.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fsys/FileRequest.h"
#include "fsys/Fsys.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/TestDiagnostics.h"

namespace {

struct Key {
  const char* name;
  int* setting;
  int byDefault;
};

const std::vector<Key>& keys() {
  using namespace EngineSettings;
  static const std::vector<Key> all = {
      {"ReadPollDelay", &ReadPollDelay, 50},
      {"WritePollDelay", &WritePollDelay, 50},
      {"ShowReadBuffDebug", &ShowReadBuffDebug, 0},
      {"ShowWriteBuffDebug", &ShowWriteBuffDebug, 0},
      {"ShowRequestDebug", &ShowRequestDebug, 0},
      {"MaxRequestListSize", &MaxRequestListSize, 40},
      {"MaxFsysWriteRetries", &MaxFsysWriteRetries, 200},
      {"DontBuffNetReads", &DontBuffNetReads, 0},
      {"DisableSetOwner", &DisableSetOwner, 0},
      {"AlwaysUseWriteCache", &AlwaysUseWriteCache, 0},
      {"ForcePollLimit", &ForcePollLimit, 30},
      {"MinNetDiskRate", &MinNetDiskRate, 300},
      {"MaxNetWriteQueue", &MaxNetWriteQueue, 1500},
      {"MaxNetReadQueue", &MaxNetReadQueue, 1000},
      {"kMaxAllocRetries", &kMaxAllocRetries, 20},
  };
  return all;
}

// "key=value " of every key.
std::string settings() {
  std::string text;
  for (const Key& key : keys())
    text += std::string(key.name) + "=" + std::to_string(*key.setting) + " ";
  return text;
}

class EngineSettingsTest : public testing::Test {
protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    set("XDG_CONFIG_HOME", "/nonexistent");
    set("FSYS_CONFIG", nullptr);
    for (const Key& key : keys()) setKey(key, nullptr);
  }
  void TearDown() override {
    for (const Variable& variable : before_)
      put(variable.name.c_str(), variable.wasSet ? variable.value.c_str() : nullptr);
  }

  // For the children; this process has read its own long ago.
  void setKey(const Key& key, const char* value) {
    set((std::string("FSYS_CONFIG_") + key.name).c_str(), value);
  }
  // What a child says of all its settings.
  static void say() {
    std::fputs(settings().c_str(), stderr);
    std::exit(0);
  }

private:
  struct Variable {
    std::string name;
    bool wasSet;
    std::string value;
  };
  static void put(const char* name, const char* value) {
    if (value)
      setenv(name, value, 1);
    else
      unsetenv(name);
  }
  void set(const char* name, const char* value) {
    const char* now = std::getenv(name);
    before_.insert(before_.begin(), {name, now != nullptr, now ? now : ""});
    put(name, value);
  }

  std::vector<Variable> before_;
};

TEST_F(EngineSettingsTest, EveryKeyHasItsDefault) {
  std::string expected;
  for (const Key& key : keys())
    expected += std::string(key.name) + "=" + std::to_string(key.byDefault) + " ";
  EXPECT_EXIT(say(), testing::ExitedWithCode(0), expected);
}

TEST_F(EngineSettingsTest, EveryKeyIsTakenFromTheEnvironmentWhenTheLibraryIsLoaded) {
  std::string expected;
  int value = 1000;
  for (const Key& key : keys()) {
    setKey(key, std::to_string(++value).c_str());
    expected += std::string(key.name) + "=" + std::to_string(value) + " ";
  }
  EXPECT_EXIT(say(), testing::ExitedWithCode(0), expected);
}

TEST_F(EngineSettingsTest, ABadNumberGivesTheDefaultAndTheOthersStand) {
  setKey(keys()[0], "soon");
  setKey(keys()[1], "75");
  EXPECT_EXIT(say(), testing::ExitedWithCode(0), "ReadPollDelay=50 WritePollDelay=75 ");
}

// Which of the globals are not what they must be at load.
std::string wrongGlobals() {
  std::string wrong;
  auto expect = [&](const char* name, bool right) {
    wrong += right ? "" : std::string(name) + " ";
  };
  expect("theFsys", theFsys == nullptr);
  expect("FsysError", FsysError == 1);
  expect("FsysGetLastError", FsysGetLastError() == 1);
  expect("MaxReadCoalesceSize", MaxReadCoalesceSize == 33177600);
  expect("MaxWriteCoalesceSize", MaxWriteCoalesceSize == 4194304);
  expect("CoalesceGap_", FileRequest::CoalesceGap_ == 4096);
  expect("usageClock_", FileRequest::usageClock_.get() == 0);
  expect("GlobalWriteSpeedWarningFlag", GlobalWriteSpeedWarningFlag);
  expect("BufferSpace_", Fsys::BufferSpace_ == nullptr);
  expect("networkWriteCaching", !EngineSettings::networkWriteCaching);
  expect("deferRequests", !EngineSettings::deferRequests);
  return wrong;
}

TEST_F(EngineSettingsTest, EveryGlobalHasItsInitialValue) {
  auto sayWrong = [] {
    std::fprintf(stderr, "wrong: (%s)", wrongGlobals().c_str());
    std::exit(0);
  };
  EXPECT_EXIT(sayWrong(), testing::ExitedWithCode(0), "wrong: \\(\\)");
}

// The last error after everything has gone well, in a process where nothing has failed yet.
TEST_F(EngineSettingsTest, TheLastErrorIs1UntilAnOpenHasFailed) {
  auto sayLastErrors = [] {
    FakeOSScope os;
    TestDiagnostics texts;
    os->files().addFile(L"/m/a");
    FsysInitialize();
    FsysFile* file = nullptr;
    FsysOpen(&file, LightweightString<wchar_t>(L"/m/a"), 0, 1, nullptr);
    FsysOpen(&file, LightweightString<wchar_t>(), 0, 1, nullptr);
    unsigned before = FsysGetLastError();
    FsysOpen(&file, LightweightString<wchar_t>(L"/m/missing"), 0, 1, nullptr);
    std::fprintf(stderr, "errors: (%u) (%x)", before, FsysGetLastError());
    std::_Exit(0);
  };
  EXPECT_EXIT(sayLastErrors(), testing::ExitedWithCode(0), "errors: \\(1\\) \\(1002\\)");
}

// Setters ----------------------------------------------------------------------------------------

TEST_F(EngineSettingsTest, TheSettersStoreWhatTheyAreGivenWithoutAnEngine) {
  ASSERT_EQ(theFsys, nullptr);
  FsysSetReadMaxCoalesceSize(1);
  FsysSetWriteMaxCoalesceSize(2);
  FsysSetWriteSpeedWarning(false);
  FsysSetNetworkWriteCaching(true);
  EXPECT_EQ(MaxReadCoalesceSize, 1u);
  EXPECT_EQ(MaxWriteCoalesceSize, 2u);
  EXPECT_FALSE(GlobalWriteSpeedWarningFlag);
  EXPECT_TRUE(EngineSettings::networkWriteCaching);
  FsysSetReadMaxCoalesceSize(33177600);
  FsysSetWriteMaxCoalesceSize(4194304);
  FsysSetWriteSpeedWarning(true);
  FsysSetNetworkWriteCaching(false);
}

TEST_F(EngineSettingsTest, ImmediateHandlingIsStoredAsItsInverse) {
  FsysSetImmediateRequestHandling(false);
  EXPECT_TRUE(EngineSettings::deferRequests);
  FsysSetImmediateRequestHandling(true);
  EXPECT_FALSE(EngineSettings::deferRequests);
}

}  // namespace
