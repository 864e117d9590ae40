#pragma once

#include <string>

#include "tests/sim/SimDice.h"
#include "tests/soak/SoakStage.h"
#include "tests/soak/SoakVictim.h"

// ShelfScanner: scans a location again and again, and knows what lies there.
// Story      Files come to the shelf and go from it without a word to the catalogue; the location
//            is forgotten and scanned anew, and every file that is there must be known with its
//            path and its size, and no other. Of a folder that cannot be listed none is known.
// Threads    run(): one. The faults' are SoakVictim's.
class ShelfScanner final : public SoakVictim {
public:
  ShelfScanner(const SoakStage& stage, const std::string& drive, uint64_t seed);

  void run();
  // Forgets and scans; what is found is compared with what is there.
  void scan();

  uint32_t transferBytes() const override { return kNoTransfer; }
  bool mayMeet(SoakFault kind) const override { return kind == SoakFault::eListingFails; }

private:
  static constexpr uint32_t kNoTransfer = 1 << 20;

  bool isMeantLocked(const FaultPlace& place) const override;
  void struckLocked(const FaultPlace&) override { isHit_ = true; }
  bool isOverLocked() const override { return !isHit_; }

  void change();
  void put();
  void drop();

  const SoakStage stage_;
  const std::string drive_;
  SimDice dice_;
  uint64_t made_ = 0;
  SoakHouse::Files files_;

  // Guarded by lock_.
  bool isScanning_ = false;
  bool isHit_ = false;  // by the scan that goes on
};
