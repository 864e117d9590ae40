#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/OS.h"
#include "platform/PathHelpers.h"
#include "platform/fake/FakeOSScope.h"

using Files = iFileManager;

// The environments that the suite runs in: each puts an operating system behind OS() for a test and
// gives an empty folder. What a test asserts holds in all of them; only the following differs:
//   start()          what must be done before the test; a reason when it cannot be run here
//   makeReadOnly     false when nothing keeps this process from writing to the file
//   failingOffset    where a write into a file of the folder fails as it is carried out

// On the fake.
class FakeEnvironment {
public:
  static constexpr const char* kName = "Fake";

  FakeEnvironment() { os_->files().createFolder(folder()); }

  std::string start() { return ""; }
  PathString folder() const { return L"/scratch/"; }
  bool makeReadOnly(const PathString& path) {
    os_->files().setReadOnly(path);
    return true;
  }
  uint64_t failingOffset() {
    FakeDrive drive;
    drive.capacity = 1 << 20;
    os_->files().setDrive(folder(), drive);
    return uint64_t{1} << 40;
  }

private:
  FakeOSScope os_;
};

// On this system, with whatever carries out transfers here.
class LinuxEnvironment {
public:
  static constexpr const char* kName = "Linux";

  LinuxEnvironment() : before_(swapOS(nullptr)) {
    std::string pattern = (std::filesystem::temp_directory_path() / "fsys-XXXXXX").string();
    if (const char* made = ::mkdtemp(pattern.data())) folder_ = made;
  }
  ~LinuxEnvironment() {
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
    swapOS(before_);
  }
  LinuxEnvironment(const LinuxEnvironment&) = delete;
  LinuxEnvironment& operator=(const LinuxEnvironment&) = delete;

  std::string start() { return folder_.empty() ? "no scratch folder can be made" : ""; }
  PathString folder() const { return fromUTF8(folder_ + "/"); }
  bool makeReadOnly(const PathString& path) {
    std::string bytes;
    toPathBytes(path, bytes);
    std::filesystem::permissions(bytes, std::filesystem::perms::owner_read);
    return ::access(bytes.c_str(), W_OK) != 0;
  }
  // Larger than a file can be, on the usual file systems.
  uint64_t failingOffset() { return uint64_t{1} << 62; }

private:
  iOS* before_;
  std::string folder_;
};

// On this system, transfers carried out by threads.
class LinuxThreadsEnvironment : public LinuxEnvironment {
public:
  static constexpr const char* kName = "LinuxThreads";

  LinuxThreadsEnvironment() {
    if (const char* set = std::getenv("FSYS_IO")) before_ = set;
    ::setenv("FSYS_IO", "threads", 1);
  }
  ~LinuxThreadsEnvironment() {
    before_.empty() ? ::unsetenv("FSYS_IO") : ::setenv("FSYS_IO", before_.c_str(), 1);
  }

private:
  std::string before_;
};

using Environments = testing::Types<FakeEnvironment, LinuxEnvironment, LinuxThreadsEnvironment>;

struct EnvironmentNames {
  template <typename Environment>
  static std::string GetName(int) {
    return Environment::kName;
  }
};

// The base of every fixture of the suite.
template <typename Environment>
class ConformanceTest : public testing::Test {
protected:
  void SetUp() override {
    std::string reason = environment_.start();
    if (!reason.empty()) GTEST_SKIP() << reason;
  }

  static Files* files() { return OS()->getFileManager(); }
  static uint32_t lastError() { return OS()->getErrors()->getLastError(); }
  static void forgetLastError() { OS()->getErrors()->setLastError(0); }

  PathString path(const wchar_t* name) const { return environment_.folder() + name; }
  // The engine's door, direct and asynchronous.
  static Qv::Ptr<iFile> openMedia(const PathString& name, bool write, unsigned flags = 0,
                                  unsigned mode = Files::eModeDirect | Files::eModeAsync) {
    return files()->openMedia(name, flags, write, Files::eOpenOrCreateNeverTruncate, mode);
  }
  static Qv::Ptr<iFile> openFile(const PathString& name, unsigned access, unsigned creation,
                                 unsigned attributes = 0) {
    return files()->openFile(name, access, creation, 0, attributes);
  }
  // A file with these bytes.
  template <typename Bytes>
  PathString makeFile(const wchar_t* name, const Bytes& bytes) {
    PathString made = path(name);
    Qv::Ptr<iFile> file = openFile(made, Files::eAccessWrite, Files::eCreateOrReplace);
    uint32_t done = 0;
    EXPECT_TRUE(file &&
                file->writeAt(0, bytes.data(), static_cast<uint32_t>(bytes.size()), &done) == 1)
        << "the file could not be made";
    return made;
  }

  Environment environment_;
};
