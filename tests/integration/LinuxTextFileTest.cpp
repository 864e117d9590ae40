// Text files and preferences on real file systems, with other threads and other processes.

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/EditorPreferences.h"
#include "platform/OS.h"
#include "platform/TextFile.h"
#include "tests/support/CapturedDiagnostics.h"
#include "tests/support/MountedFolder.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Soak.h"

namespace {

using Files = iFileManager;
using Lines = std::vector<std::string>;

constexpr unsigned kChildLives_s = 60;
constexpr unsigned kNobody = 65534;
constexpr size_t kManyLines = 2000;

uint32_t lastError() { return OS()->getErrors()->getLastError(); }

TextFile with(const Lines& lines, const PathString& name) {
  TextFile file(name);
  for (const std::string& line : lines)
    EXPECT_TRUE(file.appendLine(LightweightString<char>(std::string_view(line))));
  return file;
}

Lines loaded(const PathString& name) {
  TextFile file(name);
  EXPECT_EQ(file.load(), TextFile::eLoaded) << OS()->getErrors()->describe(lastError());
  Lines lines;
  for (size_t i = 0; i < file.lineCount(); ++i) lines.emplace_back(file[i].view());
  return lines;
}

// Many lines that all say the same, so that a torn file is seen.
Lines manyOf(const std::string& line) { return Lines(kManyLines, line); }
bool isWhole(const Lines& lines) {
  return lines.size() == kManyLines &&
         std::set<std::string>(lines.begin(), lines.end()).size() == 1;
}

// Another process that lives for as long as its life takes, or until it is killed. What it tells is
// heard in its order.
class Child {
public:
  using Tell = std::function<void()>;

