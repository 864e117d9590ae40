// Every form of new and delete goes to the platform's memory manager.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>

#include "platform/OS.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

// The process's own memory manager, with a count of what it is asked.
class CountedMemory final : public iMemoryManager {
public:
  void* allocate(size_t bytes) override {
    ++allocations;
    lastBytes = bytes;
    return refuse ? nullptr : own()->allocate(bytes);
  }
  void* allocateAligned(size_t bytes, size_t alignment) override {
    ++alignedAllocations;
    lastBytes = bytes;
    lastAlignment = alignment;
    return refuse ? nullptr : own()->allocateAligned(bytes, alignment);
  }
  void free(void* memory) override {
    if (throwAtFree) throw std::runtime_error("free");
    ++frees;
    own()->free(memory);
  }
  void freeAligned(void* memory) override {
    ++alignedFrees;
    own()->freeAligned(memory);
  }

  int allocations = 0;
  int alignedAllocations = 0;
  int frees = 0;
  int alignedFrees = 0;
  size_t lastBytes = 0;
  size_t lastAlignment = 0;
  bool refuse = false;
  bool throwAtFree = false;

private:
  static iMemoryManager* own() { return nativeOS()->getMemoryManager(); }
};

// The system itself but for its memory manager.
class SystemWithCountedMemory final : public iOS {
public:
  iMemoryManager* getMemoryManager() override { return &memory; }
  iVirtualMemory* getVirtualMemory() override { return nativeOS()->getVirtualMemory(); }
  iThreads* getThreads() override { return nativeOS()->getThreads(); }
  iClock* getClock() override { return nativeOS()->getClock(); }
  iFileManager* getFileManager() override { return nativeOS()->getFileManager(); }
  iAsyncIo* getAsyncIo() override { return nativeOS()->getAsyncIo(); }
  iSystemInfo* getSystemInfo() override { return nativeOS()->getSystemInfo(); }
  iOsErrors* getErrors() override { return nativeOS()->getErrors(); }

  CountedMemory memory;
};

// Between the two braces of a call nothing but the call allocates: what a test says of failures is
// said after the scope.
class HeapOperatorsTest : public testing::Test {
protected:
  void SetUp() override {
    if (!kSanitized) return;
    counted([] { ::operator delete(::operator new(1)); });
    if (memory().allocations == 0)
      GTEST_SKIP() << "the sanitizer's own operators stand where the library's would";
    system_.memory = CountedMemory();
  }

  class Behind {
  public:
    explicit Behind(iOS* os) : before_(swapOS(os)) {}
    ~Behind() { swapOS(before_); }
    Behind(const Behind&) = delete;
    Behind& operator=(const Behind&) = delete;

  private:
    iOS* before_;
  };

  template <typename Call>
  void counted(const Call& call) {
    Behind behind(&system_);
    call();
  }
  CountedMemory& memory() { return system_.memory; }

  SystemWithCountedMemory system_;
};

constexpr std::align_val_t kAlignment{256};

TEST_F(HeapOperatorsTest, NewAsksThePlatformForItsBytesAndDeleteGivesThemBack) {
  counted([] { ::operator delete(::operator new(100)); });
  EXPECT_EQ(memory().allocations, 1);
  EXPECT_EQ(memory().lastBytes, 100u);
  EXPECT_EQ(memory().frees, 1);
}

TEST_F(HeapOperatorsTest, TheArrayFormsAskOnceToo) {
  counted([] { ::operator delete[](::operator new[](100)); });
  EXPECT_EQ(memory().allocations, 1);
  EXPECT_EQ(memory().lastBytes, 100u);
  EXPECT_EQ(memory().frees, 1);
}

TEST_F(HeapOperatorsTest, TheNoThrowFormsAskThePlatform) {
  counted([] {
    ::operator delete(::operator new(100, std::nothrow), std::nothrow);
    ::operator delete[](::operator new[](200, std::nothrow), std::nothrow);
  });
  EXPECT_EQ(memory().allocations, 2);
  EXPECT_EQ(memory().lastBytes, 200u);
  EXPECT_EQ(memory().frees, 2);
}

TEST_F(HeapOperatorsTest, TheFormsWithASizeGiveBackToThePlatform) {
  counted([] {
    ::operator delete(::operator new(100), size_t{100});
    ::operator delete[](::operator new[](100), size_t{100});
  });
  EXPECT_EQ(memory().frees, 2);
}

