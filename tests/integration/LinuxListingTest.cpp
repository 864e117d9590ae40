// What a listing of a real folder holds.

#include <dirent.h>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/AsNobody.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/OwnMounts.h"
#include "tests/support/SystemCallFilter.h"

namespace {

class LinuxListingTest : public LinuxFileFixture {
protected:
  using Files = Vector<Manager::ListedFile>;

  // The files of a pattern below the folder, "name:size" with a space between.
  std::string listed(std::string_view pattern) const { return listedAt(folder_ / pattern); }
  static std::string listedAt(const Path& pattern) {
    Files files;
    if (!linuxFileManager()->listFiles(pattern, files)) return "not read";
    std::string text;
    for (const Manager::ListedFile& file : files) {
      std::string name;
      EXPECT_TRUE(toPathBytes(file.name, name));
      text += (text.empty() ? "" : " ") + name + ":" + std::to_string(file.bytes);
    }
    return text;
  }
  // Checks in a process of its own.
  template <typename Check>
  static eSeen inAChild(Check check) {
    pid_t child = fork();
    if (child == 0) _exit(check() ? eRight : eWrong);
    int status = -1;
    bool ended = child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status);
    return ended ? static_cast<eSeen>(WEXITSTATUS(status)) : eWrong;
  }
  // The same where no thread can be made.
  template <typename Check>
  static eSeen withoutThreads(Check check) {
    if (!SystemCallFilter::isAllowed()) return eCannotTry;
    return inAChild([&] {
      return SystemCallFilter::refuse(SYS_clone3, EAGAIN) &&
             SystemCallFilter::refuse(SYS_clone, EAGAIN) && check();
    });
  }
  void link(const char* target, std::string_view name) const {
    ASSERT_EQ(symlink(target, folder_.bytes(name).c_str()), 0);
  }
  // In what is there, and without leaving less of it.
  void append(std::string_view name, std::string_view text) const {
    int file = open(folder_.bytes(name).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    ASSERT_EQ(write(file, text.data(), text.size()), static_cast<ssize_t>(text.size())) << name;
    close(file);
  }
  // In the order in which the system tells them.
  std::vector<std::string> namesAsRead() const {
    std::vector<std::string> names;
    DIR* folder = opendir(folder_.path().c_str());
    while (dirent* entry = readdir(folder))
      if (entry->d_type == DT_REG) names.emplace_back(entry->d_name);
    closedir(folder);
    return names;
  }
  // Over a file, one that nobody answers for. False where nothing can be mounted.
  bool mountDead(const std::string& name) const {
    int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    std::string options = "fd=" + std::to_string(device) + ",rootmode=100000,user_id=0,group_id=0";
    bool isMounted = device >= 0 && mount("dead", folder_.bytes(name).c_str(), "fuse",
                                          MS_NOSUID | MS_NODEV, options.c_str()) == 0;
    close(device);
    return isMounted;
  }

private:
  OwnMounts own_;
};

}  // namespace

TEST_F(LinuxListingTest, NamesThatAreNotUtf8KeepTheirBytes) {
  folder_.put("bad\xFF\xC3.odb", "12345");
  folder_.put("m\xC3\xA9.odb", "1");
  EXPECT_EQ(listed("*.odb"), "bad\xFF\xC3.odb:5 m\xC3\xA9.odb:1");
  EXPECT_EQ(listed("m?.odb"), "m\xC3\xA9.odb:1");
  EXPECT_EQ(listed("bad??.odb"), "bad\xFF\xC3.odb:5") << "each undecodable byte is one character";
}

