#include <string>
#include <vector>

#include "tests/conformance/Environments.h"
#include "tests/support/Pattern.h"

template <typename Environment>
class ServedFilesConformance : public ConformanceTest<Environment> {};

TYPED_TEST_SUITE(ServedFilesConformance, Environments, EnvironmentNames);

namespace {

// A provider that knows no file and remembers what it was asked for.
class DeafProvider final : public iFileProvider {
public:
  Qv::Ptr<iFile> open(const LightweightString<wchar_t>& path, unsigned flags, bool write) override {
    asked = path;
    askedFlags = flags;
    askedToWrite = write;
    return {};
  }
  bool remove(const LightweightString<wchar_t>& path) override {
    asked = path;
    return true;
  }

  LightweightString<wchar_t> asked;
  unsigned askedFlags = 0;
  bool askedToWrite = false;
};

}  // namespace

TYPED_TEST(ServedFilesConformance, OnlyNamesWithAProvidersPrefixAreServed) {
  EXPECT_TRUE(this->files()->isServed(L"mem:a"));
  EXPECT_TRUE(this->files()->isServed(L"mem:"));
  EXPECT_FALSE(this->files()->isServed(L"me"));
  EXPECT_FALSE(this->files()->isServed(L""));
  EXPECT_FALSE(this->files()->isServed(this->path(L"mem:a")));
  this->forgetLastError();
  EXPECT_FALSE(this->files()->openServed(this->path(L"clip"), 1, true));
  EXPECT_EQ(this->lastError(), eOsNotFound);
}

TYPED_TEST(ServedFilesConformance, AMemoryFileIsSharedByNameUntilItIsDeleted) {
  PathString name = L"mem:conformance";
  this->files()->deleteFile(name);
  this->forgetLastError();
  EXPECT_FALSE(this->files()->openServed(name, iFileManager::eFlagRead, false));
  EXPECT_EQ(this->lastError(), eOsNotFound);
  EXPECT_FALSE(this->files()->exists(name));

  Qv::Ptr<iFile> writer = this->files()->openServed(name, iFileManager::eFlagWrite, true);
  ASSERT_TRUE(writer);
  EXPECT_EQ(writer->getCapabilities(), 0u);
  std::vector<unsigned char> bytes = patternBytes(70'000);
  uint32_t done = 0;
  ASSERT_EQ(writer->writeAt(0, bytes.data(), 70'000, &done), 1u);

  Qv::Ptr<iFile> reader = this->files()->openServed(name, iFileManager::eFlagRead, false);
  ASSERT_TRUE(reader);
  std::vector<unsigned char> buffer(80'000, 0xEE);
  ASSERT_EQ(reader->readAt(0, buffer.data(), 80'000, &done), 1u);
  EXPECT_EQ(done, 70'000u);
  EXPECT_EQ("", whyNotPattern(buffer.data(), 70'000, 0));
  EXPECT_EQ("", whyNotZeros(buffer.data() + 70'000, 10'000));
  uint64_t size = 0;
  EXPECT_TRUE(this->files()->getFileSize(name, size));
  EXPECT_EQ(size, 70'000u);
  EXPECT_TRUE(this->files()->exists(name));
  EXPECT_TRUE(this->files()->deleteFile(name));
  EXPECT_FALSE(this->files()->exists(name));
}

TYPED_TEST(ServedFilesConformance, AMemoryFileHasNoAsynchronousTransfers) {
  Qv::Ptr<iFile> file = this->files()->openServed(L"mem:plain", iFileManager::eFlagWrite, true);
  ASSERT_TRUE(file);
  AsyncTransfer transfer;
  char byte = 0;
  transfer.buffer = &byte;
  transfer.bytes = 1;
  transfer.request = &byte;
  Qv::Ptr<iAsyncContext> context = OS()->getAsyncIo()->createContext();
  EXPECT_EQ(file->startWrite(context, transfer), eOsNotSupported);
  EXPECT_EQ(file->startRead(context, transfer), eOsNotSupported);
  EXPECT_EQ(context->detach(), nullptr);
  this->files()->deleteFile(L"mem:plain");
}

TYPED_TEST(ServedFilesConformance, TheLongestPrefixServesAndANullProviderTakesItAway) {
  Qv::Ptr<DeafProvider> wide(new DeafProvider), narrow(new DeafProvider);
  this->files()->registerProvider(L"deaf:", Qv::Ptr<iFileProvider>(wide));
  this->files()->registerProvider(L"deaf:near/", Qv::Ptr<iFileProvider>(narrow));
  EXPECT_TRUE(this->files()->isServed(L"deaf:near/x"));
  this->files()->openServed(L"deaf:near/x", 3, true);
  this->files()->openServed(L"deaf:far", 1, false);
  EXPECT_TRUE(narrow->asked == L"deaf:near/x");
  EXPECT_EQ(narrow->askedFlags, 3u);
  EXPECT_TRUE(narrow->askedToWrite);
  EXPECT_TRUE(wide->asked == L"deaf:far");
  EXPECT_FALSE(wide->askedToWrite);
  this->files()->registerProvider(L"deaf:near/", {});
  this->files()->openServed(L"deaf:near/y", 1, false);
  EXPECT_TRUE(wide->asked == L"deaf:near/y");
  this->files()->registerProvider(L"deaf:", {});
  EXPECT_FALSE(this->files()->isServed(L"deaf:near/y"));
}
