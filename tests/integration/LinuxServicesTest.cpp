#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/ConfigInt.h"
#include "platform/CriticalSection.h"
#include "platform/OS.h"
#include "tests/support/ScratchFolder.h"

namespace {

// Asked for while the program's statics are made.
const int kReadBeforeMain = config_int("ReadBeforeMain", 41);
void* const kTakenBeforeMain = OS()->getMemoryManager()->allocate(100);

// The compiler's analysis has no notion of a lock that its holder may take again.
void enterTwice(CriticalSection& section) NO_THREAD_SAFETY_ANALYSIS {
  section.enter();
  section.enter();
}
void leaveOnce(CriticalSection& section) NO_THREAD_SAFETY_ANALYSIS { section.leave(); }

}  // namespace

TEST(LinuxMemoryTest, AHeapBlockTakenBeforeMainCanBeUsedAndFreed) {
  ASSERT_NE(kTakenBeforeMain, nullptr);
  std::memset(kTakenBeforeMain, 1, 100);
  OS()->getMemoryManager()->free(kTakenBeforeMain);
}

TEST(LinuxMemoryTest, AlignedBlocksMeetEveryPowerOfTwoUpTo64KiB) {
  iMemoryManager* heap = OS()->getMemoryManager();
  for (size_t alignment = 1; alignment <= 65536; alignment *= 2) {
    void* memory = heap->allocateAligned(100, alignment);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % alignment, 0u) << alignment;
    std::memset(memory, 1, 100);
    heap->freeAligned(memory);
  }
}

TEST(LinuxMemoryTest, BlocksOfNoBytesAreDistinctAndNullMayBeFreed) {
  iMemoryManager* heap = OS()->getMemoryManager();
  void* first = heap->allocate(0);
  void* second = heap->allocate(0);
  EXPECT_NE(first, nullptr);
  EXPECT_NE(first, second);
  heap->free(first);
  heap->free(second);
  heap->free(nullptr);
  heap->freeAligned(nullptr);
}

TEST(LinuxMemoryTest, AnAbsurdSizeGivesNull) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer ends the process instead";
#else
  EXPECT_EQ(OS()->getMemoryManager()->allocate(SIZE_MAX / 2), nullptr);
  EXPECT_EQ(OS()->getMemoryManager()->allocateAligned(SIZE_MAX / 2, 64), nullptr);
#endif
}

TEST(LinuxAsyncContextTest, WithoutMemoryThereIsNoneAndTheErrorSaysSo) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer needs address space of its own";
#else
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // In a process of its own: its address space is made too small for more than there is room for.
  auto starve = [] {
    constexpr size_t kMost = 1 << 24;
    std::vector<Qv::Ptr<iAsyncContext> > held;
    held.reserve(kMost);
    rlimit none{0, 0};
    setrlimit(RLIMIT_AS, &none);
    Qv::Ptr<iAsyncContext> context = OS()->getAsyncIo()->createContext();
    for (; context && held.size() < kMost; context = OS()->getAsyncIo()->createContext())
      held.push_back(context);
    _exit(!context && OS()->getErrors()->getLastError() == eOsNoMemory ? 0 : 1);
  };
  EXPECT_EXIT(starve(), testing::ExitedWithCode(0), "");
#endif
}

TEST(LinuxErrorsTest, EachThreadHasItsOwnLastError) {
  iOsErrors* errors = OS()->getErrors();
  errors->setLastError(eOsNotFound);
  uint32_t there = 1;
  std::thread([&] {
    there = errors->getLastError();
    errors->setLastError(eOsNoSpace);
  }).join();
  EXPECT_EQ(there, 0u);
  EXPECT_EQ(errors->getLastError(), eOsNotFound);
}

TEST(LinuxErrorsTest, AnErrorIsDescribedInWordsAndAnUnknownOneByItsNumber) {
  iOsErrors* errors = OS()->getErrors();
  EXPECT_EQ(errors->describe(eOsNotFound), "No such file or directory");
  EXPECT_EQ(errors->describe(eOsNoSpace), "No space left on device");
  EXPECT_EQ(errors->describe(0), "no error");
  EXPECT_EQ(errors->describe(7), "unknown error 7");
  EXPECT_EQ(errors->describe(0xFFFFFFFF), "unknown error 4294967295");
}

TEST(LinuxClockTest, TimeNeverGoesBackAndPassesWhileThreadsSleep) {
  double last = Qv::now();
  for (int i = 0; i < 10000; ++i) {
    double now = Qv::now();
    ASSERT_GE(now, last);
    last = now;
  }
  OS()->getThreads()->sleep(2);
  EXPECT_GE(Qv::now() - last, 2.0);
}