TEST_F(LinuxListingTest, ManyFilesComeSortedByTheirCodePoints) {
  constexpr unsigned kFiles = 10'000;
  for (unsigned i = 0; i < kFiles; ++i) {
    int made = open(folder_.bytes("f" + std::to_string(i * 7919 % kFiles)).c_str(),
                    O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    ASSERT_GE(made, 0);
    close(made);
  }
  folder_.put("\xF0\x9F\x8E\xAC", "past the others");
  folder_.put("other.txt", "1");
  Files files;
  ASSERT_TRUE(linuxFileManager()->listFiles(folder_ / "f*", files));
  EXPECT_EQ(files.size(), kFiles);
  ASSERT_TRUE(linuxFileManager()->listFiles(folder_ / "*.*", files));
  ASSERT_EQ(files.size(), kFiles + 2);
  for (size_t i = 1; i < files.size(); ++i) ASSERT_TRUE(files[i - 1].name < files[i].name) << i;
  EXPECT_TRUE(files[0].name == L"f0");
  EXPECT_TRUE(files[kFiles + 1].name == L"\U0001F3AC");
}

TEST_F(LinuxListingTest, ManyFilesAreListedTheSameWithAndWithoutASecondThread) {
  constexpr unsigned kFiles = 5000;
  constexpr std::string_view kOdd[] = {"*", "?", "[", "\n", "\xFF", "\xC3\xA9", "\xF0\x9F\x8E\xAC",
                                       "."};
  for (unsigned i = 0; i < kFiles; ++i) {
    std::string name = std::to_string(i * 7919 % kFiles);
    name.insert(i % name.size(), kOdd[i % std::size(kOdd)]);
    folder_.put("x" + name, std::string(i % 7, 'x'));
  }
  std::string with = listed("*");
  eSeen seen = withoutThreads([&] { return listed("*") == with; });
  if (seen == eCannotTry) GTEST_SKIP() << "threads cannot be refused here";
  EXPECT_EQ(seen, eRight);
  EXPECT_EQ(std::count(with.begin(), with.end(), ':'), kFiles);
}

TEST_F(LinuxListingTest, PlainNamesComeInTheSameOrderWhetherTheyDifferEarlyOrLate) {
  constexpr unsigned kFiles = 3000;
  std::vector<std::string> names;
  for (unsigned i = 0; i < kFiles; ++i) {
    std::string number = std::to_string(i * 7919 % kFiles);
    names.push_back("take" +
                    (i % 2 ? "-of-the-same-shot-" + number : number + std::string(i % 9, 'a')));
  }
  names.emplace_back("take");
  names.emplace_back("take-of-the");
  for (const std::string& name : names) folder_.put(name, "1");
  std::sort(names.begin(), names.end());
  Files files;
  ASSERT_TRUE(linuxFileManager()->listFiles(folder_ / "*.*", files));
  ASSERT_EQ(files.size(), names.size());
  for (size_t i = 0; i < files.size(); ++i)
    ASSERT_TRUE(files[i].name == fromUTF8(names[i].c_str())) << i << " " << names[i];
}

TEST_F(LinuxListingTest, FilesThatVanishMeanwhileAreLeftOutAndTheOthersListed) {
  constexpr unsigned kFiles = 4000;
  for (unsigned i = 0; i < kFiles; ++i) folder_.put("stays" + std::to_string(i), "");
  std::atomic<bool> isOver{false};
  std::thread changing([&] {
    for (unsigned i = 0; !isOver; ++i) {
      std::string name = folder_.bytes("goes" + std::to_string(i % 100));
      close(open(name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
      unlink(name.c_str());
    }
  });
  for (unsigned round = 0; round < 20; ++round) {
    Files files;
    EXPECT_TRUE(linuxFileManager()->listFiles(folder_ / "*", files));
    auto stays = [](const Manager::ListedFile& file) {
      return file.name.view().starts_with(L"stays");
    };
    EXPECT_EQ(std::count_if(files.begin(), files.end(), stays), kFiles);
  }
  isOver = true;
  changing.join();
}

TEST_F(LinuxListingTest, OfManyFilesOneThatCannotBeToldAboutIsTheFailureOfAll) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << "system calls cannot be filtered here";
  for (unsigned i = 0; i < 3000; ++i) folder_.put(std::to_string(i), "");
  eSeen seen = inAChild([&] {
    return SystemCallFilter::refuse(SYS_statx, EIO) && listed("*") == "not read" &&
           lastError() == eOsIoError;
  });
  EXPECT_EQ(seen, eRight);
}

TEST_F(LinuxListingTest, OneFileThatCannotBeToldAboutIsTheFailureOfAllInEitherHalf) {
  for (unsigned i = 0; i < 3000; ++i) folder_.put(std::to_string(i), "");
  std::vector<std::string> names = namesAsRead();
  ASSERT_EQ(names.size(), 3000u);
  for (const std::string& name : {names.front(), names.back()}) {
    if (!mountDead(name)) GTEST_SKIP() << "nothing can be mounted here";
    EXPECT_EQ(listed("*"), "not read") << name;
    EXPECT_EQ(lastError(), eOsErrorBase + ENOTCONN);
    umount2(folder_.bytes(name).c_str(), MNT_DETACH);
  }
  EXPECT_NE(listed("*"), "not read");
}

TEST_F(LinuxListingTest, AFileThatIsStaleIsLeftOutAndTheOthersListed) {
  for (const char* name : {"a", "stale", "z"}) folder_.put(name, "1");
  HeldFileSystem server(folder_.bytes("server"), HeldFileSystem::eNothing);
  if (!server.isMounted()) GTEST_SKIP() << "nothing can be mounted here";
  std::string place = folder_.bytes("stale");
  ASSERT_EQ(mount(folder_.bytes("server/empty").c_str(), place.c_str(), nullptr, MS_BIND, nullptr),
            0);
  // What is known of the file does not hold any longer once it is written.
  append("stale", "123");
  EXPECT_EQ(listed("*"), "a:1 stale:3 z:1");
  append("stale", "4");
  server.order({HeldFileSystem::eAnything, HeldFileSystem::eFail, 0, UINT64_MAX, ESTALE});
  EXPECT_EQ(listed("*"), "a:1 z:1");
  umount2(place.c_str(), MNT_DETACH);
}

TEST_F(LinuxListingTest, AFolderThatIsStaleItselfIsNotRead) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << "system calls cannot be filtered here";
  folder_.put("file", "1");
  eSeen seen = inAChild([&] {
    return SystemCallFilter::refuse(SYS_statx, ESTALE) && listed("*") == "not read" &&
           lastError() == eOsErrorBase + ESTALE;
  });
  EXPECT_EQ(seen, eRight);
}

TEST_F(LinuxListingTest, ALinkCountsAsTheFileThatItLeadsTo) {
  folder_.put("file", "12345");
  ASSERT_EQ(mkdir(folder_.bytes("folder").c_str(), 0700), 0);
  folder_.put("folder/deep", "123");
  link("file", "to-file");
  link("folder/deep", "to-deep");
  link("to-file", "to-link");
  link("folder", "to-folder");
  EXPECT_EQ(listed("*"), "file:5 to-deep:3 to-file:5 to-link:5");
  EXPECT_EQ(listed("to-folder/*"), "deep:3") << "the folder itself may be behind one";
}

TEST_F(LinuxListingTest, ALinkThatLeadsToNoFileIsLeftOut) {
  folder_.put("file", "1");
  link("none", "dangling");
  link("loop", "loop");
  link("file/below", "through-a-file");
  link(std::string(300, 'n').c_str(), "too-long");
  linuxErrors()->setLastError(0);
  EXPECT_EQ(listed("*"), "file:1");
  EXPECT_EQ(lastError(), 0u);
}

TEST_F(LinuxListingTest, FifosSocketsAndDevicesAreLeftOutAndNotWaitedFor) {
  folder_.put("file", "1");
  ASSERT_EQ(mkfifo(folder_.bytes("fifo").c_str(), 0600), 0);
  link("fifo", "to-fifo");
  link("/dev/zero", "to-device");
  EXPECT_EQ(listed("*"), "file:1");
  EXPECT_EQ(listedAt(L"/dev/nul*"), "");
}

TEST_F(LinuxListingTest, WithoutASeparatorThePatternIsForTheCurrentFolder) {
  folder_.put("only-here.odb", "12");
  int before = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(before, 0);
  ASSERT_EQ(chdir(folder_.path().c_str()), 0);
  EXPECT_EQ(listedAt(L"*.odb"), "only-here.odb:2");
  EXPECT_EQ(fchdir(before), 0);
  close(before);
}

TEST_F(LinuxListingTest, HiddenFilesAreFiles) {
  folder_.put(".hidden", "1");
  EXPECT_EQ(listed("*"), ".hidden:1");
  EXPECT_EQ(listed(".*"), ".hidden:1") << "and the folder itself and the one above are none";
}

TEST_F(LinuxListingTest, TheFoldersDescriptorIsClosed) {
  folder_.put("file", "1");
  int before = countDescriptors();
  EXPECT_EQ(listed("*"), "file:1");
  EXPECT_EQ(listed("none/*"), "not read");
  EXPECT_EQ(listed("file/*"), "not read");
  EXPECT_EQ(countDescriptors(), before);
}

TEST_F(LinuxListingTest, WithoutADescriptorTheFolderIsNotRead) {
  rlimit limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  rlimit none = {0, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  std::string seen = listed("*");
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(seen, "not read");
  EXPECT_EQ(lastError(), eOsTooManyFiles);
}

TEST_F(LinuxListingTest, AFolderThatMayNotBeReadGivesNoFiles) {
  folder_.put("file", "1");
  eSeen seen = asNobody(folder_, [&] {
    return chmod(folder_.path().c_str(), 0311) == 0 && listed("*") == "not read" &&
           lastError() == eOsAccessDenied;
  });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
}

TEST_F(LinuxListingTest, AFolderWhoseFilesMayNotBeLookedAtGivesNoneRatherThanSome) {
  folder_.put("file", "1");
  ASSERT_EQ(mkdir(folder_.bytes("empty").c_str(), 0700), 0);
  eSeen seen = asNobody(folder_, [&] {
    return chmod(folder_.path().c_str(), 0644) == 0 && listed("*") == "not read" &&
           lastError() == eOsAccessDenied && listed("other*").empty();
  });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
}

TEST_F(LinuxListingTest, AFileBehindALinkThatMayNotBeLookedAtIsLeftOut) {
  folder_.put("file", "1");
  link("/proc/1/fd/0", "to-another");
  eSeen seen = asNobody(folder_, [&] { return listed("*") == "file:1"; });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
}