TEST_F(HeapOperatorsTest, EveryAlignedFormAsksThePlatformForItsAlignment) {
  uintptr_t rest = 0;
  counted([&] {
    void* single = ::operator new(100, kAlignment);
    void* array = ::operator new[](100, kAlignment);
    void* quiet = ::operator new(100, kAlignment, std::nothrow);
    void* quietArray = ::operator new[](100, kAlignment, std::nothrow);
    for (void* block : {single, array, quiet, quietArray})
      rest |= reinterpret_cast<uintptr_t>(block) % 256;
    ::operator delete(single, kAlignment);
    ::operator delete[](array, size_t{100}, kAlignment);
    ::operator delete(quiet, kAlignment, std::nothrow);
    ::operator delete[](quietArray, kAlignment, std::nothrow);
    ::operator delete(::operator new(100, kAlignment), size_t{100}, kAlignment);
    ::operator delete[](::operator new[](100, kAlignment), kAlignment);
  });
  EXPECT_EQ(rest, 0u);
  EXPECT_EQ(memory().alignedAllocations, 6);
  EXPECT_EQ(memory().lastAlignment, 256u);
  EXPECT_EQ(memory().alignedFrees, 6);
  EXPECT_EQ(memory().allocations + memory().frees, 0);
}

TEST_F(HeapOperatorsTest, ContainersOfTheStandardLibraryUseThemToo) {
  counted([] { std::string(1000, 'x').append("y"); });
  EXPECT_GE(memory().allocations, 1);
  EXPECT_EQ(memory().frees, memory().allocations);
}

TEST_F(HeapOperatorsTest, NewOf0BytesIsMemoryOfItsOwn) {
  bool distinct = false;
  counted([&] {
    void* first = ::operator new(0);
    void* second = ::operator new(0);
    void* aligned = ::operator new(0, kAlignment);
    distinct = first && second && first != second && aligned;
    ::operator delete(first);
    ::operator delete(second);
    ::operator delete(aligned, kAlignment);
  });
  EXPECT_TRUE(distinct);
}

TEST_F(HeapOperatorsTest, WithoutMemoryNewThrowsAndTheNoThrowFormsAnswerNull) {
  memory().refuse = true;
  int thrown = 0;
  void* quiet = this;
  void* quietArray = this;
  void* quietAligned = this;
  counted([&] {
    try {
      ::operator delete(::operator new(100));
    } catch (const std::bad_alloc&) {
      ++thrown;
    }
    try {
      ::operator delete[](::operator new[](100));
    } catch (const std::bad_alloc&) {
      ++thrown;
    }
    try {
      ::operator delete(::operator new(100, kAlignment), kAlignment);
    } catch (const std::bad_alloc&) {
      ++thrown;
    }
    quiet = ::operator new(100, std::nothrow);
    quietArray = ::operator new[](100, std::nothrow);
    quietAligned = ::operator new(100, kAlignment, std::nothrow);
  });
  EXPECT_EQ(thrown, 3);
  EXPECT_EQ(quiet, nullptr);
  EXPECT_EQ(quietArray, nullptr);
  EXPECT_EQ(quietAligned, nullptr);
}

CountedMemory* refusing = nullptr;

TEST_F(HeapOperatorsTest, TheNewHandlerIsAskedBeforeNewGivesUp) {
  memory().refuse = true;
  refusing = &memory();
  std::new_handler before = std::set_new_handler([] { refusing->refuse = false; });
  bool got = false;
  counted([&] {
    void* block = ::operator new(100);
    got = block != nullptr;
    ::operator delete(block);
  });
  std::set_new_handler(before);
  EXPECT_TRUE(got);
  EXPECT_EQ(memory().allocations, 2);
}

TEST_F(HeapOperatorsTest, TheNoThrowFormsTurnEveryExceptionIntoNull) {
  memory().refuse = true;
  std::new_handler before = std::set_new_handler([] { throw 42; });
  void* block = this;
  counted([&] { block = ::operator new(100, std::nothrow); });
  std::set_new_handler(before);
  EXPECT_EQ(block, nullptr);
}

TEST_F(HeapOperatorsTest, DeletingNullIsAllowed) {
  counted([] {
    ::operator delete(nullptr);
    ::operator delete[](nullptr);
  });
  EXPECT_EQ(memory().frees, 2);
}

// A process of its own, started anew: this one may have threads.
TEST_F(HeapOperatorsTest, AFailureOfDeleteEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        void* block = ::operator new(100);
        memory().throwAtFree = true;
        swapOS(&system_);
        ::operator delete(block);
        swapOS(nullptr);
      },
      "terminate called");
}

static_assert(noexcept(::operator delete(nullptr)) && noexcept(::operator delete[](nullptr)));
static_assert(noexcept(::operator new(1, std::nothrow)));

}  // namespace
