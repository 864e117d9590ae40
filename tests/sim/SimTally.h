#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// SimTally: how often what happened, over many simulations: what never happens is not tested.
class SimTally {
public:
  enum eEvent : size_t {
    eReads,
    eCacheHits,
    eMerges,
    eMergedWrites,
    eStraightWrites,
    eAbsorbedWrites,
    eSentCaches,
    eSynchronousWrites,
    eTooSlowWrites,
    eRefusedReads,
    eRefusedWrites,
    eShortReads,
    eFailedTransfers,
    eFailedStarts,
    eNoBuffer,
    eFullDisk,
    eLostTransfers,
    eLateTransfers,
    eGivenUp,
    eFailedOpens,
    eClosesFromCallbacks,
    eQuestionsFromCallbacks,
    eEnginesEnded,
    eLeftOpen,
    eLongCloses,
    eEvents
  };
  static constexpr const char* kNames[] = {"reads",
                                           "cache hits",
                                           "merges",
                                           "merged writes",
                                           "straight writes",
                                           "absorbed writes",
                                           "sent caches",
                                           "waited writes",
                                           "too slow writes",
                                           "refused reads",
                                           "refused writes",
                                           "short reads",
                                           "failed transfers",
                                           "failed starts",
                                           "without buffer",
                                           "full disk",
                                           "lost transfers",
                                           "late transfers",
                                           "given up",
                                           "failed opens",
                                           "closes from callbacks",
                                           "asked from callbacks",
                                           "engines ended",
                                           "left open",
                                           "closes that waited long"};
  static_assert(sizeof kNames / sizeof *kNames == eEvents);

  void count(eEvent event, uint64_t times = 1) { counts_[event] += times; }
  uint64_t operator[](eEvent event) const { return counts_[event]; }

private:
  std::array<uint64_t, eEvents> counts_{};
};
