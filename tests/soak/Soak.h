#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "bench/table/Meter.h"
#include "platform/Log.h"
#include "tests/fault/FileFaultLayer.h"
#include "tests/soak/Audience.h"
#include "tests/soak/FaultMaker.h"
#include "tests/soak/FigureLog.h"
#include "tests/soak/GuestLocations.h"
#include "tests/soak/Player.h"
#include "tests/soak/ShelfScanner.h"
#include "tests/soak/ShotRecorder.h"
#include "tests/soak/SoakOptions.h"
#include "tests/soak/SoakStage.h"
#include "tests/support/ProcessFigures.h"

// Soak: everybody at once, for as long as is asked for.
// Story      Eight players, two recorders, a scanner, listeners, a location that comes and goes
//            every second, and a fault now and then, over one engine and the real platform. Nothing
//            may be lost, nothing late without a fault, and nothing that the process holds may
//            grow. A line tells of each minute; a table and the verdict end it, also when it is
//            interrupted.
// Threads    one makes it and runs it.
class Soak {
public:
  explicit Soak(const SoakOptions& options);
  ~Soak();
  Soak(const Soak&) = delete;
  Soak& operator=(const Soak&) = delete;

  // What the program ends with: 0 when all holds, 1 when not, 130 when it was interrupted.
  int run();

private:
  void catchTexts();
  void makeEverybody();
  uint64_t seedOf(uint64_t who) const;
  void makePlayers();
  void makeRecorders();
  void startAll();
  void start(std::function<void()> activity);
  bool watch();
  double minutes() const { return clock_.now_ms() / 60'000; }
  double processor_percent() const;
  void endAll();
  void expectAllStruck();
  int verdict(bool isWhole);

  const SoakOptions options_;
  SoakClock clock_;
  Findings findings_{clock_, options_.seed};
  SoakTally tally_;
  CountingHeap heap_;
  std::unique_ptr<FileFaultLayer> layer_{new FileFaultLayer};
  DiagnosticSinks sinks_;  // those that were there
  Meter meter_;
  FigureLog figures_;
  ProcessFigures before_;
  std::unique_ptr<SoakHouse> house_;
  std::unique_ptr<MachineWatch> machine_;
  std::unique_ptr<SoakStage> stage_;
  SoakHouse::Files staying_;  // what is known of the players' clips
  std::vector<std::unique_ptr<Player>> players_;
  std::vector<std::unique_ptr<ShotRecorder>> recorders_;
  std::unique_ptr<ShelfScanner> scanner_;
  std::unique_ptr<Audience> audience_;
  std::unique_ptr<GuestLocations> guests_;
  std::unique_ptr<FaultMaker> faults_;
  std::vector<std::thread> threads_;
};
