// What others do to an entry while it asks a disk: it holds no lock then, and an answer about a
// file that is another by now is not kept.

#include <functional>
#include <utility>

#include "platform/OS.h"
#include "tests/DirectoryEntryFixture.h"
#include "tests/support/ForwardingOS.h"

namespace {

// Files under "/slow/": whoever asks for one lets something happen first.
struct SlowProvider : iFileProvider {
  Qv::Ptr<iFile> open(const LightweightString<wchar_t>&, unsigned flags, bool) override {
    happen();
    return OS()->getFileManager()->openFile(content, flags, iFileManager::eOpenExisting, 0, 0);
  }
  bool remove(const LightweightString<wchar_t>&) override {
    happen();
    return true;
  }
  void happen() {
    std::function<void()> once;
    std::swap(once, meanwhile);
    if (once) once();
  }

  std::function<void()> meanwhile;
  LightweightString<wchar_t> content;  // the file that is found
};

class FsysDirectoryEntryMeanwhileTest : public DirectoryEntryFixture {
protected:
  FsysDirectoryEntryMeanwhileTest() : slow_(new SlowProvider) {
    files().addFile(L"/n/there.mov", std::vector<unsigned char>(700));
    slow_->content = L"/n/there.mov";
    files().registerProvider(L"/slow/", slow_);
  }
  // A link whose target is slow to tell whether it is there.
  MediaFileInfo slowLink(const Text& path) { return link(path, L"/slow/there.mov"); }
  // A file that is slow itself.
  static MediaFileInfo slowFile(unsigned long bytes) {
    return {MaterialFilename(DriveId(), L"/slow/a.mov"), bytes};
  }

  Qv::Ptr<SlowProvider> slow_;
};

TEST_F(FsysDirectoryEntryMeanwhileTest, WhileADiskIsSlowTheEntryCanBeAskedAndChanged) {
  add(slowLink(L"/Material/a.mov"));
  unsigned happened = 0;
  slow_->meanwhile = [this, &happened] {
    EXPECT_EQ(entry_.primaryFilename().getPath(), L"/Material/a.mov");
    EXPECT_TRUE(entry_.isLinked());
    addProxy(info(L"/Material/a.A0.proxy.360.mov"));
    ++happened;
  };
  EXPECT_EQ(entry_.findFileForCookie(DecodeFormat(eHighRes)), L"/slow/there.mov");
  EXPECT_EQ(happened, 1u);
  EXPECT_TRUE(entry_.hasProxies());
}

TEST_F(FsysDirectoryEntryMeanwhileTest, AnAnswerAboutAFileThatWasReplacedIsNotKept) {
  add(slowLink(L"/Material/a.mov"));
  slow_->meanwhile = [this] { add(link(L"/Material/b.mov", L"/n/away.mov")); };
  EXPECT_EQ(entry_.updateStatus(eHighRes), 2u);
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/away.mov");
}

TEST_F(FsysDirectoryEntryMeanwhileTest, AnAnswerThatCameMeanwhileStays) {
  add(slowLink(L"/Material/a.mov"));
  slow_->meanwhile = [this] {
    MediaFileInfo file = info(L"/Material/a.mov", 512);
    file.setStatus(MediaFileInfo::eMissing);
    add(file);
  };
  EXPECT_EQ(entry_.updateStatus(eHighRes), 2u);
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
}

TEST_F(FsysDirectoryEntryMeanwhileTest, ATargetThatWasSetMeanwhileStays) {
  // Once the link counts as not read, and before it is.
  struct Between final : ForwardingOS {
    iFileManager* getFileManager() override {
      if (const std::function<void()> once = std::exchange(change, nullptr)) once();
      return inner()->getFileManager();
    }
    std::function<void()> change;
  };
  add(link(L"/Material/a.mov", L"/n/old.mov"));
  Between between;
  between.change = [this] { entry_.setLinkedFilename(L"/n/new.mov"); };
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/old.mov");
  EXPECT_EQ(entry_.getLinkedFilename(), L"/n/new.mov");
}

TEST_F(FsysDirectoryEntryMeanwhileTest, AStatusOfAnotherTargetThanTheOneThatWasSetIsNotKept) {
  add(slowLink(L"/Material/a.mov"));
  slow_->meanwhile = [this] { entry_.setLinkedFilename(L"/n/away.mov"); };
  EXPECT_EQ(entry_.updateStatus(eHighRes), 2u);
  EXPECT_EQ(entry_.updateStatus(eHighRes), 1u);
}

TEST_F(FsysDirectoryEntryMeanwhileTest, ProxiesThatComeWithEveryLookDoNotKeepItBusy) {
  constexpr unsigned kMost = 10;
  addProxy(slowLink(L"/Material/a.A0.proxy.360.mov"));
  unsigned looks = 0;
  std::function<void()> another = [this, &looks, &another] {
    if (++looks < kMost) slow_->meanwhile = another;
    const std::wstring path = L"/Material/a.A0.proxy." + std::to_wstring(looks) + L".mov";
    addProxy(slowLink(path.c_str()));
  };
  slow_->meanwhile = another;
  EXPECT_EQ(entry_.updateStatus(eProxy), 2u);
  EXPECT_EQ(looks, 1u);
  EXPECT_EQ(proxies().size(), 2u);
}

TEST_F(FsysDirectoryEntryMeanwhileTest, AProxyThatGoesWhileItIsLookedForStaysGone) {
  addProxy(slowLink(L"/Material/a.A0.proxy.360.mov"));
  addProxy(media(L"/Material/a.A0.proxy.720.mov"));
  slow_->meanwhile = [this] { entry_.removeProxyFile(L"/slow/there.mov"); };
  EXPECT_EQ(entry_.updateStatus(eProxy), 2u);
  EXPECT_EQ(proxies(), Texts{"/Material/a.A0.proxy.720.mov"});
}

TEST_F(FsysDirectoryEntryMeanwhileTest, ASizeIsThatOfTheFileThatWasAskedFor) {
  add(slowFile(700));
  slow_->meanwhile = [this] { add(info(L"/Material/b.mov", 900)); };
  entry_.updateFileSize();
  EXPECT_EQ(entry_.fileSize(), 900u);
}

TEST_F(FsysDirectoryEntryMeanwhileTest, AFileThatComesWhileOthersAreDeletedStays) {
  addProxy(slowFile(700));
  slow_->meanwhile = [this] { addProxy(media(L"/Material/a.A0.proxy.720.mov")); };
  EXPECT_EQ(entry_.deleteFiles(eProxy), 1u);
  EXPECT_EQ(proxies(), Texts{"/Material/a.A0.proxy.720.mov"});
  EXPECT_TRUE(isThere(L"/m/Material/a.A0.proxy.720.mov"));
}

TEST_F(FsysDirectoryEntryMeanwhileTest,
       AFileOfHighResolutionThatComesWhileTheFormerIsDeletedStays) {
  files().addFile(L"/m/slow/a.mov");
  files().registerProvider(L"/m/slow/", slow_);
  add(info(L"/slow/a.mov"));
  slow_->meanwhile = [this] { add(media(L"/Material/b.mov")); };
  EXPECT_EQ(entry_.deleteFiles(eHighRes), 1u);
  EXPECT_EQ(entry_.primaryFilename().getPath(), L"/Material/b.mov");
  EXPECT_TRUE(isThere(L"/m/Material/b.mov"));
}

}  // namespace