// Two threads that share a processor take turns. One that kept it would go on asking until its time
// slice is over, thousands of times a turn.
TEST(LinuxThreadsTest, AThreadThatYieldsLetsTheOtherOneOfItsProcessorGoOn) {
  constexpr unsigned kTurns = 200;
  constexpr unsigned kMostYieldsPerTurn = 100;
  cpu_set_t before;
  ASSERT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(sched_getcpu(), &one);
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
  std::atomic<unsigned> turn{0};
  auto play = [&turn](unsigned parity) {
    unsigned yields = 0;
    for (unsigned mine = parity; mine < kTurns; mine += 2, turn.fetch_add(1))
      for (; turn.load() != mine; ++yields) OS()->getThreads()->yield();
    return yields;
  };
  unsigned others = 0;
  std::thread other([&] { others = play(1); });
  unsigned own = play(0);
  other.join();
  sched_setaffinity(0, sizeof before, &before);
  EXPECT_LE(own + others, kTurns * kMostYieldsPerTurn);
}

TEST(LinuxClockTest, TheThreeClocksTellTheSameTime) {
  double before = Qv::now();
  double precise = service_get_msecs_precise();
  uint32_t whole = service_get_msecs();
  double after = Qv::now();
  EXPECT_LE(before, precise);
  EXPECT_LE(precise, after);
  EXPECT_LE(whole - static_cast<uint32_t>(static_cast<uint64_t>(before)),
            static_cast<uint32_t>(after - before) + 1);
}

TEST(LinuxSystemInfoTest, TheMachineIsDescribedAsTheSystemDoes) {
  iSystemInfo* info = OS()->getSystemInfo();
  char name[256] = {};
  gethostname(name, sizeof name - 1);
  EXPECT_EQ(info->getWorkstationName(), fromUTF8(name));
  EXPECT_GE(info->getProcessorCount(), 1u);
  EXPECT_LE(info->getProcessorCount(), static_cast<unsigned>(sysconf(_SC_NPROCESSORS_CONF)));
  EXPECT_EQ(info->getPageSize(), 4096u);
}

TEST(LinuxSystemInfoTest, ProcessorTimeIsThatOfAllThreadsAndGrowsWithWork) {
  iSystemInfo* info = OS()->getSystemInfo();
  double before = info->getProcessCpu_ms();
  std::thread([&] {
    while (info->getProcessCpu_ms() < before + 5.0) continue;
  }).join();
  EXPECT_GE(info->getProcessCpu_ms(), before + 5.0);
}

TEST(LinuxSystemInfoTest, AnEnvironmentVariableIsReadOrIsSaidNotToBeSet) {
  setenv("FSYS_SET_FOR_THIS_TEST", "value", 1);
  std::string value = "untouched";
  EXPECT_FALSE(OS()->getSystemInfo()->getEnvironment("FSYS_NOT_SET_AT_ALL", value));
  EXPECT_EQ(value, "untouched");
  EXPECT_TRUE(OS()->getSystemInfo()->getEnvironment("FSYS_SET_FOR_THIS_TEST", value));
  EXPECT_EQ(value, "value");
  unsetenv("FSYS_SET_FOR_THIS_TEST");
}

TEST(OSTest, AStandInIsWhatOsGivesUntilItIsTakenAway) {
  struct StandIn final : iOS {
    iMemoryManager* getMemoryManager() override { return nativeOS()->getMemoryManager(); }
    iVirtualMemory* getVirtualMemory() override { return nullptr; }
    iThreads* getThreads() override { return nullptr; }
    iClock* getClock() override { return nullptr; }
    iFileManager* getFileManager() override { return nullptr; }
    iAsyncIo* getAsyncIo() override { return nullptr; }
    iSystemInfo* getSystemInfo() override { return nullptr; }
    iOsErrors* getErrors() override { return nullptr; }
  } standIn;
  EXPECT_EQ(swapOS(&standIn), nullptr);
  EXPECT_EQ(OS(), &standIn);
  EXPECT_EQ(swapOS(nullptr), &standIn);
  EXPECT_EQ(OS(), nativeOS());
}

TEST(CriticalSectionTest, TheHolderMayEnterAgainAndOthersWaitUntilItHasLeftAsOften) {
  CriticalSection section;
  enterTwice(section);
  std::atomic<bool> entered{false};
  std::thread other([&] {
    CriticalSectionLock lock(section);
    entered = true;
  });
  leaveOnce(section);
  for (int i = 0; i < 1000; ++i) std::this_thread::yield();
  EXPECT_FALSE(entered);
  leaveOnce(section);
  other.join();
  EXPECT_TRUE(entered);
}

TEST(CriticalSectionTest, FourThreadsCountTo200000Together) {
  CriticalSection section;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int step = 0; step < 50000; ++step) {
        CriticalSectionLock lock(section);
        ++count;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 200000);
}

