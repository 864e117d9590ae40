#pragma once

#include <functional>
#include <vector>

#include "bench/table/Meter.h"
#include "bench/table/Options.h"
#include "bench/table/Probes.h"
#include "bench/table/Scratch.h"
#include "bench/table/Table.h"
#include "bench/table/Workload.h"

// Suite: measures everything and makes the lines of the table.
// Story      Of each workload both sides do one round that is not counted, then counted rounds in
//            turn. A figure is the median of its side's rounds; what is compared is the median over
//            the pairs of neighbouring rounds, since what disturbs a shared machine disturbs
//            neighbours alike.
// Threads    one.
class Suite {
public:
  explicit Suite(const Options& options);

  void run();
  const std::vector<Line>& lines() const { return lines_; }
  uint64_t wrong() const { return wrong_; }
  bool isDirect() const;

private:
  using Side = std::function<Round()>;
  struct Pairs {
    std::vector<Round> engine, ring;
  };
  enum eBars { eNone, eCpu, eThroughputAndCpu };

  bool wanted(const std::string& what) const;
  Pairs measure(const Side& engine, const Side& ring);
  void compare(const std::string& what, const Pairs& pairs, eBars bars);
  void reading(const std::string& what, const Workload& work, eBars bars);
  void writing(const char* what, Round (*engine)(const Workload&), eBars bars);
  void staging();
  void roundTrips();
  void cacheHit();
  void counted();
  void addCounted(Line line, double limit, const std::function<Probes::Outcome()>& ask);

  Options options_;
  Scratch scratch_;
  Workload::File one_;
  std::vector<Workload::File> eight_;
  std::vector<Line> lines_;
  uint64_t wrong_ = 0;
};
