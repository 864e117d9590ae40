// Which file the tool says that serves, and why, beside what the library answers.

#include "tools/fsys/FileChoice.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/fake/FakeOSScope.h"

namespace {

using Text = LightweightString<wchar_t>;

enum eFile { eNone, eThere, eAway, eLink, eBrokenLink, eEmptyLink };

const Text kTarget = L"/target.mov";
constexpr DriveId kDrive{'1'};

class FileChoiceTest : public testing::Test {
protected:
  FileChoiceTest() { os_->files().addFile(kTarget, {'x'}); }

  // An info of that kind, with its file.
  MediaFileInfo made(const Text& path, eFile kind) {
    constexpr unsigned long kSize = 1000;
    if (kind == eThere) os_->files().addFile(path, std::vector<unsigned char>(kSize, 'x'));
    if (kind == eThere || kind == eAway) return {{kDrive, path}, kSize};
    Text target = kind == eLink ? kTarget : kind == eBrokenLink ? Text(L"/none") : Text();
    std::string content(toUTF8(target).view());
    std::vector<unsigned char> bytes(content.begin(), content.end());
    bytes.resize(MaterialLink::kBytes);
    os_->files().addFile(path, bytes);
    return {{kDrive, path}, MaterialLink::kBytes};
  }

  FakeOSScope os_;
};

std::string wordOf(eProxyLevel level, uint32_t height) {
  return level == eProxy     ? "proxy"
         : level == eHighRes ? "high-resolution"
         : height > 0        ? "at least " + std::to_string(height) + " lines"
                             : "high-resolution";
}

constexpr const char* kCopy = "a high-resolution copy, which counts as the first proxy";

void expectAgreement(FsysDirectoryEntry& entry, const DecodeFormat& format,
                     const FileChoice& choice) {
  ASSERT_EQ(choice.path, entry.findFileForCookie(format));
  ASSERT_EQ(choice.path.empty(), choice.file == FileChoice::kNone);
  if (choice.file == FileChoice::kHighRes) {
    ASSERT_EQ(choice.path, entry.getPhysicalFilename(false));
    ASSERT_EQ(choice.why.find("the high-resolution file"), 0u);
  } else if (choice.file >= 0) {
    auto proxy = std::next(entry.getProxyFiles().begin(), choice.file);
    ASSERT_EQ(choice.path, proxy->getPhysicalFilename(false));
    ASSERT_EQ(choice.why.find(proxy->isProxy() ? "the first proxy" : kCopy), 0u);
  }
}

TEST_F(FileChoiceTest, ItAgreesWithTheLibraryWhateverThereIs) {
  const std::vector<eFile> kinds = {eNone, eThere, eAway, eLink, eBrokenLink, eEmptyLink};
  unsigned number = 0;
  for (eFile high : kinds)
    for (eFile first : kinds)
      for (eFile second : kinds)
        for (eProxyLevel level : {eAuto, eHighRes, eProxy})
          for (uint32_t height : {0u, 360u, 500u, 720u, 4000u}) {
            Text folder = fromUTF8(std::string_view("/" + std::to_string(++number)));
            FsysDirectoryEntry entry;
            std::vector<Text> paths;
            Cookie cookie(L"V4K7Q2M9A00");
            auto add = [&](const wchar_t* name, eFile kind) {
              if (kind == eNone) return;
              MediaFileInfo info = made(folder + name, kind);
              entry.addFile(cookie, info);
            };
            if (high != eNone) add(L".mov", high);
            add(L".A0.proxy.360.mov", first);
            add(L".A0.proxy.720.mov", second);
            DecodeFormat format(level);
            format.setHeight(height);
            FileChoice choice(entry, format);
            SCOPED_TRACE(choice.why + " " + std::to_string(number));
            ASSERT_NO_FATAL_FAILURE(expectAgreement(entry, format, choice));
            if (choice.file == FileChoice::kNone) continue;
            ASSERT_NE(choice.why.find(wordOf(level, height)), std::string::npos);
          }
  EXPECT_EQ(number, 6u * 6 * 6 * 3 * 5);
}

TEST_F(FileChoiceTest, TheReasonIsTheRuleThatChoseIt) {
  struct Case {
    eFile high;
    eFile proxy;
    eProxyLevel level;
    uint32_t height;
    const char* why;
  };
  const Case cases[] = {
      {eThere, eThere, eHighRes, 0, "the high-resolution file"},
      {eThere, eThere, eAuto, 0, "the high-resolution file"},
      {eThere, eThere, eProxy, 0, "the first proxy"},
      {eThere, eThere, eAuto, 360, "the first proxy of at least 360 lines"},
      {eThere, eThere, eAuto, 361,
       "the high-resolution file: no proxy of at least 361 lines can be opened"},
      {eThere, eNone, eProxy, 0, "the high-resolution file: there is no proxy"},
      {eThere, eEmptyLink, eProxy, 0, "the high-resolution file: the first proxy leads nowhere"},
      {eNone, eThere, eHighRes, 0, "the first proxy: there is no high-resolution file"},
      {eBrokenLink, eThere, eHighRes, 0, "the first proxy: the high-resolution file is missing"},
      {eBrokenLink, eThere, eAuto, 361,
       "the first proxy: the high-resolution file is missing, and no proxy of at least 361 lines "
       "can be opened"},
      {eBrokenLink, eNone, eHighRes, 0,
       "the high-resolution file is missing, and there is no proxy"},
      {eBrokenLink, eEmptyLink, eProxy, 0,
       "the high-resolution file is missing, and the first proxy leads nowhere"},
      {eNone, eNone, eAuto, 0, "there is no high-resolution file, and there is no proxy"},
  };
  int number = 0;
  for (const Case& one : cases) {
    Text folder = fromUTF8(std::string_view("/w" + std::to_string(++number)));
    FsysDirectoryEntry entry;
    Cookie cookie(L"V4K7Q2M9A00");
    if (one.high != eNone) entry.addFile(cookie, made(folder + L".mov", one.high));
    if (one.proxy != eNone) entry.addFile(cookie, made(folder + L".A0.proxy.360.mov", one.proxy));
    DecodeFormat format(one.level);
    format.setHeight(one.height);
    EXPECT_EQ(FileChoice(entry, format).why, one.why);
  }
}

// A displaced file of high resolution has no lines, one of the older form has more than any.
TEST_F(FileChoiceTest, ACopyAndAProxyOfTheOlderFormServeInTheirPlaces) {
  struct Case {
    bool isOlderForm;
    eFile high;
    eProxyLevel level;
    uint32_t height;
    int file;
  };
  const Case cases[] = {
      {false, eThere, eProxy, 0, 0},        {true, eThere, eProxy, 0, 0},
      {false, eThere, eAuto, 1, 1},         {true, eThere, eAuto, 1, 0},
      {false, eThere, eAuto, 361, -1},      {true, eThere, eAuto, 361, 0},
      {false, eBrokenLink, eAuto, 361, 0},  {true, eThere, eAuto, 0xFFFFFFFF, 0},
      {false, eBrokenLink, eHighRes, 0, 0}, {true, eBrokenLink, eHighRes, 0, 0},
      {false, eThere, eAuto, 0, -1},        {true, eThere, eAuto, 0, -1},
  };
  int number = 0;
  for (const Case& one : cases) {
    SCOPED_TRACE(number);
    const Text folder = fromUTF8(std::string_view("/c" + std::to_string(++number)));
    const Cookie cookie(L"V4K7Q2M9A00");
    FsysDirectoryEntry entry;
    // Media that is smaller than a link may be displaced by one.
    const MediaFileInfo copy({kDrive, folder + L"/copy.mov"}, 100);
    entry.addFile(cookie, one.isOlderForm ? made(folder + L"/proxy/proxy-a.mov", eThere) : copy);
    entry.addFile(cookie, made(folder + L".mov", one.high));
    entry.addFile(cookie, made(folder + L".A0.proxy.360.mov", eThere));
    ASSERT_EQ(entry.getProxyFiles().size(), 2u);
    DecodeFormat format(one.level);
    format.setHeight(one.height);
    const FileChoice choice(entry, format);
    EXPECT_EQ(choice.file, one.file);
    ASSERT_NO_FATAL_FAILURE(expectAgreement(entry, format, choice));
  }
}

}  // namespace
