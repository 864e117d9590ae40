// What the catalogue's configuration keys do. Each test looks at a process of its own, started anew
// with the environment that the test says.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/SystemCacheFixture.h"
#include "tests/support/ScratchFolder.h"

namespace {

using testing::ExitedWithCode;

constexpr const char* kDebug = "FSYS_CONFIG_SystemCacheDebug";
constexpr const char* kChannels = "FSYS_CONFIG_max_audio_chans_in_shot";

// Of the catalogue as it was loaded: no fixture has set it up.
class SystemCacheDebugKeyTest : public testing::Test {
protected:
  SystemCacheDebugKeyTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  [[noreturn]] static void say() {
    std::fprintf(stderr, "debug %d.\n", SystemCachePeer::debug());
    std::exit(0);
  }

  ScopedEnvironment folder_{"XDG_CONFIG_HOME", "/nonexistent"};
  ScopedEnvironment file_{"FSYS_CONFIG", nullptr};
};

class SystemCacheSettingsTest : public SystemCacheFixture {
protected:
  SystemCacheSettingsTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  void addSound(unsigned channel) {
    SystemCache::addFile(convertCookie(kVision, eCookieSound, static_cast<uint8_t>(channel)),
                         info(L"/Sound/a.wav"), false);
  }
  // Whether the sound of a shot is found that has this channel alone.
  bool isFound(unsigned channel) {
    SystemCache::invalidate();
    addSound(channel);
    return SystemCache::getDriveForCookie(kVision, eEditChanSound) == DriveId('1');
  }
  // For the children: this process has read its own long ago.
  void set(const char* value) { os_->systemInfo().setEnvironment(kChannels, value); }
  // Which of these channels are found.
  [[noreturn]] void sayFound(const char* value) {
    set(value);
    sayFound();
  }
  [[noreturn]] void sayFound() {
    std::string said = "found";
    for (unsigned channel : {0, 1, 2, 16, 17, 254, 255})
      if (isFound(channel)) said += " " + std::to_string(channel);
    std::fprintf(stderr, "%s.\n", said.c_str());
    std::exit(0);
  }
  [[noreturn]] void sayAfterAChange() {
    set("2");
    const bool isSecond = isFound(2);
    set("1");
    std::fprintf(stderr, "%d %d.\n", isSecond, isFound(2));
    std::exit(0);
  }
};

TEST_F(SystemCacheDebugKeyTest, ScansAreLoggedWhenTheKeySaysSoAsTheLibraryIsLoaded) {
  ScopedEnvironment none(kDebug, nullptr);
  EXPECT_EXIT(say(), ExitedWithCode(0), "debug 0\\.");
  for (const char* value : {"1", "-7"}) {
    ScopedEnvironment set(kDebug, value);
    EXPECT_EXIT(say(), ExitedWithCode(0), std::string("debug ") + value + "\\.");
  }
}

TEST_F(SystemCacheSettingsTest, AShotHas16SoundChannelsUnlessTheKeySaysOtherwise) {
  EXPECT_EXIT(sayFound(), ExitedWithCode(0), "found 1 2 16\\.");
  EXPECT_EXIT(sayFound("2"), ExitedWithCode(0), "found 1 2\\.");
  EXPECT_EXIT(sayFound("17"), ExitedWithCode(0), "found 1 2 16 17\\.");
}

TEST_F(SystemCacheSettingsTest, OfNoChannelsOrFewerThereIsNoDrive) {
  EXPECT_EXIT(sayFound("0"), ExitedWithCode(0), "found\\.");
  EXPECT_EXIT(sayFound("-1"), ExitedWithCode(0), "found\\.");
}

TEST_F(SystemCacheSettingsTest, MoreChannelsThanACookieCanNameAreNotLookedAt) {
  for (const char* many : {"255", "256", "300", "2147483647"})
    EXPECT_EXIT(sayFound(many), ExitedWithCode(0), "found 1 2 16 17 254 255\\.") << many;
}

TEST_F(SystemCacheSettingsTest, TheNumberOfChannelsIsReadOnceWhenItIsFirstWanted) {
  EXPECT_EXIT(sayAfterAChange(), ExitedWithCode(0), "1 1\\.");
}

}  // namespace