  explicit Child(const std::function<bool(const Tell&)>& life) {
    if (pipe(pipe_.data()) != 0) return;
    process_ = fork();
    if (process_ != 0) return;
    alarm(kChildLives_s);
    bool good = life([this] { [[maybe_unused]] auto told = write(pipe_[1], "x", 1); });
    _exit(good ? 0 : 1);
  }
  ~Child() {
    if (process_ > 0) kill();
    close(pipe_[0]);
    close(pipe_[1]);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Waits until it told that often.
  void hear(unsigned times) {
    char heard = 0;
    for (unsigned i = 0; i < times; ++i) ASSERT_EQ(read(pipe_[0], &heard, 1), 1);
  }
  void kill() {
    ::kill(process_, SIGKILL);
    ends();
  }
  // Waits for its end: whether its life was good.
  bool ends() {
    int status = -1;
    waitpid(std::exchange(process_, 0), &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }

private:
  std::array<int, 2> pipe_{-1, -1};
  pid_t process_ = -1;
};

class LinuxTextFileTest : public ::testing::Test {
protected:
  static unsigned modeOf(const std::string& name) {
    struct stat status = {};
    EXPECT_EQ(lstat(name.c_str(), &status), 0);
    return status.st_mode;
  }
  std::set<std::string> names(const std::string& folder) {
    std::set<std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
      all.insert(entry.path().filename().string());
    return all;
  }
  std::set<std::string> names() { return names(folder_.path()); }

  using Names = std::set<std::string>;
  ScratchFolder folder_;
  const PathString name_ = folder_ / "list.txt";
};

// What a save replaces ----------------------------------------------------------------------------

TEST_F(LinuxTextFileTest, LinesComeBackAndNothingStaysBesideThem) {
  EXPECT_EQ(TextFile(name_).load(), TextFile::eMissing);
  const Lines lines = {"one", "", "zwei \xC3\xA4", "\xFF"};
  EXPECT_TRUE(with(lines, name_).save());
  EXPECT_TRUE(with(lines, name_).save(TextFile::eCarriageReturnLineFeed));
  EXPECT_EQ(loaded(name_), lines);
  EXPECT_EQ(names(), Names{"list.txt"});
}

TEST_F(LinuxTextFileTest, ANameOfAnyBytesWillDo) {
  for (const char* name : {"li\xFFst", "l*i?[s]t", "a b\n", ".hidden", "-"}) {
    EXPECT_TRUE(with({"old"}, folder_ / name).save()) << name;
    EXPECT_TRUE(with({"new"}, folder_ / name).save()) << name;
    EXPECT_EQ(loaded(folder_ / name), Lines{"new"}) << name;
  }
  EXPECT_EQ(names().size(), 5u);
}

TEST_F(LinuxTextFileTest, AnOldFilesModeStaysAndANewOneHasTheUsual) {
  mode_t mask = umask(022);
  EXPECT_TRUE(with({"one"}, name_).save());
  umask(mask);
  EXPECT_EQ(modeOf(folder_.bytes("list.txt")) & 07777, 0644u);
  for (mode_t mode : {0600u, 0664u, 0444u}) {
    for (TextFile::eLinks links : {TextFile::eFollowLinks, TextFile::eReplaceLinks}) {
      ASSERT_EQ(chmod(folder_.bytes("list.txt").c_str(), mode), 0);
      EXPECT_TRUE(with({"two"}, name_).save(TextFile::eLineFeed, links));
      EXPECT_EQ(modeOf(folder_.bytes("list.txt")) & 07777, mode);
    }
  }
}

TEST_F(LinuxTextFileTest, ALinkIsFollowedAndStaysALink) {
  std::filesystem::create_directory(folder_.bytes("real"));
  folder_.put("real/file.txt", "old\n");
  ASSERT_EQ(symlink("real/file.txt", folder_.bytes("list.txt").c_str()), 0);
  EXPECT_TRUE(with({"new"}, name_).save());
  EXPECT_TRUE(S_ISLNK(modeOf(folder_.bytes("list.txt"))));
  EXPECT_EQ(folder_.content("real/file.txt"), "new\n");
  EXPECT_EQ(names(folder_.bytes("real")), Names{"file.txt"});
  EXPECT_EQ(names(), (Names{"list.txt", "real"}));
}

TEST_F(LinuxTextFileTest, ALinkToNothingLeadsToTheFileThatIsMade) {
  ASSERT_EQ(symlink("real.txt", folder_.bytes("list.txt").c_str()), 0);
  EXPECT_EQ(TextFile(name_).load(), TextFile::eMissing);
  EXPECT_TRUE(with({"new"}, name_).save());
  EXPECT_EQ(folder_.content("real.txt"), "new\n");
  EXPECT_TRUE(S_ISLNK(modeOf(folder_.bytes("list.txt"))));
}

TEST_F(LinuxTextFileTest, ALinkItselfIsReplacedWhenThatIsAskedFor) {
  folder_.put("real.txt", "old\n");
  ASSERT_EQ(chmod(folder_.bytes("real.txt").c_str(), 0606), 0);
  ASSERT_EQ(symlink("real.txt", folder_.bytes("list.txt").c_str()), 0);
  mode_t before = umask(022);
  EXPECT_TRUE(with({"new"}, name_).save(TextFile::eLineFeed, TextFile::eReplaceLinks));
  umask(before);
  EXPECT_EQ(modeOf(folder_.bytes("list.txt")), mode_t{S_IFREG | 0644}) << "a new file's own";
  EXPECT_EQ(folder_.content("list.txt"), "new\n");
  EXPECT_EQ(folder_.content("real.txt"), "old\n");
  EXPECT_EQ(names(), (Names{"list.txt", "real.txt"}));
}

TEST_F(LinuxTextFileTest, LinksThatGoRoundAreAFailure) {
  ASSERT_EQ(symlink("list.txt", folder_.bytes("list.txt").c_str()), 0);
  EXPECT_EQ(TextFile(name_).load(), TextFile::eFailed);
  EXPECT_FALSE(with({"new"}, name_).save());
  EXPECT_TRUE(S_ISLNK(modeOf(folder_.bytes("list.txt"))));
  EXPECT_TRUE(with({"new"}, name_).save(TextFile::eLineFeed, TextFile::eReplaceLinks));
  EXPECT_EQ(loaded(name_), Lines{"new"});
}

TEST_F(LinuxTextFileTest, AFolderInItsPlaceStays) {
  std::filesystem::create_directory(folder_.bytes("list.txt"));
  EXPECT_EQ(TextFile(name_).load(), TextFile::eFailed);
  EXPECT_EQ(lastError(), eOsIsAFolder);
  for (TextFile::eLinks links : {TextFile::eFollowLinks, TextFile::eReplaceLinks})
    EXPECT_FALSE(with({"new"}, name_).save(TextFile::eLineFeed, links));
  EXPECT_FALSE(TextFile(name_).remove());
  EXPECT_TRUE(S_ISDIR(modeOf(folder_.bytes("list.txt"))));
  EXPECT_EQ(names(), Names{"list.txt"});
}

TEST_F(LinuxTextFileTest, AFifoInItsPlaceIsNeitherWaitedForNorReplaced) {
  ASSERT_EQ(mkfifo(folder_.bytes("list.txt").c_str(), 0600), 0);
  EXPECT_EQ(TextFile(name_).load(), TextFile::eFailed);
  EXPECT_EQ(lastError(), eOsNotSupported);
  EXPECT_FALSE(with({"new"}, name_).save());
  EXPECT_EQ(lastError(), eOsNotSupported);
  EXPECT_TRUE(S_ISFIFO(modeOf(folder_.bytes("list.txt"))));
  EXPECT_EQ(names(), Names{"list.txt"});
}

TEST_F(LinuxTextFileTest, AFileBelowAFileOrInNoFolderCannotBeSaved) {
  folder_.put("list.txt", "old\n");
  EXPECT_EQ(TextFile(folder_ / "list.txt/x").load(), TextFile::eFailed);
  EXPECT_FALSE(with({"new"}, folder_ / "list.txt/x").save());
  EXPECT_EQ(TextFile(folder_ / "none/x").load(), TextFile::eMissing);
  EXPECT_FALSE(with({"new"}, folder_ / "none/x").save());
  EXPECT_EQ(lastError(), eOsNotFound);
  EXPECT_EQ(names(), Names{"list.txt"});
  EXPECT_EQ(folder_.content("list.txt"), "old\n");
}

TEST_F(LinuxTextFileTest, ANameInTheWorkingFolderIsSavedThere) {
  std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  for (TextFile::eLinks links : {TextFile::eFollowLinks, TextFile::eReplaceLinks})
    EXPECT_TRUE(with({"new"}, L"list.txt").save(TextFile::eLineFeed, links));
  EXPECT_TRUE(with({"new"}, L"other.txt").save());
  EXPECT_TRUE(TextFile(L"other.txt").remove());
  std::filesystem::current_path(before);
  EXPECT_EQ(names(), Names{"list.txt"});
  EXPECT_EQ(folder_.content("list.txt"), "new\n");
}

TEST_F(LinuxTextFileTest, ARemovedFileIsGoneAndALinkGoesInsteadOfItsFile) {
  folder_.put("real.txt", "old\n");
  ASSERT_EQ(symlink("real.txt", folder_.bytes("list.txt").c_str()), 0);
  EXPECT_TRUE(TextFile(name_).remove());
  EXPECT_EQ(names(), Names{"real.txt"});
  EXPECT_TRUE(TextFile(folder_ / "real.txt").remove());
  EXPECT_TRUE(TextFile(folder_ / "real.txt").remove());
  EXPECT_EQ(names(), Names{});
}

// Size and room -----------------------------------------------------------------------------------

TEST_F(LinuxTextFileTest, SixteenMebibytesAreLoadedAndNotOneByteMore) {
  const std::string most(TextFile::kMostBytes - 1, 'x');
  EXPECT_TRUE(with({most}, name_).save());
  EXPECT_EQ(loaded(name_), Lines{most});
  folder_.put("list.txt", most + "\n\n");
  EXPECT_EQ(TextFile(name_).load(), TextFile::eFailed);
  EXPECT_EQ(lastError(), eOsTooLarge);
}

TEST_F(LinuxTextFileTest, AFullDriveKeepsTheOldFile) {
  MountedFolder memory(MountedFolder::eMemory, 1);
  if (memory.path().empty()) GTEST_SKIP() << memory.why();
  ASSERT_TRUE(with({"old"}, memory / "list.txt").save());
  EXPECT_FALSE(with({std::string(2 << 20, 'x')}, memory / "list.txt").save());
  EXPECT_EQ(lastError(), eOsNoSpace);
  EXPECT_EQ(loaded(memory / "list.txt"), Lines{"old"});
  EXPECT_EQ(names(memory.path()), Names{"list.txt"});
}

TEST_F(LinuxTextFileTest, ADriveThatCannotBeWrittenKeepsTheOldFile) {
  MountedFolder memory(MountedFolder::eMemory, 1);
  if (memory.path().empty()) GTEST_SKIP() << memory.why();
  ASSERT_TRUE(with({"old"}, memory / "list.txt").save());
  ASSERT_EQ(mount(nullptr, memory.path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  EXPECT_FALSE(with({"new"}, memory / "list.txt").save());
  EXPECT_EQ(lastError(), eOsReadOnly);
  EXPECT_FALSE(TextFile(memory / "list.txt").remove());
  EXPECT_EQ(loaded(memory / "list.txt"), Lines{"old"});
}

TEST_F(LinuxTextFileTest, AFolderThatMayNotBeWrittenKeepsTheOldFile) {
  folder_.put("list.txt", "old\n");
  ASSERT_EQ(chmod(folder_.path().c_str(), 0555), 0);
  Child user([&](const Child::Tell&) {
    if (geteuid() == 0 && seteuid(kNobody) != 0) return false;
    return !with({"new"}, name_).save() && lastError() == eOsAccessDenied;
  });
  EXPECT_TRUE(user.ends());
  ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
  EXPECT_EQ(folder_.content("list.txt"), "old\n");
  EXPECT_EQ(names(), Names{"list.txt"});
}

// Others ------------------------------------------------------------------------------------------

TEST_F(LinuxTextFileTest, WhatAKilledSaveLeftIsRemovedByTheNextOne) {
  const std::string left = ".fsys-list.txt.17-1";
  Child writer([&](const Child::Tell& tell) {
    Qv::Ptr<iFile> file = OS()->getFileManager()->openFile(
        folder_ / left, Files::eAccessWrite, Files::eCreateNew, 0, Files::eAttributeHoldLock);
    if (!file || file->writeAt(0, "half", 4, nullptr) != 1) return false;
    tell();
    return pause() == 0;
  });
  writer.hear(1);
  EXPECT_TRUE(with({"new"}, name_).save());
  EXPECT_EQ(names(), (Names{left, "list.txt"})) << "it is being written";
  writer.kill();
  EXPECT_TRUE(with({"newer"}, name_).save());
  EXPECT_EQ(names(), Names{"list.txt"});
}

TEST_F(LinuxTextFileTest, AWriteProtectedLeftoverIsRemovedToo) {
  folder_.put(".fsys-list.txt.17-1", "half");
  ASSERT_EQ(chmod(folder_.bytes(".fsys-list.txt.17-1").c_str(), 0444), 0);
  EXPECT_TRUE(with({"new"}, name_).save());
  EXPECT_EQ(names(), Names{"list.txt"});
}

TEST_F(LinuxTextFileTest, AProgramThatIsKilledWhileItSavesLeavesAWholeFile) {
  for (unsigned turn = 0; turn < soakTurns(20, 2000); ++turn) {
    Child saver([&](const Child::Tell& tell) {
      for (char letter = 'a';; letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1)) {
        if (!with(manyOf(std::string(40, letter)), name_).save()) return false;
        tell();
      }
    });
    saver.hear(1 + turn % 5);
    saver.kill();
    ASSERT_TRUE(isWhole(loaded(name_))) << "turn " << turn;
  }
  EXPECT_TRUE(with({"new"}, name_).save());
  EXPECT_EQ(names(), Names{"list.txt"});
}

TEST_F(LinuxTextFileTest, TwoProgramsThatSaveAtOnceNeverTearTheFile) {
  ASSERT_TRUE(with(manyOf("neither's"), name_).save());
  const unsigned turns = soakTurns(60, 5000);
  Child other([&](const Child::Tell&) {
    for (unsigned i = 0; i < turns; ++i)
      if (!with(manyOf("the other's"), name_).save()) return false;
    return true;
  });
  for (unsigned i = 0; i < turns; ++i) {
    ASSERT_TRUE(with(manyOf("our own"), name_).save()) << lastError();
    ASSERT_TRUE(isWhole(loaded(name_))) << "turn " << i;
  }
  EXPECT_TRUE(other.ends()) << "a save of the other one failed";
  EXPECT_TRUE(isWhole(loaded(name_)));
  EXPECT_TRUE(with({"new"}, name_).save());
  EXPECT_EQ(names(), Names{"list.txt"});
}

TEST_F(LinuxTextFileTest, ThreadsThatSaveAtOnceNeverTearTheFile) {
  ASSERT_TRUE(with(manyOf("neither's"), name_).save());
  const unsigned turns = soakTurns(40, 3000);
  std::atomic<unsigned> failures{0};
  auto saves = [&](const std::string& line) {
    for (unsigned i = 0; i < turns; ++i) failures += with(manyOf(line), name_).save() ? 0u : 1u;
  };
  std::thread first(saves, "the first's");
  std::thread second(saves, "the second's");
  unsigned torn = 0;
  for (unsigned i = 0; i < turns; ++i) torn += isWhole(loaded(name_)) ? 0u : 1u;
  first.join();
  second.join();
  EXPECT_EQ(torn, 0u);
  EXPECT_EQ(failures, 0u);
  EXPECT_TRUE(with({"new"}, name_).save());
  EXPECT_EQ(names(), Names{"list.txt"});
}

// Preferences -------------------------------------------------------------------------------------

class LinuxPreferencesTest : public LinuxTextFileTest {
protected:
  using Name = LightweightString<char>;
  // Sets that many settings of its own; those that were set.
  static std::set<std::string> setMany(const std::string& prefix, unsigned count) {
    std::set<std::string> done;
    for (unsigned i = 0; i < count; ++i) {
      std::string name = prefix + std::to_string(i);
      if (prefs().setPreference(Name(std::string_view(name)), L"x")) done.insert(name);
    }
    return done;
  }
  static void expectThere(const std::set<std::string>& settings) {
    EXPECT_FALSE(settings.empty());
    for (const std::string& name : settings)
      EXPECT_EQ(prefs().getPreference(Name(std::string_view(name))), L"x") << name;
  }

  ScopedEnvironment place_{"XDG_CONFIG_HOME", folder_.path().c_str()};
};

TEST_F(LinuxPreferencesTest, ASettingIsKeptInTheConfigurationFolder) {
  EXPECT_TRUE(prefs().setPreference("Media Location (Record)", L"/m/"));
  EXPECT_EQ(prefs().getPreference("Media Location (Record)"), L"/m/");
  EXPECT_EQ(folder_.content("fsys/preferences"), "Media Location (Record) = /m/\n");
  EXPECT_TRUE(prefs().removePreference("Media Location (Record)"));
  EXPECT_EQ(folder_.content("fsys/preferences"), "");
}

TEST_F(LinuxPreferencesTest, TheChangesOfTwoThreadsAreAllThere) {
  std::set<std::string> others;
  std::thread other([&] { others = setMany("b", 20); });
  std::set<std::string> own = setMany("a", 20);
  other.join();
  expectThere(own);
  expectThere(others);
}

TEST_F(LinuxPreferencesTest, TheChangesOfTwoProgramsAreAllThere) {
  ASSERT_TRUE(prefs().setPreference("first", L"x"));
  Child other([&](const Child::Tell&) { return !setMany("b", 20).empty(); });
  std::set<std::string> own = setMany("a", 20);
  EXPECT_TRUE(other.ends());
  expectThere(own);
  expectThere({"first"});
  EXPECT_NE(folder_.content("fsys/preferences").find("\nb"), std::string::npos);
}

TEST_F(LinuxPreferencesTest, AProgramThatIsKilledWithTheLockLetsItGo) {
  ASSERT_TRUE(prefs().setPreference("a", L"1"));
  Child holder([&](const Child::Tell& tell) {
    Qv::Ptr<iFile> lock =
        OS()->getFileManager()->openFile(folder_ / "fsys/preferences.lock", Files::eAccessWrite,
                                         Files::eOpenOrCreate, 0, Files::eAttributeHoldLock);
    if (!lock) return false;
    tell();
    return pause() == 0;
  });
  holder.hear(1);
  {
    CapturedDiagnostics captured;
    EXPECT_FALSE(prefs().setPreference("a", L"2"));
    EXPECT_EQ(captured.log, "Preferences: 'a' is not kept, another program holds the lock\n");
  }
  holder.kill();
  EXPECT_TRUE(prefs().setPreference("a", L"3"));
  EXPECT_EQ(prefs().getPreference("a"), L"3");
}

}  // namespace
