#include "platform/EditorPreferences.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/TextFile.h"
#include "platform/fake/FakeCrash.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/CapturedDiagnostics.h"
#include "tests/support/FailingHeap.h"

namespace {

using Wide = LightweightString<wchar_t>;
using Files = iFileManager;

constexpr wchar_t kFolder[] = L"/c/fsys";
constexpr wchar_t kFile[] = L"/c/fsys/preferences";
constexpr wchar_t kLock[] = L"/c/fsys/preferences.lock";
constexpr const char* kNoFile = "(no file)";

class EditorPreferencesTest : public ::testing::Test {
protected:
  EditorPreferencesTest() { os_->systemInfo().setEnvironment("XDG_CONFIG_HOME", "/c"); }

  void put(std::string_view content) {
    os_->files().addFile(kFile, {content.begin(), content.end()});
  }
  std::string content(const Wide& name = kFile) {
    std::vector<unsigned char> bytes = os_->files().bytesOf(name);
    return {bytes.begin(), bytes.end()};
  }
  std::string names() {
    Vector<Files::ListedFile> files;
    os_->files().listFiles(L"/c/fsys/*", files);
    std::string all;
    for (const Files::ListedFile& file : files) all += std::string(toUTF8(file.name).view()) + " ";
    return all;
  }
  static Qv::Ptr<iFile> takeLock() {
    return OS()->getFileManager()->openFile(kLock, Files::eAccessWrite, Files::eOpenOrCreate, 0,
                                            Files::eAttributeHoldLock);
  }
  // Until its FakeDrive says otherwise.
  void silence() { os_->files().setDrive(L"/c/", {.type = iDiskDrive::eNetwork, .silent = true}); }

  std::string state() { return os_->files().hasFile(kFile) ? content() : kNoFile; }

  // In whatever state the power leaves it, the file is as it was or as the action makes it; each of
  // the two is met, and is what the next change begins with. Once the action has ended the file is
  // as that made it.
  template <typename Action>
  void expectOldOrNew(const std::string& made, const Action& action) {
    const std::string before = state();
    FakeCrash crash(*os_);
    ASSERT_TRUE(action());
    ASSERT_EQ(state(), made);
    std::set<std::string> seen;
    crash.forEachState([&](const std::string& what) {
      const std::string left = state();
      seen.insert(left);
      EXPECT_TRUE(prefs().setPreference("next", L"3")) << what;
      EXPECT_EQ(content(), (left == kNoFile ? "" : left) + "next = 3\n") << what;
      EXPECT_EQ(names(), "preferences preferences.lock ") << what;
    });
    EXPECT_EQ(seen, (std::set<std::string>{before, made}));
    size_t states = crash.forEachStateNow(
        [&](const std::string& what) { EXPECT_EQ(state(), made) << "lost: " << what; });
    EXPECT_GT(states, 0u);
  }

