#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "fsys/DecodeFormat.h"
#include "fsys/Fsys.h"
#include "fsys/FsysFile.h"
#include "fsys/SystemCache.h"
#include "tests/integration/RegistryFixture.h"
#include "tests/support/Recorder.h"

// CatalogueFixture: the catalogue over media folders on real disks, with the engine that plays what
// it answers. It is empty at first, and at the end.
class CatalogueFixture : public RegistryFixture {
protected:
  void SetUp() override {
    ASSERT_EQ(FsysInitialize(), 1u);
    start();
    SystemCache::invalidate();
  }
  void TearDown() override {
    SystemCache::invalidate();
    FsysUninitialize(Shutdown::eNormal);
  }

  // A drive with both media folders, which is not registered yet.
  std::string madeDrive(std::string_view name) const {
    madeFolder(std::string(name) + "/Sound");
    madeFolder(std::string(name) + "/Material");
    return scratch_.bytes(name);
  }
  static bool add(const std::string& drive) {
    return DiskManager::addMediaLocation(wide(locationOf(drive)));
  }
  static bool remove(const std::string& drive) {
    return DiskManager::removeMediaLocation(wide(locationOf(drive)));
  }

  static Cookie cookie(std::string_view text) { return Cookie(fromUTF8(text)); }
  // The texts of all cookies that the catalogue knows, in its order.
  static Paths known() {
    Paths all;
    SystemCache::enumerate([&](const Cookie& each, const FsysDirectoryEntry&) {
      all.emplace_back(each.asString(true).view());
      return true;
    });
    return all;
  }
  static Paths sorted(Paths texts) {
    std::sort(texts.begin(), texts.end(),
              [](const std::string& a, const std::string& b) { return cookie(a) < cookie(b); });
    return texts;
  }

  static DecodeFormat format(eProxyLevel level, unsigned height = 0) {
    DecodeFormat wanted(level);
    wanted.setHeight(height);
    return wanted;
  }
  // The file that is answered; empty when there is none.
  static std::string find(std::string_view text, const DecodeFormat& wanted) {
    Text path;
    const bool found = SystemCache::findFileForCookie(cookie(text), path, wanted);
    EXPECT_TRUE(found || path.empty()) << text;
    return toUTF8(path).c_str();
  }
  static std::string find(std::string_view text) { return find(text, format(eHighRes)); }

  // The first bytes of a file as the engine reads them; empty when it does not open or read it.
  static std::string played(const std::string& path, size_t bytes) {
    FsysFile* file = nullptr;
    if (path.empty() || FsysOpen(&file, wide(path), 0, 1, nullptr) != 1) return {};
    Qv::Ptr<Recorder> recorder(new Recorder);
    Qv::Ptr<iObject> context = recorder->context();
    const auto length = static_cast<uint32_t>(bytes);
    const bool isTaken = file->DirectRead(0, length, false, &Recorder::told, context) == 1;
    const bool isTold = isTaken && recorder->waitFor(1);
    FsysClose(file, nullptr);
    const Recorder::Call call = isTold ? recorder->at(0) : Recorder::Call();
    if (call.status != eRequestSucceeded) return {};
    return {call.bytes.begin(), call.bytes.end()};
  }
  // Whether the engine plays the file, and every byte is that of `content`.
  static testing::AssertionResult plays(const std::string& path, const std::string& content) {
    const std::string bytes = played(path, content.size());
    if (bytes.empty() && !content.empty()) return testing::AssertionFailure() << path << " fails";
    if (bytes != content) return testing::AssertionFailure() << path << " has other bytes";
    return testing::AssertionSuccess();
  }
  static bool opens(const std::string& path) {
    FsysFile* file = nullptr;
    if (FsysOpen(&file, wide(path), 0, 1, nullptr) != 1) return false;
    FsysClose(file, nullptr);
    return true;
  }
};
