#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/TextFile.h"
#include "platform/fake/FakeOSScope.h"
#include "platform/fake/FakeTransferWatcher.h"

using TextLinesOfTest = std::vector<std::string>;

// Text files in the folder /p of the fake, most of them /p/list.txt.
class TextFileFixture : public ::testing::Test {
protected:
  static constexpr wchar_t kName[] = L"/p/list.txt";

  TextFileFixture() { os_->files().addFolder(L"/p"); }

  void put(std::string_view content, const PathString& name = kName) {
    os_->files().addFile(name, {content.begin(), content.end()});
  }
  std::string content(const PathString& name = kName) {
    std::vector<unsigned char> bytes = os_->files().bytesOf(name);
    return {bytes.begin(), bytes.end()};
  }
  // The names of the files in the folder, with a blank between two.
  std::string names() {
    Vector<iFileManager::ListedFile> files;
    EXPECT_TRUE(os_->files().listFiles(L"/p/*", files));
    std::string all;
    for (const iFileManager::ListedFile& file : files)
      all += (all.empty() ? "" : " ") + std::string(toUTF8(file.name).view());
    return all;
  }
  static TextLinesOfTest linesOf(const TextFile& file) {
    TextLinesOfTest lines;
    for (size_t i = 0; i < file.lineCount(); ++i) lines.emplace_back(file[i].view());
    return lines;
  }
  static TextFile with(const TextLinesOfTest& lines, const PathString& name = kName) {
    TextFile file(name);
    for (const std::string& line : lines)
      EXPECT_TRUE(file.appendLine(LightweightString<char>(std::string_view(line))));
    return file;
  }
  static TextLinesOfTest loaded(const PathString& name = kName) {
    TextFile file(name);
    EXPECT_EQ(file.load(), TextFile::eLoaded);
    return linesOf(file);
  }
  static uint32_t lastError() { return OS()->getErrors()->getLastError(); }

  FakeOSScope os_;
};

// Does something each time that bytes have moved.
class AtEachMove final : public FakeTransferWatcher {
public:
  AtEachMove(FakeOS& os, std::function<void(const FakeMove&)> then)
      : os_(os), then_(std::move(then)) {
    os_.asyncIo().setWatcher(this);
  }
  ~AtEachMove() { os_.asyncIo().setWatcher(nullptr); }
  AtEachMove(const AtEachMove&) = delete;
  AtEachMove& operator=(const AtEachMove&) = delete;

  void started(const FakeTransfer&) override {}
  void moved(const FakeMove& move) override { then_(move); }
  bool endOne() override { return false; }

private:
  FakeOS& os_;
  std::function<void(const FakeMove&)> then_;
};
