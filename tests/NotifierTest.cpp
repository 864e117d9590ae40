#include "platform/Notifier.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/OS.h"
#include "tests/support/FailingHeap.h"

namespace {

using Base = iCallbackBase<int, NotifyMsg>;

class Hearing final : public Base {
public:
  explicit Hearing(std::function<void(const NotifyMsg&)> heard) : heard_(std::move(heard)) {}
  ~Hearing() override {
    if (atEnd) atEnd();
  }
  Hearing(const Hearing&) = delete;
  Hearing& operator=(const Hearing&) = delete;
  int callback(NotifyMsg message) override {
    heard_(message);
    return 0;
  }
  std::function<void()> atEnd;

private:
  std::function<void(const NotifyMsg&)> heard_;
};

class NotifierTest : public ::testing::Test {
protected:
  // Writes its name down when it is called, then does something.
  Notifier::Listener listener(const std::string& name, std::function<void()> then = [] {}) {
    return Notifier::Listener(new Hearing([this, name, then](const NotifyMsg&) {
      told_.push_back(name);
      then();
    }));
  }
  std::vector<std::string> issue(Notifier::Type type) {
    told_.clear();
    notifier_.issue(NotifyMsg(type, "text"));
    return told_;
  }

  const Notifier::Type drives_ = NotifyMsgTypeDictionary::intern("drives of the test");
  const Notifier::Type files_ = NotifyMsgTypeDictionary::intern("files of the test");
  std::vector<std::string> told_;
  Notifier notifier_;
};

using Told = std::vector<std::string>;

TEST_F(NotifierTest, TheSameNameIsTheSameTypeAboveZero) {
  EXPECT_GT(drives_, 0u);
  EXPECT_NE(drives_, files_);
  EXPECT_EQ(NotifyMsgTypeDictionary::intern("drives of the test"), drives_);
  EXPECT_NE(NotifyMsgTypeDictionary::intern(""), 0u);
  EXPECT_EQ(NotifyMsgTypeDictionary::intern({}), NotifyMsgTypeDictionary::intern(""));
}

TEST_F(NotifierTest, AMessageReachesItsTypesListenersInTheOrderOfTheirRegistration) {
  notifier_.add(drives_, listener("a"));
  notifier_.add(files_, listener("b"));
  notifier_.add(drives_, listener("c"));
  EXPECT_EQ(issue(drives_), (Told{"a", "c"}));
  EXPECT_EQ(issue(files_), (Told{"b"}));
  EXPECT_EQ(issue(NotifyMsgTypeDictionary::intern("nobody's")), Told{});
}

TEST_F(NotifierTest, AListenerGetsTheMessageAsItWasIssued) {
  Qv::Ptr<iObject> payload(new iObject);
  NotifyMsg got;
  notifier_.add(files_, Notifier::Listener(new Hearing([&](const NotifyMsg& m) { got = m; })));
  notifier_.issue(NotifyMsg(files_, "what", payload));
  EXPECT_EQ(got.getType(), files_);
  EXPECT_EQ(got.getText(), "what");
  EXPECT_EQ(got.getPayload(), payload);
  notifier_.issue(NotifyMsg(files_, "empty"));
  EXPECT_FALSE(got.getPayload());
}

TEST_F(NotifierTest, AListenerThatIsRegisteredTwiceIsToldOnceAndStaysUntilItIsRemovedTwice) {
  Notifier::Listener twice = listener("a");
  notifier_.add(drives_, twice);
  notifier_.add(drives_, listener("b"));
  notifier_.add(drives_, twice);
  EXPECT_EQ(issue(drives_), (Told{"a", "b"}));
  EXPECT_TRUE(notifier_.remove(drives_, twice));
  EXPECT_EQ(issue(drives_), (Told{"b", "a"})) << "the first registration went";
  EXPECT_TRUE(notifier_.remove(drives_, twice));
  EXPECT_FALSE(notifier_.remove(drives_, twice));
  EXPECT_EQ(issue(drives_), (Told{"b"}));
}

TEST_F(NotifierTest, ANullListenerIsIgnored) {
  notifier_.add(drives_, nullptr);
  EXPECT_EQ(issue(drives_), Told{});
  EXPECT_FALSE(notifier_.remove(drives_, nullptr));
}

TEST_F(NotifierTest, OnlyTheRegistrationForThatTypeIsRemoved) {
  Notifier::Listener both = listener("a");
  notifier_.add(drives_, both);
  notifier_.add(files_, both);
  EXPECT_TRUE(notifier_.remove(files_, both));
  EXPECT_FALSE(notifier_.remove(files_, both));
  EXPECT_EQ(issue(drives_), (Told{"a"}));
}

TEST_F(NotifierTest, AListenerMayRemoveItselfAndIsNotCalledAgain) {
  Notifier::Listener once;
  once = listener("once", [&] { notifier_.remove(drives_, std::exchange(once, nullptr)); });
  notifier_.add(drives_, once);
  notifier_.add(drives_, listener("b"));
  EXPECT_EQ(issue(drives_), (Told{"once", "b"}));
  EXPECT_EQ(issue(drives_), (Told{"b"}));
}

TEST_F(NotifierTest, AListenerThatIsAddedWhileAMessageIsOnItsWayHearsTheNextOne) {
  notifier_.add(drives_, listener("a", [&] {
                  if (told_.size() == 1) notifier_.add(drives_, listener("new"));
                }));
  notifier_.add(drives_, listener("b"));
  EXPECT_EQ(issue(drives_), (Told{"a", "b"}));
  EXPECT_EQ(issue(drives_), (Told{"a", "b", "new"}));
}

TEST_F(NotifierTest, AListenerThatIsRemovedWhileAMessageIsOnItsWayMayStillHearIt) {
  Notifier::Listener later = listener("later");
  notifier_.add(drives_, listener("a", [&] { notifier_.remove(drives_, later); }));
  notifier_.add(drives_, later);
  EXPECT_EQ(issue(drives_), (Told{"a", "later"}));
  EXPECT_EQ(issue(drives_), (Told{"a"}));
}

TEST_F(NotifierTest, AListenerMayIssue) {
  notifier_.add(drives_, listener("a", [&] { notifier_.issue(NotifyMsg(files_, "")); }));
  notifier_.add(drives_, listener("b"));
  notifier_.add(files_, listener("inner"));
  EXPECT_EQ(issue(drives_), (Told{"a", "inner", "b"}));
}

TEST_F(NotifierTest, AListenerThatEndsAsItIsRemovedMayAddAndRemoveOthers) {
  Notifier::Listener other = listener("other");
  auto* ending = new Hearing([](const NotifyMsg&) {});
  ending->atEnd = [&] {
    EXPECT_TRUE(notifier_.remove(drives_, other));
    for (const char* name : {"x", "y", "z"}) notifier_.add(drives_, listener(name));
  };
  notifier_.add(drives_, Notifier::Listener(ending));
  notifier_.add(drives_, listener("a"));
  notifier_.add(drives_, other);
  notifier_.add(drives_, listener("b"));
  EXPECT_TRUE(notifier_.remove(drives_, Notifier::Listener(ending)));
  EXPECT_EQ(issue(drives_), (Told{"a", "b", "x", "y", "z"}));
}

TEST_F(NotifierTest, ListenersGoWithTheirNotifier) {
  bool gone = false;
  auto* shared = new Hearing([](const NotifyMsg&) {});
  shared->atEnd = [&] { gone = true; };
  {
    Notifier notifier;
    notifier.add(drives_, Notifier::Listener(shared));
    EXPECT_FALSE(gone);
  }
  EXPECT_TRUE(gone);
}

TEST_F(NotifierTest, AListenerThatGoesWithItsNotifierMayRemoveListeners) {
  auto notifier = std::make_unique<Notifier>();
  Notifier* ending = notifier.get();
  const Notifier::Listener other = listener("other");
  auto* going = new Hearing([](const NotifyMsg&) {});
  unsigned removed = 0;
  going->atEnd = [&] { removed += ending->remove(drives_, other) ? 10 : 1; };
  notifier->add(drives_, Notifier::Listener(going));
  notifier->add(drives_, other);
  notifier.reset();
  EXPECT_EQ(removed, 1u) << "it finds a notifier that is whole and has no listeners any more";
}

TEST_F(NotifierTest, AllListenersAreGivenToWhoRemovesThemAll) {
  bool gone = false;
  auto* shared = new Hearing([](const NotifyMsg&) {});
  shared->atEnd = [&] { gone = true; };
  notifier_.add(drives_, Notifier::Listener(shared));
  {
    const Vector<Notifier::Registration> removed = notifier_.removeAll();
    EXPECT_EQ(removed.size(), 1u);
    EXPECT_EQ(notifier_.listenersOf(drives_).size(), 0u);
    EXPECT_FALSE(gone);
  }
  EXPECT_TRUE(gone);
}

TEST_F(NotifierTest, WithoutMemoryAMessageOrARegistrationIsRefusedWhole) {
  FailingHeap heap;
  if (!heap.isAsked()) GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  int calls = 0;
  for (int i = 0; i < 8; ++i)
    notifier_.add(drives_, Notifier::Listener(new Hearing([&](const NotifyMsg&) { ++calls; })));
  Notifier::Listener ninth(new Hearing([&](const NotifyMsg&) { ++calls; }));
  NotifyMsg message(drives_, "text");
  heap.refuse(0, false);
  EXPECT_THROW(notifier_.issue(message), std::bad_alloc);
  EXPECT_THROW(notifier_.add(drives_, ninth), std::bad_alloc);
  EXPECT_TRUE(heap.letBe());
  EXPECT_EQ(calls, 0) << "some were told";
  notifier_.issue(message);
  EXPECT_EQ(calls, 8);
}

}  // namespace
