// The catalogue's instance goes, and comes again.
#include <loki/Singleton.h>

#include <cstdio>
#include <cstdlib>

#include "tests/SystemCacheFixture.h"

namespace {

// Of the type of added files; does something as it ends.
struct Guest : iCallbackBase<int, NotifyMsg> {
  explicit Guest(std::function<void()> what) : atEnd(std::move(what)) {}
  ~Guest() override { atEnd(); }
  Guest(const Guest&) = delete;
  Guest& operator=(const Guest&) = delete;
  int callback(NotifyMsg) override { return 0; }
  std::function<void()> atEnd;
};

class SystemCacheEndTest : public SystemCacheFixture {
protected:
  static void end() { Loki::DeletableSingleton<SystemCache>::GracefulDelete(); }
  static void invite(std::function<void()> atEnd) {
    SystemCache::instance().add(SystemCache::fileAddedMsgType_,
                                Notifier::Listener(new Guest(std::move(atEnd))));
  }
  static size_t listeners() {
    return SystemCache::instance().listenersOf(SystemCache::fileAddedMsgType_).size();
  }
  void tellAdded() { SystemCache::addFile(kVision, info(L"/Material/a.mov"), true); }
};

TEST_F(SystemCacheEndTest, AfterItsEndTheInstanceIsMadeAgainAsOftenAsItIsNeeded) {
  for (int turn = 0; turn < 3; ++turn) {
    writeDown();
    tellAdded();
    EXPECT_EQ(messages_, Texts{"SysCacheAdd V4K7Q2M9A00"}) << turn;
    end();
    messages_.clear();
    tellAdded();
    EXPECT_EQ(messages_, Texts{}) << "its listeners went with it";
  }
  end();
  end();
}

TEST_F(SystemCacheEndTest, TheEntriesOutliveTheInstance) {
  add(kVision, L"/Material/a.mov");
  SystemCache::instance();
  end();
  EXPECT_EQ(catalogued(), Cookies{"V4K7Q2M9A00"});
}

TEST_F(SystemCacheEndTest, AListenerThatGoesWithTheInstanceMayUseTheNextOne) {
  const Notifier::Listener none(new Guest([] {}));
  invite([&none] {
    EXPECT_FALSE(SystemCache::instance().remove(SystemCache::fileAddedMsgType_, none));
    SystemCache::instance().add(SystemCache::fileAddedMsgType_, none);
  });
  end();
  EXPECT_EQ(listeners(), 1u) << "what was added there stays";
  end();
}

TEST_F(SystemCacheEndTest, WhoTellsGoesOnWhenTheInstanceHasGone) {
  hear(SystemCache::fileAddedMsgType_, [](const NotifyMsg&) { end(); });
  hear(SystemCache::fileAddedMsgType_,
       [this](const NotifyMsg& message) { messages_.emplace_back(message.getText().c_str()); });
  tellAdded();
  EXPECT_EQ(messages_, Texts{"V4K7Q2M9A00"});
}

// What runs at the exit does so in reverse order.
TEST_F(SystemCacheEndTest, HoweverOftenTheInstanceWasMadeAgainItsEndIsNotedForTheExitOnce) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto body = [] {
    invite([] {});
    std::atexit([] { std::fputs("before it, ", stderr); });
    end();
    invite([] { std::fputs("and it", stderr); });
    std::exit(3);
  };
  EXPECT_EXIT(body(), testing::ExitedWithCode(3), "before it, and it");
}

TEST_F(SystemCacheEndTest, AnInstanceThatIsMadeBehindItsEndAtTheExitEndsThereToo) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto body = [] {
    invite([] { invite([] { std::fputs("the next", stderr); }); });
    std::exit(3);
  };
  EXPECT_EXIT(body(), testing::ExitedWithCode(3), "the next");
}

}  // namespace
