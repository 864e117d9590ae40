#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/fake/FakeJournal.h"
#include "platform/fake/FakeNames.h"

class FakeOS;

// FakeCrash: every state of the fake's files that a loss of power could leave.
// Story      From its making on what is done to the files is recorded. At whichever effect the
//            power goes, all that a barrier made durable is there, and any of the rest may be:
//            names and contents are written independently, and in any order. So a state is a set
//            of effects that are kept, in their order: for each number of effects that were done,
//            each subset of those that were not durable then. States that keep the same effects
//            are looked at once. When the process is killed and the power stays, every effect is
//            kept: these states are among them.
//            A name in a folder whose making was lost is lost with it. Locks are gone.
//
//              FakeCrash crash(*os);
//              ...                                      the save
//              crash.forEachState([&](const std::string& what) {
//                ...                                    load; what it may be; << what
//              });
//
//            When more than kMostPending effects are not durable at once, not each subset of them
//            is taken, but: the first of them, for each number; each one missing alone; each one
//            kept alone.
// Not seen   what the test itself arranges meanwhile, and what is done by the callback: that is
//            gone after it. Of a write the two halves are kept or lost, not each sector.
// Threads    one, like everything in the fake; one FakeCrash at a time.
// Ownership  the fake outlives it. Files that are open stay on what they were opened on.
class FakeCrash {
public:
  static constexpr size_t kMostPending = 12;
  using Look = std::function<void(const std::string& what)>;

  explicit FakeCrash(FakeOS& os);
  ~FakeCrash();
  FakeCrash(const FakeCrash&) = delete;
  FakeCrash& operator=(const FakeCrash&) = delete;

  // Calls `look` with the files as the crash left them; `what` says which effects were lost. Then
  // the files are what they were before. How many states there were.
  size_t forEachState(const Look& look);
  // The same for the power that goes now: the states of before are left out.
  size_t forEachStateNow(const Look& look);

  const FakeJournal& journal() const { return journal_; }

private:
  using Content = std::shared_ptr<FakeContent>;
  using Contents = std::map<Content, Content>;
  using Kept = std::vector<bool>;  // by effect; as many as were done

  std::vector<Kept> states(size_t first) const;
  std::vector<Kept> statesAfter(size_t count) const;
  static std::vector<Kept> choices(size_t pending);
  size_t show(const std::vector<Kept>& states, const Look& look);
  FakeNames namesWith(const Kept& kept) const;
  void apply(const FakeEffect& effect, FakeNames& names, Contents& contents) const;
  Content contentOf(const Content& recorded, Contents& contents) const;
  std::string describe(const Kept& kept) const;

  FakeOS& os_;
  FakeJournal journal_;
  FakeNames before_;
  Contents copies_;  // what stood in the files of before
};
