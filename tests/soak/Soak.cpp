#include "tests/soak/Soak.h"

#include <cstdio>
#include <stdexcept>

#include "bench/table/Interrupted.h"
#include "fsys/Fsys.h"
#include "tests/soak/PictureSizes.h"
#include "tests/soak/SoakReport.h"

namespace {

constexpr double kSample_ms = 1000;
constexpr double kLine_ms = 60'000;
// In so much time each kind of fault must have struck.
constexpr double kAllStruck_minutes = 3;

constexpr uint32_t kChunk_kib[] = {516, 132};
constexpr uint32_t kKib = 1024;

enum eSeed : uint64_t { eScannerSeed = 100, eAudienceSeed, eGuestSeed, eFaultSeed, eRecorderSeed };

}  // namespace

Soak::Soak(const SoakOptions& options)
    : options_(options),
      figures_(heap_, static_cast<size_t>(options.minutes * 60'000 / kSample_ms) + 60) {
  catchTexts();
  // What the process makes once and keeps is there before anything is counted.
  if (FsysInitialize() != 1) throw std::runtime_error("the engine cannot be made");
  FsysUninitialize(Shutdown::eNormal);
  house_ = std::make_unique<SoakHouse>(options_.folders);
  before_ = ProcessFigures::now();
  if (FsysInitialize() != 1) throw std::runtime_error("the engine cannot be made");
}

// Also of one that found no room: those who watch the machine go on until it is over.
Soak::~Soak() {
  clock_.end();
  setDiagnosticSinks(std::move(sinks_));
}

// A check that fails is found; what is logged is counted, and so is each open that is refused.
void Soak::catchTexts() {
  DiagnosticSinks sinks;
  sinks.out = [this](const std::string& text) {
    if (text.starts_with("LowLevelOpen error "))
      ++tally_.refusedOpens;
    else
      findings_.add("the library says: " + text);
  };
  sinks.log = sinks.logBoth = [this](const std::string&) { ++tally_.logged; };
  sinks_ = setDiagnosticSinks(std::move(sinks));
}

int Soak::run() {
  std::printf("soaking for %g minutes with seed %llu in %s\n", options_.minutes,
              static_cast<unsigned long long>(options_.seed), house_->root().c_str());
  std::fflush(stdout);
  makeEverybody();
  startAll();
  std::puts("all is made, and begins");
  std::fflush(stdout);
  const bool isWhole = watch();
  endAll();
  return verdict(isWhole);
}

void Soak::makeEverybody() {
  machine_ = std::make_unique<MachineWatch>(clock_, house_->root());
  stage_.reset(
      new SoakStage{clock_, findings_, *house_, tally_, *machine_, options_.judgesLateness});
  makePlayers();
  makeRecorders();
  scanner_ =
      std::make_unique<ShelfScanner>(*stage_, house_->makeLocation("shelf"), seedOf(eScannerSeed));
  audience_ = std::make_unique<Audience>(*stage_, seedOf(eAudienceSeed));
  guests_ = std::make_unique<GuestLocations>(*stage_, seedOf(eGuestSeed), staying_);
  std::vector<SoakVictim*> victims{scanner_.get()};
  for (const auto& player : players_) victims.push_back(player.get());
  for (const auto& recorder : recorders_) victims.push_back(recorder.get());
  faults_ = std::make_unique<FaultMaker>(*stage_, *layer_, victims, seedOf(eFaultSeed));
}

// Seeds that follow each other throw the same, one throw apart.
uint64_t Soak::seedOf(uint64_t who) const {
  constexpr unsigned kBitsOfWho = 16;
  return SimDice((options_.seed << kBitsOfWho) + who).next();
}

// A player's clips lie in one folder; the players' locations lie in all of them.
void Soak::makePlayers() {
  unsigned number = 0;
  for (uint32_t kib : PictureSizes::kAll_kib) {
    const std::string folder = house_->makeFolder("stage" + std::to_string(number));
    const uint32_t bytes = kib * kKib;
    const uint32_t merged = PictureSizes::areMerged(number) ? PictureSizes::kMostMerged : 0;
    players_.push_back(std::make_unique<Player>(
        *stage_, Player::Part{number, bytes, bytes * merged, seedOf(number)}));
    if (!players_.back()->makeClips(folder)) throw std::runtime_error("no room in " + folder);
    players_.back()->addKnown(folder, staying_);
    house_->add(folder);
    ++number;
  }
}

void Soak::makeRecorders() {
  unsigned number = 0;
  for (uint32_t kib : kChunk_kib) {
    const std::string name = "recorder" + std::to_string(number);
    recorders_.push_back(std::make_unique<ShotRecorder>(
        *stage_, ShotRecorder::Part{number, kib * kKib, seedOf(eRecorderSeed + number),
                                    house_->makeLocation(name + "-told"),
                                    house_->makeLocation(name + "-found")}));
    ++number;
  }
}

void Soak::start(std::function<void()> activity) { threads_.emplace_back(std::move(activity)); }

void Soak::startAll() {
  for (const auto& player : players_) start([&player] { player->run(); });
  for (const auto& recorder : recorders_) start([&recorder] { recorder->run(); });
  start([this] { scanner_->run(); });
  start([this] { audience_->run(); });
  start([this] { guests_->run(); });
  start([this] { faults_->run(); });
}

// False when it was interrupted.
bool Soak::watch() {
  const double begin_ms = clock_.now_ms();
  const double end_ms = begin_ms + options_.minutes * 60'000;
  double line_ms = begin_ms + kLine_ms;
  for (double turn_ms = begin_ms; turn_ms < end_ms && !Interrupted::asked; turn_ms += kSample_ms) {
    (void)clock_.waitUntil(turn_ms);
    figures_.sample();
    if (turn_ms < line_ms) continue;
    line_ms += kLine_ms;
    std::puts(SoakReport::line((turn_ms - begin_ms) / 60'000, processor_percent(), tally_, figures_)
                  .c_str());
    std::fflush(stdout);
  }
  return !Interrupted::asked;
}

double Soak::processor_percent() const {
  Round round;
  meter_.stop(round);
  return round.seconds > 0 ? round.cpu_us / 1e4 / round.seconds : 0;
}

void Soak::endAll() {
  clock_.end();
  for (std::thread& thread : threads_) thread.join();
  scanner_->scan();
  findings_.addUnlessEmpty("at the end", SoakHouse::whyNotKnown('P', staying_));
  FsysUninitialize(Shutdown::eNormal);
  const uint64_t refused =
      tally_.of(SoakFault::eOpenRefused) + tally_.of(SoakFault::eCreateRefused);
  if (tally_.refusedOpens != refused)
    findings_.add("the library says of " + std::to_string(tally_.refusedOpens) +
                  " opens that they were refused, and " + std::to_string(refused) + " were");
}

int Soak::verdict(bool isWhole) {
  const double run_minutes = minutes();
  SoakReport::printTable(run_minutes, processor_percent(), tally_, figures_, *machine_);
  // Threads of the soak's own.
  machine_.reset();
  layer_.reset();
  findings_.addUnlessEmpty("left at the end", before_.whatIsLeft());
  findings_.addUnlessEmpty("not flat", figures_.whyNotFlat());
  if (isWhole && options_.minutes >= kAllStruck_minutes) expectAllStruck();
  const uint64_t late = tally_.turn(eTurn::eLate);
  if (!isWhole)
    std::printf("interrupted after %.1f minutes; what was seen until then:\n", run_minutes);
  if (findings_.count() > 0) {
    std::printf("FAILED: %llu findings, %llu late without a fault; seed %llu\n",
                static_cast<unsigned long long>(findings_.count()),
                static_cast<unsigned long long>(late),
                static_cast<unsigned long long>(options_.seed));
    return 1;
  }
  std::printf("nothing lost, %s, memory and descriptors flat (seed %llu)\n",
              options_.judgesLateness ? "nothing late without a fault" : "lateness not judged",
              static_cast<unsigned long long>(options_.seed));
  return isWhole ? 0 : 130;
}

void Soak::expectAllStruck() {
  for (size_t kind = 0; kind < kSoakFaults; ++kind)
    if (tally_.of(static_cast<SoakFault>(kind)) == 0)
      findings_.add(std::string("of no use: never ") + soakFaultName(static_cast<SoakFault>(kind)));
}