// The file is read once in a process, so each of these looks at it from a process of its own.
class ConfigFileTest : public testing::Test {
protected:
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // The process that looks at the file finds the folder of the one that wrote it.
    if (const char* inherited = std::getenv(kFolderVariable)) {
      folder_ = inherited;
      return;
    }
    char pattern[] = "/tmp/fsys-config-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    folder_ = pattern;
    std::filesystem::create_directory(folder_ / "fsys");
    std::filesystem::create_directories(folder_ / ".config/fsys");
    setenv(kFolderVariable, pattern, 1);
  }
  void TearDown() override {
    for (const char* name :
         {"FSYS_CONFIG", "XDG_CONFIG_HOME", "FSYS_CONFIG_FromTheFile", kFolderVariable})
      unsetenv(name);
    std::filesystem::remove_all(folder_);
  }
  void writeFile(const char* name, const std::string& text) {
    std::ofstream(folder_ / name) << text;
  }
  void nameFile(const char* name) { setenv("FSYS_CONFIG", (folder_ / name).c_str(), 1); }
  // The exit code is 0 when the question is answered so.
  static void exitWith(bool right) { std::_Exit(right ? 0 : 1); }

  static constexpr const char* kFolderVariable = "FSYS_TEST_CONFIG_FOLDER";
  std::filesystem::path folder_;
};

TEST_F(ConfigFileTest, WithoutAFileKeysHaveTheirDefaults) { EXPECT_EQ(kReadBeforeMain, 41); }

TEST_F(ConfigFileTest, TheFileThatTheEnvironmentNamesIsReadBeforeMain) {
  writeFile("other.conf", "ReadBeforeMain = 77\n");
  nameFile("other.conf");
  EXPECT_EXIT(exitWith(kReadBeforeMain == 77), testing::ExitedWithCode(0), "");
}

TEST_F(ConfigFileTest, ElseTheFileUnderTheConfigurationFolderIs) {
  writeFile("fsys/fsys.conf", "FromTheFile = 78\n");
  setenv("XDG_CONFIG_HOME", folder_.c_str(), 1);
  EXPECT_EXIT(exitWith(config_int("FromTheFile", 0) == 78), testing::ExitedWithCode(0), "");
}

TEST_F(ConfigFileTest, WhereNoConfigurationFolderIsNamedItIsTheOneInTheHomeFolder) {
  writeFile(".config/fsys/fsys.conf", "FromTheFile = 79\n");
  writeFile("fsys/fsys.conf", "FromTheFile = 80\n");
  ScopedEnvironment home("HOME", folder_.c_str());
  ScopedEnvironment none("XDG_CONFIG_HOME", nullptr);
  EXPECT_EXIT(exitWith(config_int("FromTheFile", 0) == 79), testing::ExitedWithCode(0), "");
  // One without a name is none.
  ScopedEnvironment empty("XDG_CONFIG_HOME", "");
  EXPECT_EXIT(exitWith(config_int("FromTheFile", 0) == 79), testing::ExitedWithCode(0), "");
}

TEST_F(ConfigFileTest, TheFolderThatIsNamedComesBeforeTheOneInTheHomeFolder) {
  writeFile(".config/fsys/fsys.conf", "FromTheFile = 79\n");
  writeFile("fsys/fsys.conf", "FromTheFile = 80\n");
  ScopedEnvironment home("HOME", folder_.c_str());
  ScopedEnvironment named("XDG_CONFIG_HOME", folder_.c_str());
  EXPECT_EXIT(exitWith(config_int("FromTheFile", 0) == 80), testing::ExitedWithCode(0), "");
}

TEST_F(ConfigFileTest, WithoutAFolderOfEitherKindThereIsNoFile) {
  ScopedEnvironment home("HOME", nullptr);
  ScopedEnvironment none("XDG_CONFIG_HOME", nullptr);
  EXPECT_EXIT(exitWith(config_int("FromTheFile", 9) == 9), testing::ExitedWithCode(0), "");
}

TEST_F(ConfigFileTest, TheEnvironmentsNumberComesBeforeTheFiles) {
  writeFile("other.conf", "FromTheFile = 1\n");
  nameFile("other.conf");
  setenv("FSYS_CONFIG_FromTheFile", "2", 1);
  EXPECT_EXIT(exitWith(config_int("FromTheFile", 0) == 2), testing::ExitedWithCode(0), "");
}

TEST_F(ConfigFileTest, ABadNumberIsSaidWithTheFilesNameAndItsLine) {
  writeFile("other.conf", "\n\nFromTheFile = lots\n");
  nameFile("other.conf");
  EXPECT_EXIT(exitWith(config_int("FromTheFile", 9) == 9), testing::ExitedWithCode(0),
              "other.conf line 3: 'lots' is not an integer, 9 is used");
}

TEST_F(ConfigFileTest, AFileThatIsTooLargeIsIgnoredAndSaidSo) {
  writeFile("other.conf", "FromTheFile = 1\n" + std::string(1024 * 1024, '#'));
  nameFile("other.conf");
  EXPECT_EXIT(exitWith(config_int("FromTheFile", 9) == 9), testing::ExitedWithCode(0),
              "other.conf is too large for a configuration file");
}
