#include "fsys/WriteMemRef.h"

#include <gtest/gtest.h>

#include "platform/fake/FakeOSScope.h"

namespace {

class WriteMemRefTest : public testing::Test {
protected:
  FakeOSScope os_;
};

TEST_F(WriteMemRefTest, Asks524288BytesOfVirtualMemoryAndItsBufferIsTheirStart) {
  Qv::Ptr<WriteMemRef> cache(new WriteMemRef);
  ASSERT_EQ(os_->memory().allocations().size(), 1u);
  const FakeVirtualMemory::Allocation& asked = os_->memory().allocations()[0];
  EXPECT_EQ(asked.hint, nullptr);
  EXPECT_EQ(asked.bytes, 524288u);
  EXPECT_EQ(asked.type, 0x3000u);
  EXPECT_EQ(asked.protection, 4u);
  EXPECT_EQ(cache->getBuffer(), asked.address);
  cache->getBuffer()[524287] = 1;
}

TEST_F(WriteMemRefTest, CarriesNoLength) {
  Qv::Ptr<WriteMemRef> cache(new WriteMemRef);
  EXPECT_EQ(cache->getSize(), 0u);
  EXPECT_EQ(cache->getUsed(), 0u);
  EXPECT_FALSE(cache->setUsed(100));
  EXPECT_EQ(cache->getUsed(), 0u);
}

TEST_F(WriteMemRefTest, ItsMemoryGoesBackWithTheLastReference) {
  Qv::Ptr<iMemHolder> cache(new WriteMemRef);
  Qv::Ptr<iMemHolder> request = cache;
  cache.reset();
  EXPECT_EQ(os_->memory().regions(), 1u);
  request.reset();
  ASSERT_EQ(os_->memory().releases().size(), 1u);
  EXPECT_EQ(os_->memory().releases()[0].bytes, 0u);
  EXPECT_EQ(os_->memory().releases()[0].type, 0xC000u);
  EXPECT_EQ(os_->memory().regions(), 0u);
}

TEST_F(WriteMemRefTest, FreesItsMemoryWithoutTestingIt) {
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  Qv::Ptr<WriteMemRef> cache(new WriteMemRef);
  EXPECT_EQ(cache->getBuffer(), nullptr);
  cache.reset();
  ASSERT_EQ(os_->memory().releases().size(), 1u);
  EXPECT_EQ(os_->memory().releases()[0].address, nullptr);
}

}  // namespace