  FakeOSScope os_;
  CapturedDiagnostics captured_;
};

// Settings ----------------------------------------------------------------------------------------

TEST_F(EditorPreferencesTest, ASettingIsKeptUnderItsName) {
  EXPECT_TRUE(prefs().setPreference("Media Location (Record)", L"/m\u00E9dia/"));
  EXPECT_EQ(prefs().getPreference("Media Location (Record)"), L"/m\u00E9dia/");
  EXPECT_EQ(content(),
            "Media Location (Record) = /m\xC3\xA9"
            "dia/\n");
  EXPECT_EQ(captured_.log, "");
}

TEST_F(EditorPreferencesTest, ASettingThatIsNotThereHasTheValueThatWasGiven) {
  EXPECT_EQ(prefs().getPreference("a"), L"");
  EXPECT_EQ(prefs().getPreference("a", L"b"), L"b");
  put("a =\n");
  EXPECT_EQ(prefs().getPreference("a", L"b"), L"") << "an empty value is one";
  EXPECT_EQ(captured_.log, "");
}

TEST_F(EditorPreferencesTest, ARemovedSettingIsGone) {
  put("a = 1\nb = 2\na = 3\n");
  EXPECT_TRUE(prefs().removePreference("a"));
  EXPECT_EQ(prefs().getPreference("a", L"none"), L"none");
  EXPECT_EQ(content(), "b = 2\n");
}

TEST_F(EditorPreferencesTest, ToRemoveWhatIsNotThereGoesWellAndWritesNothing) {
  EXPECT_TRUE(prefs().removePreference("a"));
  EXPECT_FALSE(os_->files().hasFile(kFile));
  put("b=2");
  EXPECT_TRUE(prefs().removePreference("a"));
  EXPECT_EQ(content(), "b=2");
}

TEST_F(EditorPreferencesTest, WhatAnotherProgramWritesIsSeenAtTheNextCall) {
  put("a = 1\n");
  EXPECT_EQ(prefs().getPreference("a"), L"1");
  put("a = 2\n");
  EXPECT_EQ(prefs().getPreference("a"), L"2");
}

TEST_F(EditorPreferencesTest, LinesThatAreNoneOfOursStay) {
  put("# of the editor\n\nodd line\n  b=2\na = 1\nc = \\x\xFF\n");
  EXPECT_TRUE(prefs().setPreference("a", L"new"));
  EXPECT_EQ(content(), "# of the editor\n\nodd line\n  b=2\na = new\nc = \\x\xFF\n");
}

TEST_F(EditorPreferencesTest, AnyTextIsAValue) {
  const Wide value(L" \0\r\n\\n\t ", 8);
  EXPECT_TRUE(prefs().setPreference("a", value));
  EXPECT_TRUE(prefs().setPreference("b", L"2"));
  EXPECT_EQ(prefs().getPreference("a"), value);
}

TEST_F(EditorPreferencesTest, AnyTextIsAName) {
  put("b = 2\n");
  for (const char* name : {"", "a=b", "#a", "a\nb", " a", "a\t", "=", "\\"}) {
    EXPECT_TRUE(prefs().setPreference(name, L"1"));
    EXPECT_EQ(prefs().getPreference(name, L"none"), L"1") << name;
    EXPECT_TRUE(prefs().removePreference(name));
    EXPECT_EQ(prefs().getPreference(name, L"none"), L"none") << name;
  }
  EXPECT_EQ(content(), "b = 2\n");
  EXPECT_EQ(captured_.log, "");
}

TEST_F(EditorPreferencesTest, ThePreferencesOfTheUserAreOneObject) {
  EXPECT_EQ(&prefs(), &prefs());
}

// The file ----------------------------------------------------------------------------------------

TEST_F(EditorPreferencesTest, WithoutAConfigurationFolderTheHomeFolderHasThem) {
  os_->systemInfo().setEnvironment("XDG_CONFIG_HOME", "");
  os_->systemInfo().setEnvironment("HOME", "/home/me");
  EXPECT_TRUE(prefs().setPreference("a", L"1"));
  EXPECT_EQ(content(L"/home/me/.config/fsys/preferences"), "a = 1\n");
}

TEST_F(EditorPreferencesTest, AConfigurationFileElsewhereDoesNotMoveThem) {
  os_->systemInfo().setEnvironment("FSYS_CONFIG", "/elsewhere/fsys.conf");
  EXPECT_TRUE(prefs().setPreference("a", L"1"));
  EXPECT_EQ(content(), "a = 1\n");
}

TEST_F(EditorPreferencesTest, WithoutAnyFolderNothingIsKeptAndThatIsLogged) {
  os_->systemInfo().setEnvironment("XDG_CONFIG_HOME", "");
  EXPECT_FALSE(prefs().setPreference("a", L"1"));
  EXPECT_EQ(captured_.log, "Preferences: 'a' is not kept, there is no folder for it\n");
  EXPECT_EQ(prefs().getPreference("a", L"none"), L"none");
}

TEST_F(EditorPreferencesTest, TheFolderIsMadeWithItsParents) {
  os_->systemInfo().setEnvironment("XDG_CONFIG_HOME", "/home/me/deep/down/");
  EXPECT_TRUE(prefs().setPreference("a", L"1"));
  EXPECT_TRUE(os_->files().folderExists(L"/home/me/deep/down/fsys"));
  EXPECT_EQ(prefs().getPreference("a"), L"1");
}

TEST_F(EditorPreferencesTest, NothingButTheLockFileStaysBesideThem) {
  EXPECT_TRUE(prefs().setPreference("a", L"1"));
  EXPECT_TRUE(prefs().setPreference("a", L"2"));
  EXPECT_EQ(names(), "preferences preferences.lock ");
  EXPECT_TRUE(takeLock());
}

TEST_F(EditorPreferencesTest, AFileThatIsALinkStaysOneAndKeepsItsMode) {
  os_->files().addFile(L"/d/mine");
  os_->files().setMode(L"/d/mine", 0600);
  os_->files().addLink(kFile, L"/d/mine");
  EXPECT_TRUE(prefs().setPreference("a", L"1"));
  EXPECT_EQ(content(L"/d/mine"), "a = 1\n");
  EXPECT_EQ(os_->files().modeOf(L"/d/mine"), 0600u);
}

TEST_F(EditorPreferencesTest, AFileThatCannotBeReadHasNoSettingsAndIsNotReplaced) {
  const std::string binary("a = 1\n\0", 7);
  put(binary);
  EXPECT_EQ(prefs().getPreference("a", L"none"), L"none");
  EXPECT_EQ(captured_.log,
            "Preferences: 'a' cannot be read: " + OS()->getErrors()->describe(eOsInvalid) + "\n");
  captured_.log.clear();
  EXPECT_FALSE(prefs().setPreference("a", L"2"));
  EXPECT_FALSE(prefs().removePreference("a"));
  std::string why = OS()->getErrors()->describe(eOsInvalid) + "\n";
  EXPECT_EQ(captured_.log,
            "Preferences: 'a' is not kept: " + why + "Preferences: 'a' is not kept: " + why);
  EXPECT_EQ(content(), binary);
}

TEST_F(EditorPreferencesTest, MoreThanCouldBeReadBackIsNotWritten) {
  put("b = 2\n");
  std::wstring much(TextFile::kMostBytes, L'x');
  EXPECT_FALSE(prefs().setPreference("a", Wide(std::wstring_view(much))));
  EXPECT_EQ(captured_.log,
            "Preferences: 'a' is not kept: " + OS()->getErrors()->describe(eOsTooLarge) + "\n");
  EXPECT_EQ(content(), "b = 2\n");
}

// The lock ----------------------------------------------------------------------------------------

TEST_F(EditorPreferencesTest, AChangeWaitsForTheLockAndNoLongerThanItsPatience) {
  put("a = 1\n");
  Qv::Ptr<iFile> held = takeLock();
  double before_ms = os_->clock().now_ms();
  EXPECT_FALSE(prefs().setPreference("a", L"2"));
  EXPECT_EQ(os_->clock().now_ms() - before_ms, EditorPreferences::kLockPatience_ms);
  EXPECT_EQ(os_->threads().sleeps().size(), 100u);
  EXPECT_EQ(os_->threads().sleeps().front(), EditorPreferences::kLockPause_ms);
  EXPECT_EQ(captured_.log, "Preferences: 'a' is not kept, another program holds the lock\n");
  EXPECT_EQ(content(), "a = 1\n");
}

TEST_F(EditorPreferencesTest, AChangeIsMadeAsSoonAsTheLockIsFree) {
  os_->files().addFolder(L"/c/fsys");
  Qv::Ptr<iFile> held = takeLock();
  co_create(
      [](void* lock) {
        static_cast<Qv::Ptr<iFile>*>(lock)->reset();
        return 0u;
      },
      "other program", 0, &held, 1, 0);
  EXPECT_TRUE(prefs().setPreference("a", L"2"));
  EXPECT_EQ(os_->threads().sleeps().size(), 1u);
  EXPECT_EQ(content(), "a = 2\n");
}

TEST_F(EditorPreferencesTest, ALockFileThatMayNotBeWrittenIsNotWaitedFor) {
  put("a = 1\n");
  os_->files().addFile(kLock);
  os_->files().setReadOnly(kLock);
  EXPECT_FALSE(prefs().setPreference("a", L"2"));
  EXPECT_TRUE(os_->threads().sleeps().empty());
  EXPECT_EQ(captured_.log,
            "Preferences: 'a' is not kept: " + OS()->getErrors()->describe(eOsAccessDenied) + "\n");
  EXPECT_EQ(content(), "a = 1\n");
}

TEST_F(EditorPreferencesTest, ReadingNeedsNoLock) {
  put("a = 1\n");
  Qv::Ptr<iFile> held = takeLock();
  EXPECT_EQ(prefs().getPreference("a"), L"1");
  EXPECT_TRUE(os_->threads().sleeps().empty());
}

// Drives that do not answer -----------------------------------------------------------------------

TEST_F(EditorPreferencesTest, ADriveThatDoesNotAnswerHasNoSettings) {
  put("a = 1\n");
  silence();
  EXPECT_EQ(prefs().getPreference("a", L"none"), L"none");
  EXPECT_EQ(captured_.log,
            "Preferences: 'a' cannot be read: " + OS()->getErrors()->describe(eOsTimedOut) + "\n");
}

TEST_F(EditorPreferencesTest, AChangeThatIsGivenUpComesLateAndUndoesNobodyElses) {
  put("a = 1\nb = 1\n");
  silence();
  EXPECT_FALSE(prefs().setPreference("a", L"2"));
  EXPECT_EQ(captured_.log,
            "Preferences: 'a' is not kept: " + OS()->getErrors()->describe(eOsTimedOut) + "\n");
  EXPECT_TRUE(os_->threads().sleeps().empty()) << "it is not the lock that is waited for";
  put("a = 1\nb = 7\n");
  os_->files().drive(L"/c/").silent = false;
  EXPECT_EQ(os_->files().runLateErrands(), 1u);
  EXPECT_EQ(prefs().getPreference("a"), L"2");
  EXPECT_EQ(prefs().getPreference("b"), L"7");
  EXPECT_TRUE(takeLock());
}

TEST_F(EditorPreferencesTest, AChangeThatComesLateToATakenLockIsNotMade) {
  put("a = 1\n");
  os_->files().addFile(kLock);
  silence();
  EXPECT_FALSE(prefs().setPreference("a", L"2"));
  os_->files().drive(L"/c/").silent = false;
  Qv::Ptr<iFile> held = takeLock();
  EXPECT_EQ(os_->files().runLateErrands(), 1u);
  EXPECT_EQ(content(), "a = 1\n");
}

// What fails --------------------------------------------------------------------------------------

TEST_F(EditorPreferencesTest, WhateverCallFailsTheFileIsWholeAndTheLockIsFree) {
  for (size_t kind = 0; kind < FaultPlan::eCallKinds; ++kind)
    for (FaultPlan::eSpan span : {FaultPlan::eOnce, FaultPlan::eFromThenOn})
      for (unsigned nth = 1, struck = 1; struck != 0 && nth < 30; ++nth) {
        SCOPED_TRACE(testing::Message() << "call " << kind << ", number " << nth << " " << span);
        put("a = 1\nb = 7\n");
        auto call = static_cast<FaultPlan::eCall>(kind);
        unsigned before = os_->faults().fired(call);
        os_->faults().fail(call, eOsIoError, nth, span);
        bool changed = prefs().setPreference("a", L"2");
        struck = os_->faults().fired(call) - before;
        os_->faults().clear();
        ASSERT_TRUE(content() == "a = 2\nb = 7\n" || (!changed && content() == "a = 1\nb = 7\n"))
            << content();
        ASSERT_TRUE(takeLock());
        ASSERT_TRUE(prefs().setPreference("a", L"3"));
        ASSERT_EQ(content(), "a = 3\nb = 7\n");
        ASSERT_EQ(names(), "preferences preferences.lock ");
      }
}

TEST_F(EditorPreferencesTest, WithoutMemoryTheFileIsWholeAndTheLockIsFree) {
  FailingHeap heap;
  if (!heap.isAsked()) GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  for (bool once : {true, false}) {
    bool refused = true;
    int nth = 0;
    for (; refused && nth < 1000; ++nth) {
      put("a = 1\nb = 7\n");
      bool changed = false;
      bool thrown = false;
      heap.refuse(nth, once);
      try {
        changed = prefs().setPreference("a", L"2");
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
      refused = heap.letBe();
      ASSERT_TRUE(refused || !thrown) << nth;
      ASSERT_TRUE(content() == "a = 2\nb = 7\n" || (!changed && content() == "a = 1\nb = 7\n"))
          << nth;
      ASSERT_TRUE(takeLock()) << nth;
      ASSERT_TRUE(prefs().removePreference("a")) << nth;
      ASSERT_EQ(content(), "b = 7\n") << nth;
      ASSERT_EQ(names(), "preferences preferences.lock ") << nth;
    }
    EXPECT_FALSE(refused) << "a change asks for memory without end";
    EXPECT_GT(nth, 10);
  }
}

TEST_F(EditorPreferencesTest, AfterALossOfPowerAChangeIsThereWholeOrNotAtAll) {
  put("a = 1\nb = old\n");
  expectOldOrNew("a = 1\nb = new\n", [] { return prefs().setPreference("b", L"new"); });
}

TEST_F(EditorPreferencesTest, AfterALossOfPowerTheFirstSettingIsThereWholeOrThereIsNoFile) {
  expectOldOrNew("a = 1\n", [] { return prefs().setPreference("a", L"1"); });
}

TEST_F(EditorPreferencesTest, AfterALossOfPowerARemovedSettingIsGoneOrStillThereWhole) {
  put("a = 1\nb = 2\nc = 3\n");
  expectOldOrNew("a = 1\nc = 3\n", [] { return prefs().removePreference("b"); });
}

TEST_F(EditorPreferencesTest, ARemovalThatMayNotBeDurableIsMadeDurableByTheNextOne) {
  ASSERT_TRUE(prefs().setPreference("a", L"1"));
  FakeCrash crash(*os_);
  os_->faults().fail(FaultPlan::eSyncFolder, eOsIoError);
  EXPECT_FALSE(prefs().removePreference("a"));
  EXPECT_TRUE(prefs().removePreference("a"));
  crash.forEachStateNow([](const std::string& what) {
    EXPECT_EQ(prefs().getPreference("a", L"none"), L"none") << what;
  });
}

TEST_F(EditorPreferencesTest, TheFirstSettingSurvivesALossOfPowerWithItsFolder) {
  os_->systemInfo().setEnvironment("XDG_CONFIG_HOME", "/home/me/.config");
  os_->files().addFolder(L"/home");
  FakeCrash crash(*os_);
  ASSERT_TRUE(prefs().setPreference("a", L"1"));
  size_t states = crash.forEachStateNow(
      [](const std::string& what) { EXPECT_EQ(prefs().getPreference("a"), L"1") << what; });
  EXPECT_GT(states, 0u);
}

}  // namespace
