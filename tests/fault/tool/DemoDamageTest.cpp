// What goes wrong in the middle of the demo's day is found by the step that looks at it, which says
// what was expected, what was found, and which step it is.

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "fsys/DiskManager.h"
#include "fsys/Fsys.h"
#include "fsys/SystemCache.h"
#include "platform/Shutdown.h"
#include "tests/fault/tool/DemoDamage.h"
#include "tests/fault/tool/DemoStage.h"
#include "tests/fault/tool/ToolRun.h"
#include "tests/support/OwnMounts.h"
#include "tests/support/ScratchFolder.h"
#include "tools/fsys/NotifyListener.h"

namespace {

// DemoDamageTest: the demo runs in this process, so that its messages are heard here, too.
class DemoDamageTest : public testing::TestWithParam<DemoDamage> {
public:
  static std::string nameOf(const testing::TestParamInfo<DemoDamage>& test) {
    return test.param.name;
  }

protected:
  DemoDamageTest() : stage_(folder_.path()), listener_(new NotifyListener(nullptr)) {
    DemoStage::putMedia(stage_);
    DemoStage::prepare(stage_);
  }
  ~DemoDamageTest() override {
    listener_->stop();
    for (int type : types())
      SystemCache::instance().remove(static_cast<Notifier::Type>(type), listener_);
    FsysUninitialize(Shutdown::eNormal);
  }

  // From here on it is heard before the demo hears it: it happens in between.
  void listen() {
    listener_ = new NotifyListener([this](const NotifyMsg& message) { hear(message); });
    for (int type : types())
      SystemCache::instance().add(static_cast<Notifier::Type>(type), listener_);
    DiskManager::addListener(listener_);
  }
  ToolRun live() {
    return runToolHere(
        {"demo", stage_.path("given/media"), "--work", stage_.path("work"), "--seconds", "0.2"},
        "/dev/null");
  }
  bool hasHappened() const { return hasHappened_; }
  void happen() {
    hasHappened_ = true;
    GetParam().happens(stage_);
  }

  OwnMounts own_;
  ScratchFolder folder_;
  ToolStage stage_;

private:
  // Not kept in a static: it may be there before they are.
  static std::array<int, 3> types() {
    return {SystemCache::fileAddedMsgType_, SystemCache::proxyAddedMsgType_,
            SystemCache::fileRemovedMsgType_};
  }

  static DemoDamage::eWhen kindOf(const NotifyMsg& message) {
    int type = static_cast<int>(message.getType());
    if (type == SystemCache::fileAddedMsgType_) return DemoDamage::eAdded;
    if (type == SystemCache::proxyAddedMsgType_) return DemoDamage::eProxyAdded;
    if (type == SystemCache::fileRemovedMsgType_) return DemoDamage::eRemoved;
    return message.getText().view() == "MediaLocationsChangeMsg" ? DemoDamage::eLocations
                                                                 : DemoDamage::eBefore;
  }
  void hear(const NotifyMsg& message) {
    if (kindOf(message) == GetParam().when && ++heard_ == GetParam().nth) happen();
  }

  Qv::Ptr<NotifyListener> listener_;
  unsigned heard_ = 0;
  bool hasHappened_ = false;
};

TEST_P(DemoDamageTest, IsFoundBySteps) {
  const DemoDamage& damage = GetParam();
  if (damage.when == DemoDamage::eBefore)
    happen();
  else
    listen();
  ToolRun run = live();
  EXPECT_TRUE(hasHappened());
  EXPECT_EQ(run.code, damage.code) << run.out << run.err;
  for (const std::string& words : damage.says)
    EXPECT_NE(run.err.find(words), std::string::npos) << "no \"" << words << "\" in " << run.err;
  std::string step = std::string("this was the step \"") + damage.step + "\"";
  EXPECT_NE(run.err.find(step), std::string::npos) << run.err;
  EXPECT_EQ(DemoStage::whyNotEmpty(stage_), "");
}

INSTANTIATE_TEST_SUITE_P(Days, DemoDamageTest, testing::ValuesIn(DemoDamage::all()),
                         DemoDamageTest::nameOf);

}  // namespace
