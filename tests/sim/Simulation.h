#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "platform/fake/FakeOSScope.h"
#include "tests/EngineFixture.h"
#include "tests/sim/AnswerModel.h"
#include "tests/sim/SimDice.h"
#include "tests/sim/SimTally.h"
#include "tests/sim/SimTrace.h"
#include "tests/support/TestDiagnostics.h"

// Simulation: one life of the engine on the fake, as a seed says.
// Story      A list of operations: files are opened, read, written and closed, pollers pass, tasks
//            run, transfers end in any order, well, badly, short, slow or never, services refuse,
//            the disk fills up, settings change, the engine ends and starts anew. Callbacks ask for
//            more, close their file, keep their data. While the engine waits, the world goes on in
//            its own way. The model judges each answer; the counters are looked at between the
//            operations; at the end nothing is left. The first thing that does not hold ends it.
//            A writer's calls come one at a time, as the engine wants it: a callback writes on only
//            where no other write of its file is being asked for.
// Threads    one; the clock is the fake's.
class Simulation final : FakeTransferWatcher {
public:
  Simulation(uint64_t seed, SimTally& tally);
  ~Simulation();
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;

  void run();
  // What did not hold; empty when everything did.
  const std::string& failure() const { return failure_; }
  const SimTrace& trace() const { return trace_; }

private:
  friend class SimQuestion;
  using Handle = std::shared_ptr<SimHandle>;
  static constexpr size_t kPlaces = 5;
  // How the world goes on while the engine waits.
  struct Weather {
    uint32_t eagerness = 100;  // percent: a transfer ends when one could
    bool tasksRun = true;
  };

  void broken(const std::string& why);
  // `why` is empty when all is well.
  void hold(const std::string& why, const std::string& what);

  // Setting up and the operations (Simulation.cpp).
  void choose();
  void makePlaces();
  void startEngine();
  void step();
  void open();
  bool mayOpen(const SimPlace& place, bool writing);
  void adopt(const Handle& handle, unsigned attachFaults);
  void passOrRun();
  void advance();
  void changeSetting();
  void plan();
  void planStart(FaultPlan::eSpan span);
  void changeCapacity();
  void disableCache();

  // Asking (SimulationRequests.cpp).
  Handle anyHandle(bool writing);
  Qv::Ptr<SimQuestion> ask(const Handle& handle, bool reading);
  void read(const Handle& handle);
  void chooseRange(SimHandle& handle, SimQuestion& question);
  void judgeReadResult(const SimQuestion& question, uint32_t result, bool wasOpen);
  void write(const Handle& handle);
  void writeSome(const Handle& handle);
  uint32_t anyWriteLength(const SimHandle& handle);
  Qv::Ptr<iMemHolder> cut(SimHandle& handle, uint32_t bytes);
  bool expect(SimQuestion& question, bool& straight);
  void settleWrite(SimQuestion& question, uint32_t result, bool straight, uint32_t heldBefore);
  void judgeWriteResult(const SimQuestion& question, uint32_t result);
  void told(SimQuestion& question, Qv::Ptr<iMemHolder>& data, RequestStatus status);
  void count(const SimQuestion& question, const iMemHolder* data, RequestStatus status);
  void follow(SimQuestion& question, const Qv::Ptr<iMemHolder>& data);
  void closeFromCallback(SimQuestion& question);

  // Transfers (SimulationTransfers.cpp).
  void started(const FakeTransfer& transfer) override;
  void moved(const FakeMove& move) override;
  bool endOne() override;
  void endAny();
  void end(size_t index, bool mayLose);
  void moveBytes(SimHandle* handle, const FakeMove& move);
  void noteMove(const FakeMove& move, const Handle& handle);
  Handle ownerOf(const FakeMove& move) const;

  // Ends and checks (SimulationChecks.cpp).
  void close(const Handle& handle);
  unsigned refusedStarts();
  bool excuseGivenUp(const Handle& handle);
  void beginClosing(const Handle& handle);
  void closed(const Handle& handle);
  bool isBeingClosed(const FsysFile* file) const;
  void endEngine();
  void finish();
  void calmDown();
  void checkBetween();
  void checkCounters(const Vector<FsysFile*>& files, bool reads);
  void checkLeftovers();
  void checkTexts();
  double elapsedSince(double start_ms, double slowBefore_ms);
  void setWeather(const Weather& weather);
  uint32_t unanswered(const SimHandle& handle) const;

  const uint64_t seed_;
  SimDice dice_;
  SimTally& tally_;
  SimTrace trace_;
  std::string failure_;
  FakeOSScope os_;
  TestDiagnostics texts_;
  AnswerModel model_;
  SettingScope listSize_;
  SettingScope forcePoll_;
  SettingScope retries_;
  SettingScope alwaysCache_;

  std::array<uint32_t, 12> weights_{};  // of the operations
  bool faulty_ = false;                 // things go wrong in this life
  bool calm_ = false;                   // from here on they do not
  std::array<SimPlace, kPlaces> places_;
  std::vector<Handle> handles_;
  std::vector<Qv::Ptr<SimQuestion>> questions_;
  std::vector<Handle> owners_;              // of the transfers, by their numbers
  std::vector<double> startTimes_ms_;       // of the transfers
  std::vector<const SimQuestion*> asking_;  // writes that are being asked for, the innermost last
  struct Kept {
    Qv::Ptr<iMemHolder> data;
    std::vector<unsigned char> bytes;
  };
  std::vector<Kept> kept_;
  Weather weather_;
  unsigned mustEnd_ = 0;  // somebody waits for a transfer without limit
  unsigned telling_ = 0;  // callbacks on the stack
  unsigned leaving_ = 0;  // closes that callbacks asked for, in all
  double slowed_ms_ = 0;  // what slow transfers took
  uint64_t moment_ = 0;
  unsigned liveQuestions_ = 0;
  unsigned liveReels_ = 0;
  bool cachingOn_ = false;
  uint64_t mergesBefore_;
};
