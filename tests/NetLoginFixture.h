#pragma once

#include <gtest/gtest.h>

#include <string>

#include "fsys/NetLogin.h"
#include "platform/fake/FakeOSScope.h"

inline const LightweightString<wchar_t> kFolder = L"/net/media";
inline const LightweightString<wchar_t> kLockFile = L"/net/media/STATION.cli";
inline const LightweightString<wchar_t> kOther = L"/other/";
inline const LightweightString<wchar_t> kOtherLockFile = L"/other/STATION.cli";

// NetLoginFixture: two folders of the fake to log in to, and nobody logged in at the end.
class NetLoginFixture : public testing::Test {
protected:
  using Text = LightweightString<wchar_t>;
  using Files = iFileManager;

  NetLoginFixture() {
    EXPECT_FALSE(lockFilehandle);
    files().addFolder(kFolder);
    files().addFolder(kOther);
  }
  ~NetLoginFixture() override {
    files().setSeparator(L'/');
    os_->faults().clear();
    NetLogout();
    lockFilehandle.reset();
    files().runLateErrands();
    EXPECT_EQ(files().liveFiles(), 0u) << "a file is still open";
  }

  FakeFileManager& files() { return os_->files(); }
  static uint32_t lastError() { return OS()->getErrors()->getLastError(); }
  // Of a file whose lock nobody else can tell from a leftover's, or which is not there: "gone".
  std::string stateOf(const Text& name) {
    Files::LockState state = Files::eLockUnknown;
    if (!OS()->getFileManager()->askLock(name, state)) return "gone";
    return state == Files::eLockHeld ? "live" : "leftover";
  }

  FakeOSScope os_;
};
